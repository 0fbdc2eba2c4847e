#include "kit/query/CypherCompletion.h"

#include "kit/query/CypherTokenizer.h"

#include <QRegularExpression>
#include <QSet>
#include <algorithm>

namespace corvantis::CypherCompletion {

namespace {

bool isWordChar(QChar c) {
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

// The innermost bracket, "(" or "[", still open before `end`; a null QChar when none is.
QChar openBracket(const QString& text, int end) {
    QList<QChar> open;
    for (int i = 0; i < end; ++i) {
        const QChar c = text[i];
        if (c == QLatin1Char('(') || c == QLatin1Char('['))
            open.append(c);
        else if ((c == QLatin1Char(')') || c == QLatin1Char(']')) && !open.isEmpty())
            open.removeLast();
    }
    return open.isEmpty() ? QChar() : open.last();
}

QStringList matching(const QStringList& names, const QString& prefix) {
    QSet<QString> seen;
    QStringList out;
    for (const QString& name : names)
        if (name.startsWith(prefix, Qt::CaseInsensitive) && !seen.contains(name)) {
            seen.insert(name);
            out.append(name);
        }
    out.sort(Qt::CaseInsensitive);
    return out;
}

} // namespace

Completion at(const QString& text, int caret, const Vocabulary& vocabulary) {
    caret = std::clamp(caret, 0, static_cast<int>(text.size()));
    int start = caret;
    while (start > 0 && isWordChar(text[start - 1]))
        --start;
    Completion completion{start, text.mid(start, caret - start), {}};

    // Inside a string or a comment nothing is completed: the tokenizer tells where the caret stands.
    const QList<CypherTokenizer::Token> tokens = CypherTokenizer::tokenize(text.left(start));
    if (!tokens.isEmpty()) {
        const CypherTokenizer::Token& last = tokens.last();
        if (last.kind == CypherTokenizer::Kind::comment)
            return completion;
        if (last.kind == CypherTokenizer::Kind::string) {
            const QChar quote = last.text.front();
            const bool closed = last.text.size() > 1 && last.text.back() == quote;
            if (!closed)
                return completion;
        }
    }

    int before = start - 1;
    while (before >= 0 && text[before] == QLatin1Char(' '))
        --before;
    if (before < 0)
        return completion;
    const QChar mark = text[before];
    if (mark == QLatin1Char(':') || mark == QLatin1Char('|')) {
        const QChar bracket = openBracket(text, before);
        if (bracket == QLatin1Char('('))
            completion.candidates = matching(vocabulary.labels, completion.prefix);
        else if (bracket == QLatin1Char('['))
            completion.candidates = matching(vocabulary.relTypes, completion.prefix);
    } else if (mark == QLatin1Char('.') && before == start - 1) {
        int from = before;
        while (from > 0 && isWordChar(text[from - 1]))
            --from;
        const QString variable = text.mid(from, before - from);
        if (variable.isEmpty() || variable.front().isDigit())
            return completion; // a number, not a variable
        // The variable's label or type where the query binds it, else every property of the shape.
        const QRegularExpression binding(
            QStringLiteral("[\\(\\[]\\s*%1\\s*:\\s*(\\w+)").arg(QRegularExpression::escape(variable)));
        const QRegularExpressionMatch bound = binding.match(text);
        QStringList names;
        if (bound.hasMatch() && vocabulary.properties.contains(bound.captured(1))) {
            names = vocabulary.properties.value(bound.captured(1));
        } else {
            for (const QStringList& columns : vocabulary.properties)
                names.append(columns);
        }
        completion.candidates = matching(names, completion.prefix);
    }
    return completion;
}

} // namespace corvantis::CypherCompletion

#include "kit/query/CypherGuard.h"

#include "kit/query/CypherTokenizer.h"

namespace corvantis::CypherGuard {

const QSet<QString>& forbidden() {
    static const QSet<QString> words = [] {
        QSet<QString> all;
        for (const char* word : {"CREATE", "MERGE", "SET",     "DELETE",   "DETACH",     "REMOVE", "DROP",
                                 "ALTER",  "COPY",  "INSTALL", "LOAD",     "ATTACH",     "USE",    "EXPORT",
                                 "IMPORT", "BEGIN", "COMMIT",  "ROLLBACK", "CHECKPOINT", "CALL"})
            all.insert(QString::fromLatin1(word));
        return all;
    }();
    return words;
}

namespace {

// A word as the database reads it: a backticked name loses its quotes, and "``" inside stands for "`".
QString wordOf(const CypherTokenizer::Token& token) {
    QString word = token.text;
    if (word.size() >= 2 && word.startsWith(QLatin1Char('`')) && word.endsWith(QLatin1Char('`')))
        word = word.mid(1, word.size() - 2).replace(QLatin1String("``"), QLatin1String("`"));
    return word.toUpper();
}

QString changes(const QString& word) {
    return QStringLiteral("Ask only reads your graph. This query uses %1, which would change it.").arg(word);
}

} // namespace

void check(const QString& text) {
    using CypherTokenizer::Kind;
    QList<CypherTokenizer::Token> tokens;
    for (const auto& token : CypherTokenizer::tokenize(text)) {
        if (token.kind == Kind::comment || token.text.trimmed().isEmpty())
            continue;
        tokens.append(token);
    }
    if (tokens.isEmpty())
        throw Violation(QStringLiteral("The query is empty."));
    // Statements that change the database without a forbidden word (a table's comment, removing or
    // updating an extension) can only open the statement, after EXPLAIN [LOGICAL] or PROFILE.
    static const QSet<QString> options{QStringLiteral("EXPLAIN"), QStringLiteral("LOGICAL"),
                                       QStringLiteral("PROFILE")};
    static const QSet<QString> commands{QStringLiteral("COMMENT"), QStringLiteral("UNINSTALL"),
                                        QStringLiteral("UPDATE")};
    qsizetype first = 0;
    while (first < tokens.size() && tokens.at(first).kind == Kind::identifier &&
           options.contains(tokens.at(first).text.toUpper()))
        ++first;
    if (first < tokens.size() && tokens.at(first).kind == Kind::identifier &&
        commands.contains(tokens.at(first).text.toUpper()))
        throw Violation(changes(tokens.at(first).text.toUpper()));
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const auto& token = tokens.at(i);
        if (token.kind == Kind::keyword && forbidden().contains(token.text.toUpper()))
            throw Violation(changes(token.text.toUpper()));
        // nextval() advances a sequence: the one function that writes. Called after ":" in a map or a
        // slice, it reads as a label here and is a call all the same.
        const bool word =
            token.kind == Kind::identifier || token.kind == Kind::keyword || token.kind == Kind::label;
        if (word && i + 1 < tokens.size() && tokens.at(i + 1).text == QLatin1String("(") &&
            wordOf(token) == QLatin1String("NEXTVAL"))
            throw Violation(changes(QStringLiteral("NEXTVAL")));
        if (token.kind == Kind::punctuation && token.text == QLatin1String(";") && i + 1 < tokens.size())
            throw Violation(QStringLiteral("Only a single statement can be run."));
    }
}

} // namespace corvantis::CypherGuard

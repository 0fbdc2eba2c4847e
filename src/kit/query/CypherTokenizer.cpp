#include "kit/query/CypherTokenizer.h"

#include "kit/query/CypherGuard.h"

#include <QChar>

namespace corvantis::CypherTokenizer {

namespace {

// The tokenizer walks code points, as the database's own lexer does. Walking user-perceived characters
// instead would let a mark or a prepended character glue a closing quote or a line break to its
// neighbour, and the guard would then see a string or comment where the database sees live text.
struct Reader {
    const QString& text;
    qsizetype n = text.size();

    char32_t at(qsizetype i) const {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < n && text.at(i + 1).isLowSurrogate())
            return QChar::surrogateToUcs4(c, text.at(i + 1));
        return c.unicode();
    }
    qsizetype width(qsizetype i) const { return at(i) > 0xFFFF ? 2 : 1; }
    qsizetype next(qsizetype i) const { return i + width(i); }
    bool is(qsizetype i, char32_t c) const { return i < n && at(i) == c; }
};

bool isQuote(char32_t c) {
    return c == U'\'' || c == U'"' || c == U'`';
}

bool isLineBreak(char32_t c) {
    return c == U'\n' || c == U'\r';
}

bool startsWord(char32_t c) {
    return QChar::isLetter(c) || c == U'_' || c == U'$';
}

// Letters, decimal and letter numbers, combining marks and "_" continue a word. Other numbers ("²", "½")
// do not: the database doesn't take them into a name, so neither may we.
bool continuesWord(char32_t c) {
    if (QChar::isLetter(c) || c == U'_')
        return true;
    switch (QChar::category(c)) {
    case QChar::Number_DecimalDigit:
    case QChar::Number_Letter:
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
        return true;
    default:
        return false;
    }
}

} // namespace

const QSet<QString>& keywords() {
    static const QSet<QString> words = [] {
        QSet<QString> all = CypherGuard::forbidden();
        for (const char* word :
             {"MATCH",    "OPTIONAL", "WHERE", "RETURN", "WITH", "AS",     "ORDER",  "BY",       "LIMIT",
              "SKIP",     "DISTINCT", "AND",   "OR",     "NOT",  "XOR",    "IN",     "IS",       "NULL",
              "CONTAINS", "STARTS",   "ENDS",  "UNION",  "ALL",  "UNWIND", "CASE",   "WHEN",     "THEN",
              "ELSE",     "END",      "DESC",  "ASC",    "TRUE", "FALSE",  "EXISTS", "SHORTEST", "ON"})
            all.insert(QString::fromLatin1(word));
        return all;
    }();
    return words;
}

QList<Token> tokenize(const QString& text) {
    const Reader r{text};
    QList<Token> tokens;
    std::optional<char32_t> previous;
    qsizetype i = 0;
    auto add = [&](Kind kind, qsizetype start, qsizetype end) {
        tokens.append(Token{kind, text.mid(start, end - start)});
    };
    while (i < r.n) {
        const char32_t c = r.at(i);
        const qsizetype start = i;
        if (QChar::isSpace(c)) {
            while (i < r.n && QChar::isSpace(r.at(i)))
                i = r.next(i);
            add(Kind::punctuation, start, i);
        } else if (c == U'/' && r.is(i + 1, U'/')) {
            i += 2;
            while (i < r.n && !isLineBreak(r.at(i)))
                i = r.next(i);
            add(Kind::comment, start, i);
        } else if (c == U'/' && r.is(i + 1, U'*')) {
            i += 2;
            while (i < r.n && !(r.at(i) == U'*' && r.is(i + 1, U'/')))
                i = r.next(i);
            i = std::min(i + 2, r.n);
            add(Kind::comment, start, i);
        } else if (isQuote(c)) {
            // A backslash escapes inside strings; a backticked name has no escapes, as in the database.
            i = r.next(i);
            while (i < r.n) {
                const char32_t inner = r.at(i);
                if (inner == U'\\' && c != U'`') {
                    i = r.next(i);
                    if (i < r.n)
                        i = r.next(i);
                    continue;
                }
                i = r.next(i);
                if (inner == c)
                    break;
            }
            add(c == U'`' ? Kind::identifier : Kind::string, start, i);
            previous.reset();
        } else if (QChar::isNumber(c)) {
            i = r.next(i);
            while (i < r.n) {
                const char32_t more = r.at(i);
                if (QChar::isNumber(more) || (more == U'.' && !r.is(i + 1, U'.')))
                    i = r.next(i);
                else
                    break;
            }
            add(Kind::number, start, i);
            previous.reset();
        } else if (startsWord(c)) {
            i = r.next(i);
            while (i < r.n && continuesWord(r.at(i)))
                i = r.next(i);
            Kind kind = Kind::identifier;
            if (previous == U':')
                kind = Kind::label;
            else if (previous == U'.')
                kind = Kind::identifier;
            else if (keywords().contains(text.mid(start, i - start).toUpper()))
                kind = Kind::keyword;
            add(kind, start, i);
            previous.reset();
        } else {
            i = r.next(i);
            add(Kind::punctuation, start, i);
            previous = c;
        }
    }
    return tokens;
}

} // namespace corvantis::CypherTokenizer

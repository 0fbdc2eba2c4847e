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

bool isDigit(char32_t c) {
    return c >= U'0' && c <= U'9';
}

bool startsName(char32_t c) {
    return QChar::isLetter(c) || c == U'_';
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

qsizetype skipDigits(const Reader& r, qsizetype i) {
    while (i < r.n && isDigit(r.at(i)))
        ++i;
    return i;
}

// The end of the number at i, which is a digit or a "." before a digit, read as the database reads it:
// digits, then "." and at least one digit, then "e" or "E", an optional "-" and at least one digit. A
// part that isn't complete isn't taken, so "1.e3" is 1 and "1e+5" is 1; an integer that starts with 0
// is that 0 alone. Only the digits 0 to 9 count.
qsizetype numberEnd(const Reader& r, qsizetype i) {
    const qsizetype start = i;
    bool integer = true;
    i = skipDigits(r, i);
    if (r.is(i, U'.') && i + 1 < r.n && isDigit(r.at(i + 1))) {
        i = skipDigits(r, i + 1);
        integer = false;
    }
    if (r.is(i, U'e') || r.is(i, U'E')) {
        qsizetype digits = i + 1;
        if (r.is(digits, U'-'))
            ++digits;
        if (digits < r.n && isDigit(r.at(digits))) {
            i = skipDigits(r, digits);
            integer = false;
        }
    }
    if (integer && r.at(start) == U'0')
        return start + 1;
    return i;
}

bool startsNumber(const Reader& r, qsizetype i) {
    return isDigit(r.at(i)) || (r.at(i) == U'.' && i + 1 < r.n && isDigit(r.at(i + 1)));
}

// The end of a parameter at the "$" at i: "$" and a name, or "$" and an integer. Before anything else,
// "$" stands alone, and what follows it is read on its own, as the database does.
qsizetype parameterEnd(const Reader& r, qsizetype i) {
    const qsizetype after = i + 1;
    if (after < r.n && startsName(r.at(after))) {
        i = r.next(after);
        while (i < r.n && continuesWord(r.at(i)))
            i = r.next(i);
        return i;
    }
    if (after < r.n && isDigit(r.at(after))) {
        const qsizetype end = numberEnd(r, after);
        if (skipDigits(r, after) >= end)
            return end;
    }
    return after;
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
    char32_t previous = 0; // the last punctuation character, or 0 for none
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
            previous = 0;
        } else if (startsNumber(r, i)) {
            i = numberEnd(r, i);
            add(Kind::number, start, i);
            previous = 0;
        } else if (c == U'$') {
            i = parameterEnd(r, i);
            add(Kind::identifier, start, i);
            previous = 0;
        } else if (startsName(c)) {
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
            previous = 0;
        } else if (c == U'.' && r.is(i + 1, U'.')) {
            // Two dots are one range token for the database: what follows them is no property.
            add(Kind::punctuation, start, start + 1);
            add(Kind::punctuation, start + 1, start + 2);
            i = start + 2;
            previous = 0;
        } else {
            i = r.next(i);
            add(Kind::punctuation, start, i);
            previous = c;
        }
    }
    return tokens;
}

} // namespace corvantis::CypherTokenizer

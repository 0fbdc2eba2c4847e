#include "kit/schema/Identifier.h"

#include <QSet>

namespace corvantis::Identifier {

namespace {

bool isCombiningMark(QChar c) {
    switch (c.category()) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
        return true;
    default:
        return false;
    }
}

bool isAsciiLetterOrDigit(QChar c) {
    char16_t u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9');
}

bool isAsciiUpper(QChar c) {
    return c.unicode() >= 'A' && c.unicode() <= 'Z';
}

bool isAsciiLower(QChar c) {
    return c.unicode() >= 'a' && c.unicode() <= 'z';
}

bool isAsciiDigit(QChar c) {
    return c.unicode() >= '0' && c.unicode() <= '9';
}

const QSet<QString>& reservedWords() {
    static const QSet<QString> words{
        "ALL",    "AND",      "AS",   "ASC",     "BEGIN",    "BY",     "CALL",  "CASE",    "COLUMN",
        "COMMIT", "CONTAINS", "COPY", "COUNT",   "CREATE",   "DELETE", "DESC",  "DETACH",  "DISTINCT",
        "DROP",   "ELSE",     "END",  "ENDS",    "EXISTS",   "EXPORT", "FALSE", "FROM",    "GROUP",
        "IF",     "IMPORT",   "IN",   "INSTALL", "IS",       "LIMIT",  "LOAD",  "MATCH",   "MERGE",
        "NODE",   "NOT",      "NULL", "ON",      "OPTIONAL", "OR",     "ORDER", "PRIMARY", "REL",
        "RETURN", "ROLLBACK", "SET",  "SKIP",    "STARTS",   "TABLE",  "THEN",  "TO",      "TRUE",
        "UNION",  "UNWIND",   "WHEN", "WHERE",   "WITH",     "XOR"};
    return words;
}

} // namespace

QStringList words(const QString& name) {
    // Compatibility decomposition splits "é" into "e" and a combining accent; the accent then goes.
    QString folded;
    const QString decomposed = name.normalized(QString::NormalizationForm_KD);
    folded.reserve(decomposed.size());
    for (QChar c : decomposed) {
        if (!isCombiningMark(c))
            folded.append(c);
    }

    QStringList result;
    QString run;
    auto endRun = [&] {
        if (!run.isEmpty())
            result << run;
        run.clear();
    };
    for (QChar c : folded) {
        if (!isAsciiLetterOrDigit(c)) {
            endRun();
            continue;
        }
        // "myTable" is two words; a digit neither starts a word nor counts as lower case.
        if (isAsciiUpper(c) && !run.isEmpty() && isAsciiLower(run.back()))
            endRun();
        run.append(c);
    }
    endRun();
    return result;
}

QString nodeTable(const QString& name) {
    QString joined;
    for (const QString& word : words(name))
        joined += word.left(1).toUpper() + word.mid(1);
    return finish(joined, QStringLiteral("Type"));
}

QString relName(const QString& name) {
    QStringList parts = words(name);
    if (parts.isEmpty())
        return QStringLiteral("RELATES_TO");
    for (QString& part : parts)
        part = part.toUpper();
    return parts.join(QLatin1Char('_'));
}

QString relTable(const QString& name) {
    return finish(relName(name), QStringLiteral("RELATES_TO"));
}

QString property(const QString& name) {
    QStringList parts = words(name);
    for (QString& part : parts)
        part = part.toLower();
    return finish(parts.join(QLatin1Char('_')), QStringLiteral("property"));
}

QString finish(const QString& candidate, const QString& fallback) {
    QString result = candidate.isEmpty() ? fallback : candidate;
    if (!result.isEmpty() && isAsciiDigit(result.front()))
        result.prepend(QLatin1Char('_'));
    if (isReserved(result))
        result.append(QLatin1Char('_'));
    return result;
}

bool isReserved(const QString& text) {
    return reservedWords().contains(text.toUpper());
}

} // namespace corvantis::Identifier

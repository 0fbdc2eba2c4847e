#include "query/CypherGuard.h"

#include "query/CypherTokenizer.h"

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
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const auto& token = tokens.at(i);
        if (token.kind == Kind::keyword && forbidden().contains(token.text.toUpper()))
            throw Violation(
                QStringLiteral("Ask only reads your graph. This query uses %1, which would change it.")
                    .arg(token.text.toUpper()));
        if (token.kind == Kind::punctuation && token.text == QLatin1String(";") && i + 1 < tokens.size())
            throw Violation(QStringLiteral("Only a single statement can be run."));
    }
}

} // namespace corvantis::CypherGuard

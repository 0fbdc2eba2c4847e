#pragma once

#include "kit/query/TextRange.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace corvantis {

// The matching of every plain search: case, accents, width and punctuation don't count. A query is
// either plain (its whole key, and the keys of its words) or a set of alternatives, any of which may match.
// Candidates are compared by their key, computed once with key().
class LooseQuery {
public:
    // A plain query for the text.
    explicit LooseQuery(const QString& text = QString());
    // The text split at ",", each piece a query, merged with either().
    static LooseQuery anyOf(const QString& text);
    static LooseQuery anyOf(const QStringList& texts);
    // One query that matches when any of the given ones does; duplicates and empty ones are dropped.
    static LooseQuery either(const QList<LooseQuery>& queries);

    // The text folded (case, diacritics, width) with only letters, marks and digits kept:
    // "Café-Crème" -> "cafecreme".
    static QString key(const QString& text);

    const QString& whole() const { return m_whole; }
    const QStringList& words() const { return m_words; }
    const QList<LooseQuery>& alternatives() const { return m_alternatives; }
    bool isEmpty() const { return m_whole.isEmpty(); }

    // Whether a candidate, given as its key, matches: it holds the whole query, or every word of it.
    bool matches(const QString& key) const;
    // Whether the candidate's key is the whole query.
    bool isExact(const QString& key) const;
    // Where in `text` the query matches, ascending, for highlighting.
    QList<TextRange> ranges(const QString& text) const;

    friend bool operator==(const LooseQuery&, const LooseQuery&) = default;

private:
    QString m_whole;
    QStringList m_words;
    QList<LooseQuery> m_alternatives;
};

size_t qHash(const LooseQuery& query, size_t seed = 0);

} // namespace corvantis

#include "kit/query/LooseQuery.h"

#include <QSet>
#include <QTextBoundaryFinder>
#include <algorithm>

namespace corvantis {

namespace {

bool isAlphanumeric(char32_t c) {
    switch (QChar::category(c)) {
    case QChar::Letter_Uppercase:
    case QChar::Letter_Lowercase:
    case QChar::Letter_Titlecase:
    case QChar::Letter_Modifier:
    case QChar::Letter_Other:
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
    case QChar::Number_DecimalDigit:
    case QChar::Number_Letter:
    case QChar::Number_Other:
        return true;
    default:
        return false;
    }
}

// Case, diacritics and width folded away, then only letters, marks and digits kept, as code points.
QList<char32_t> foldedScalars(const QString& text) {
    // Compatibility decomposition undoes width and ligatures and splits accents from their letters.
    // Qt's case folding is the simple one, so upper-casing first brings "ß" to "ss" as full folding
    // would; it may bring new accents, so decompose once more before dropping them.
    const QString folded = text.normalized(QString::NormalizationForm_KD)
                               .toUpper()
                               .toCaseFolded()
                               .normalized(QString::NormalizationForm_KD);
    QList<char32_t> scalars;
    for (char32_t c : folded.toUcs4()) {
        if (QChar::category(c) == QChar::Mark_NonSpacing)
            continue;
        if (isAlphanumeric(c))
            scalars.append(c);
    }
    return scalars;
}

// Left to right, without overlap: the positions in `haystack` where `needle` begins.
QList<qsizetype> hits(const QList<char32_t>& haystack, const QList<char32_t>& needle) {
    QList<qsizetype> found;
    if (needle.isEmpty())
        return found;
    qsizetype i = 0;
    while (i + needle.size() <= haystack.size()) {
        if (std::equal(needle.begin(), needle.end(), haystack.begin() + i)) {
            found.append(i);
            i += needle.size();
        } else {
            ++i;
        }
    }
    return found;
}

} // namespace

LooseQuery::LooseQuery(const QString& text)
    : m_whole(key(text)) {
    qsizetype i = 0;
    while (i < text.size()) {
        while (i < text.size() && text.at(i).isSpace())
            ++i;
        const qsizetype start = i;
        while (i < text.size() && !text.at(i).isSpace())
            ++i;
        const QString word = key(text.mid(start, i - start));
        if (!word.isEmpty())
            m_words.append(word);
    }
}

LooseQuery LooseQuery::anyOf(const QString& text) {
    return anyOf(text.split(QLatin1Char(',')));
}

LooseQuery LooseQuery::anyOf(const QStringList& texts) {
    QList<LooseQuery> queries;
    for (const QString& text : texts)
        queries.append(LooseQuery(text));
    return either(queries);
}

LooseQuery LooseQuery::either(const QList<LooseQuery>& queries) {
    QList<LooseQuery> flat;
    QSet<QString> seen;
    auto keep = [&](const LooseQuery& query) {
        if (query.m_whole.isEmpty() || seen.contains(query.m_whole))
            return;
        seen.insert(query.m_whole);
        flat.append(query);
    };
    for (const LooseQuery& query : queries) {
        if (query.m_alternatives.isEmpty())
            keep(query);
        for (const LooseQuery& alternative : query.m_alternatives)
            keep(alternative);
    }
    if (flat.isEmpty())
        return LooseQuery();
    if (flat.size() == 1)
        return flat.first();
    LooseQuery merged;
    QStringList wholes;
    for (const LooseQuery& query : flat)
        wholes.append(query.m_whole);
    merged.m_whole = wholes.join(QLatin1Char(','));
    merged.m_alternatives = flat;
    return merged;
}

QString LooseQuery::key(const QString& text) {
    const QList<char32_t> scalars = foldedScalars(text);
    return QString::fromUcs4(scalars.constData(), scalars.size());
}

bool LooseQuery::matches(const QString& key) const {
    if (m_whole.isEmpty())
        return false;
    if (!m_alternatives.isEmpty())
        return std::any_of(m_alternatives.begin(), m_alternatives.end(),
                           [&](const LooseQuery& alternative) { return alternative.matches(key); });
    if (key.contains(m_whole))
        return true;
    return m_words.size() >= 2 && std::all_of(m_words.begin(), m_words.end(),
                                              [&](const QString& word) { return key.contains(word); });
}

bool LooseQuery::isExact(const QString& key) const {
    if (!m_alternatives.isEmpty())
        return std::any_of(m_alternatives.begin(), m_alternatives.end(),
                           [&](const LooseQuery& alternative) { return alternative.isExact(key); });
    return !m_whole.isEmpty() && key == m_whole;
}

QList<TextRange> LooseQuery::ranges(const QString& text) const {
    if (m_whole.isEmpty() || text.isEmpty())
        return {};
    if (!m_alternatives.isEmpty()) {
        QList<TextRange> all;
        for (const LooseQuery& alternative : m_alternatives)
            all += alternative.ranges(text);
        std::stable_sort(all.begin(), all.end(),
                         [](const TextRange& a, const TextRange& b) { return a.location < b.location; });
        QList<TextRange> kept;
        for (const TextRange& range : all) {
            if (kept.isEmpty() || range.location >= kept.last().end())
                kept.append(range);
        }
        return kept;
    }
    // Each kept scalar remembers the user-perceived character it came from.
    QList<char32_t> scalars;
    QList<TextRange> sources;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    while (finder.toNextBoundary() != -1) {
        const qsizetype end = finder.position();
        const TextRange source = TextRange::between(start, end);
        for (char32_t c : foldedScalars(text.mid(start, end - start))) {
            scalars.append(c);
            sources.append(source);
        }
        start = end;
    }
    auto search = [&](const QString& needleText) {
        QList<char32_t> needle;
        for (uint c : needleText.toUcs4())
            needle.append(c);
        QList<TextRange> found;
        for (qsizetype at : hits(scalars, needle))
            found.append(TextRange::between(sources[at].location, sources[at + needle.size() - 1].end()));
        return found;
    };
    QList<TextRange> found = search(m_whole);
    if (!found.isEmpty() || m_words.size() < 2)
        return found;
    for (const QString& word : m_words)
        found += search(word);
    std::stable_sort(found.begin(), found.end(),
                     [](const TextRange& a, const TextRange& b) { return a.location < b.location; });
    return found;
}

size_t qHash(const LooseQuery& query, size_t seed) {
    seed = qHashMulti(seed, query.whole(), query.words());
    for (const LooseQuery& alternative : query.alternatives())
        seed = qHash(alternative, seed);
    return seed;
}

} // namespace corvantis

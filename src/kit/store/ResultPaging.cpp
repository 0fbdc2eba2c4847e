#include "kit/store/ResultPaging.h"

#include <QRegularExpression>
#include <QSet>
#include <algorithm>
#include <numeric>

namespace corvantis::ResultPaging {

namespace {

// The text with strings and "//" comments taken out: a blank stands for each, and line ends become
// blanks.
QString stripped(const QString& cypher) {
    QString out;
    out.reserve(cypher.size());
    const qsizetype n = cypher.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = cypher[i];
        if (c == QLatin1Char('\'') || c == QLatin1Char('"') || c == QLatin1Char('`')) {
            ++i;
            while (i < n) {
                if (cypher[i] == QLatin1Char('\\')) {
                    i += 2;
                    continue;
                }
                if (cypher[i] == c) {
                    ++i;
                    break;
                }
                ++i;
            }
            out += QLatin1Char(' ');
        } else if (c == QLatin1Char('/') && i + 1 < n && cypher[i + 1] == QLatin1Char('/')) {
            while (i < n && cypher[i] != QLatin1Char('\n') && cypher[i] != QLatin1Char('\r'))
                ++i;
            out += QLatin1Char(' ');
        } else if (c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            out += QLatin1Char(' ');
            ++i;
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

} // namespace

bool isOrdered(const QString& cypher) {
    static const QRegularExpression orderBy(QStringLiteral("\\bORDER\\s+BY\\b"),
                                            QRegularExpression::CaseInsensitiveOption);
    return orderBy.match(stripped(cypher)).hasMatch();
}

QList<QStringList> groups(const QList<QStringList>& rows, bool ordered,
                          const std::function<double(const QString&)>& score) {
    QList<qsizetype> order(rows.size());
    std::iota(order.begin(), order.end(), 0);
    if (!ordered) {
        QList<double> scores(rows.size(), 0.0);
        for (qsizetype i = 0; i < rows.size(); ++i) {
            if (rows[i].isEmpty())
                continue;
            double best = score(rows[i].first());
            for (const auto& id : rows[i])
                best = std::max(best, score(id));
            scores[i] = best;
        }
        std::stable_sort(order.begin(), order.end(),
                         [&](qsizetype a, qsizetype b) { return scores[a] > scores[b]; });
    }
    QList<QStringList> out;
    QSet<QString> seen;
    for (auto index : order) {
        QStringList group;
        for (const auto& id : rows[index]) {
            if (seen.contains(id))
                continue;
            seen.insert(id);
            group << id;
        }
        if (!group.isEmpty())
            out << group;
    }
    return out;
}

int pageEnd(const QList<QStringList>& groups, int from, int size) {
    const int count = static_cast<int>(groups.size());
    if (from >= count)
        return from;
    int end = from;
    qsizetype held = 0;
    while (end < count && (end == from || held < size)) {
        held += groups[end].size();
        ++end;
    }
    return end;
}

int firstPageEnd(const QList<QStringList>& groups) {
    qsizetype total = 0;
    for (const auto& group : groups)
        total += group.size();
    if (total <= wholeLimit || groups.size() < 2)
        return static_cast<int>(groups.size());
    return pageEnd(groups, 0, pageSize);
}

} // namespace corvantis::ResultPaging

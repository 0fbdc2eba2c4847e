#include "kit/links/LinkFinder.h"

#include <QRegularExpression>
#include <QSet>

namespace corvantis::LinkFinder {

namespace {

// Characters a link may not end with: a sentence goes on after them.
bool trailing(QChar c) {
    static const QString set = QStringLiteral(".,;:!?'\"…»”’");
    return set.contains(c);
}

// Drops a closing bracket the link never opened, and sentence punctuation at its end.
QString trimEnd(QString link) {
    for (;;) {
        if (link.isEmpty())
            return link;
        const QChar last = link.back();
        if (trailing(last)) {
            link.chop(1);
            continue;
        }
        const QString closers = QStringLiteral(")]}>");
        const QString openers = QStringLiteral("([{<");
        const int which = int(closers.indexOf(last));
        if (which >= 0 && link.count(closers[which]) > link.count(openers[which])) {
            link.chop(1);
            continue;
        }
        return link;
    }
}

} // namespace

QList<QUrl> links(const QString& text) {
    static const QRegularExpression candidate(
        QStringLiteral("(?<![\\w@/.])(?:(https?)://|(www\\.))[^\\s<>\"`{}|\\\\^]+"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    QList<QUrl> found;
    QSet<QString> seen;
    auto it = candidate.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        QString link = trimEnd(match.captured(0));
        if (!match.captured(2).isEmpty())
            link.prepend(QStringLiteral("http://"));
        const QUrl url(link, QUrl::TolerantMode);
        const QString scheme = url.scheme().toLower();
        if (!url.isValid() || url.host().isEmpty())
            continue;
        if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
            continue;
        const QString key = url.toString(QUrl::FullyEncoded);
        if (seen.contains(key))
            continue;
        seen.insert(key);
        found.append(url);
    }
    return found;
}

} // namespace corvantis::LinkFinder

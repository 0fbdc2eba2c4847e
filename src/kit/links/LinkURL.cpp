#include "kit/links/LinkURL.h"

#include <QRegularExpression>
#include <QUrlQuery>

namespace corvantis::LinkURL {

namespace {

// "mailto:x", "ftp://x" and "https://x" name a scheme; "example.com:8080/x" is a host with a port.
bool hasScheme(const QString& text) {
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.\\-]*:(?![0-9])"));
    return scheme.match(text).hasMatch();
}

bool hasWhiteSpace(const QString& text) {
    for (QChar c : text) {
        if (c.isSpace())
            return true;
    }
    return false;
}

} // namespace

std::optional<QUrl> normalize(const QString& text) {
    QString candidate = text.trimmed();
    if (candidate.isEmpty() || hasWhiteSpace(candidate))
        return std::nullopt;
    if (!hasScheme(candidate)) {
        if (!candidate.contains(QLatin1Char('.')))
            return std::nullopt;
        candidate.prepend(QStringLiteral("https://"));
    }
    QUrl url(candidate, QUrl::TolerantMode);
    if (!url.isValid())
        return std::nullopt;
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        return std::nullopt;
    if (url.host().isEmpty())
        return std::nullopt;
    return url;
}

QString site(const QUrl& url) {
    QString host = url.host();
    if (host.startsWith(QLatin1String("www."), Qt::CaseInsensitive))
        host.remove(0, 4);
    return host;
}

std::optional<QString> youTubeID(const QUrl& url) {
    static const QRegularExpression idPattern(QStringLiteral("^[A-Za-z0-9_-]{6,}$"));
    const QString host = site(url).toLower();
    const QStringList path = url.path().split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QString id;
    if (host == QLatin1String("youtu.be")) {
        id = path.value(0);
    } else if (host == QLatin1String("youtube.com") || host.endsWith(QLatin1String(".youtube.com")) ||
               host == QLatin1String("youtube-nocookie.com")) {
        if (path.value(0) == QLatin1String("watch"))
            id = QUrlQuery(url).queryItemValue(QStringLiteral("v"));
        else if (path.value(0) == QLatin1String("shorts") || path.value(0) == QLatin1String("embed") ||
                 path.value(0) == QLatin1String("live") || path.value(0) == QLatin1String("v"))
            id = path.value(1);
    }
    if (!idPattern.match(id).hasMatch())
        return std::nullopt;
    return id;
}

} // namespace corvantis::LinkURL

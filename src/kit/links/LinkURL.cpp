#include "kit/links/LinkURL.h"

#include <QRegularExpression>

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

} // namespace corvantis::LinkURL

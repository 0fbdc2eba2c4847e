#include "kit/links/HTMLMetadata.h"

#include <QRegularExpression>

namespace corvantis::HTMLMetadata {

namespace {

std::optional<QString> nonEmpty(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed;
}

std::optional<QUrl> webURL(const QString& reference, const QUrl& base) {
    if (reference.trimmed().isEmpty())
        return std::nullopt;
    const QUrl resolved = base.resolved(QUrl(reference.trimmed()));
    const QString scheme = resolved.scheme().toLower();
    if (!resolved.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return std::nullopt;
    return resolved;
}

} // namespace

QStringList tags(const QString& name, const QString& html) {
    const QRegularExpression pattern(QLatin1Char('<') + QRegularExpression::escape(name) +
                                         QStringLiteral("\\b[^>]*>"),
                                     QRegularExpression::CaseInsensitiveOption);
    QStringList found;
    for (auto it = pattern.globalMatch(html); it.hasNext();)
        found.append(it.next().captured(0));
    return found;
}

QHash<QString, QString> attributes(const QString& tag) {
    static const QRegularExpression pattern(
        QStringLiteral("([a-zA-Z:-]+)\\s*=\\s*(\"([^\"]*)\"|'([^']*)'|([^\\s>]+))"));
    QHash<QString, QString> found;
    for (auto it = pattern.globalMatch(tag); it.hasNext();) {
        const auto match = it.next();
        QString value = match.captured(3);
        if (match.capturedStart(3) < 0)
            value = match.capturedStart(4) >= 0 ? match.captured(4) : match.captured(5);
        const QString name = match.captured(1).toLower();
        if (!found.contains(name))
            found.insert(name, value);
    }
    return found;
}

QString decodeEntities(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("&(#[0-9]+|#[xX][0-9a-fA-F]+|[a-zA-Z]+);"));
    static const QHash<QString, QString> named{{"amp", "&"},
                                               {"lt", "<"},
                                               {"gt", ">"},
                                               {"quot", "\""},
                                               {"apos", "'"},
                                               {"nbsp", QString(QChar(0xA0))},
                                               {"hellip", QString(QChar(0x2026))},
                                               {"mdash", QString(QChar(0x2014))},
                                               {"ndash", QString(QChar(0x2013))},
                                               {"rsquo", QString(QChar(0x2019))},
                                               {"lsquo", QString(QChar(0x2018))},
                                               {"ldquo", QString(QChar(0x201C))},
                                               {"rdquo", QString(QChar(0x201D))}};
    QString out;
    qsizetype last = 0;
    for (auto it = pattern.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        const QString body = match.captured(1);
        std::optional<QString> replacement;
        if (body.startsWith('#')) {
            bool ok = false;
            const uint code = body.startsWith(QLatin1String("#x"), Qt::CaseInsensitive)
                                  ? body.mid(2).toUInt(&ok, 16)
                                  : body.mid(1).toUInt(&ok, 10);
            if (ok && code > 0 && code <= 0x10FFFF)
                replacement = QString::fromUcs4(reinterpret_cast<const char32_t*>(&code), 1);
        } else if (named.contains(body)) {
            replacement = named.value(body);
        }
        if (!replacement)
            continue;
        out += QStringView(text).mid(last, match.capturedStart(0) - last);
        out += *replacement;
        last = match.capturedEnd(0);
    }
    out += QStringView(text).mid(last);
    return out;
}

Result parse(const QString& html, const QUrl& baseURL) {
    QHash<QString, QString> meta;
    for (const QString& tag : tags(QStringLiteral("meta"), html)) {
        const auto attrs = attributes(tag);
        QString key = attrs.value(QStringLiteral("property"));
        if (key.isEmpty())
            key = attrs.value(QStringLiteral("name"));
        key = key.toLower();
        if (!key.isEmpty() && attrs.contains(QStringLiteral("content")) && !meta.contains(key))
            meta.insert(key, decodeEntities(attrs.value(QStringLiteral("content"))));
    }

    Result result;
    for (const char* key : {"og:title", "twitter:title"}) {
        if (!result.title)
            result.title = nonEmpty(meta.value(QString::fromLatin1(key)));
    }
    if (!result.title) {
        static const QRegularExpression titleElement(QStringLiteral("<title\\b[^>]*>([\\s\\S]*?)</title>"),
                                                     QRegularExpression::CaseInsensitiveOption);
        static const QRegularExpression markup(QStringLiteral("<[^>]+>"));
        const auto match = titleElement.match(html);
        if (match.hasMatch())
            result.title = nonEmpty(decodeEntities(match.captured(1).remove(markup)).simplified());
    }
    for (const char* key : {"og:image", "og:image:url", "twitter:image", "twitter:image:src"}) {
        if (!result.image && meta.contains(QString::fromLatin1(key)))
            result.image = webURL(meta.value(QString::fromLatin1(key)), baseURL);
    }
    std::optional<QUrl> touchIcon;
    std::optional<QUrl> icon;
    for (const QString& tag : tags(QStringLiteral("link"), html)) {
        const auto attrs = attributes(tag);
        const QString rel = attrs.value(QStringLiteral("rel")).toLower();
        const QString href = decodeEntities(attrs.value(QStringLiteral("href")));
        if (!touchIcon && rel.contains(QLatin1String("apple-touch")))
            touchIcon = webURL(href, baseURL);
        else if (!icon && rel.contains(QLatin1String("icon")))
            icon = webURL(href, baseURL);
    }
    result.icon = touchIcon ? touchIcon : icon;
    if (!result.icon)
        result.icon = webURL(QStringLiteral("/favicon.ico"), baseURL);
    result.isVideo = meta.value(QStringLiteral("og:type")).contains(QLatin1String("video")) ||
                     meta.contains(QStringLiteral("og:video")) ||
                     meta.contains(QStringLiteral("og:video:url"));
    return result;
}

} // namespace corvantis::HTMLMetadata

#include "kit/build/BuildPrompt.h"

#include <QJsonArray>
#include <QJsonObject>

namespace corvantis::BuildPrompt {

namespace {

QString attribute(QString text) {
    text.replace(QLatin1Char('"'), QLatin1Char('\''));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return text;
}

} // namespace

QString localWords(QString text) {
    text.replace(QStringLiteral("this Mac"), QStringLiteral("this computer"));
    text.replace(QStringLiteral("Mac"), QStringLiteral("computer"));
    return text;
}

QString sources(const QList<BuildSource>& list) {
    QStringList blocks;
    for (const BuildSource& source : list) {
        const QString note =
            source.truncated ? QStringLiteral(" note=\"only the first part; the rest was too long to send\"")
                             : QString();
        blocks.append(QStringLiteral("<source title=\"") + attribute(source.title) +
                      QStringLiteral("\" from=\"") + attribute(source.location) + QStringLiteral("\"") +
                      note + QStringLiteral(">\n") + source.text + QStringLiteral("\n</source>"));
    }
    return blocks.join(QStringLiteral("\n\n"));
}

QString message(const BuildMessage& msg, const QString& emptyText) {
    QString text = msg.text.trimmed();
    if (text.isEmpty())
        text = emptyText;
    const qint64 pictures = msg.pictureCount();
    if (pictures == 1)
        text = QStringLiteral("(A picture is attached above.)\n") + text;
    else if (pictures > 1)
        text = QStringLiteral("(%1 pictures are attached above.)\n").arg(pictures) + text;
    if (!msg.sources.isEmpty())
        text += QStringLiteral("\n\nWhat they shared:\n\n") + sources(msg.sources);
    return text;
}

QString history(const QList<BuildExchange>& exchanges) {
    if (exchanges.isEmpty())
        return QString();
    QStringList lines{QStringLiteral("The conversation so far:"), QString()};
    for (const BuildExchange& exchange : exchanges) {
        lines.append(QStringLiteral("<person>\n") +
                     message(exchange.message, QStringLiteral("(No words: only what they shared.)")) +
                     QStringLiteral("\n</person>"));
        if (exchange.message.pictureCount() > 0)
            lines.append(QStringLiteral("(The pictures from that turn aren't sent again.)"));
        lines.append(QStringLiteral("<you>\n") +
                     (exchange.reply.isEmpty() ? QStringLiteral("(You answered.)") : exchange.reply) +
                     QStringLiteral("\n</you>"));
        lines.append(QString());
    }
    return lines.join(QLatin1Char('\n'));
}

QJsonValue content(const QString& text, const QList<ShapeImage>& images) {
    if (images.isEmpty())
        return text;
    QJsonArray blocks;
    for (const ShapeImage& image : images)
        blocks.append(
            QJsonObject{{QStringLiteral("type"), QStringLiteral("image")},
                        {QStringLiteral("source"),
                         QJsonObject{{QStringLiteral("type"), QStringLiteral("base64")},
                                     {QStringLiteral("media_type"), image.mediaType},
                                     {QStringLiteral("data"), QString::fromLatin1(image.data.toBase64())}}}});
    blocks.append(
        QJsonObject{{QStringLiteral("type"), QStringLiteral("text")}, {QStringLiteral("text"), text}});
    return blocks;
}

} // namespace corvantis::BuildPrompt

#include "app/notes/VideoPoster.h"

#include "kit/notes/NoteEmbed.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QTimer>
#include <QUrl>
#include <QVideoFrame>
#include <QVideoSink>

namespace corvantis::VideoPoster {

QImage frame(const QString& path, int timeoutMs) {
    if (!QFileInfo(path).isFile())
        return QImage();
    QMediaPlayer player;
    QVideoSink sink;
    player.setVideoSink(&sink);
    QImage image;
    QEventLoop loop;
    QObject::connect(&sink, &QVideoSink::videoFrameChanged, &loop, [&](const QVideoFrame& frame) {
        if (!frame.isValid() || !image.isNull())
            return;
        image = frame.toImage();
        if (!image.isNull())
            loop.quit();
    });
    QObject::connect(&player, &QMediaPlayer::errorOccurred, &loop, [&] { loop.quit(); });
    QObject::connect(&player, &QMediaPlayer::mediaStatusChanged, &loop,
                     [&](QMediaPlayer::MediaStatus status) {
                         if (status == QMediaPlayer::InvalidMedia || status == QMediaPlayer::EndOfMedia)
                             loop.quit();
                     });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    player.setSource(QUrl::fromLocalFile(path));
    player.setAudioOutput(nullptr);
    player.play();
    if (image.isNull())
        loop.exec();
    player.stop();
    return image;
}

QHash<QString, QImage> posters(const QString& text, const QString& attachments) {
    QHash<QString, QImage> found;
    for (const NoteEmbed& embed : NoteEmbed::embeds(text)) {
        if (embed.kind != NoteEmbed::Kind::Video || found.contains(embed.file))
            continue;
        const QImage image = frame(attachments + "/" + embed.file);
        if (!image.isNull())
            found.insert(embed.file, image);
    }
    return found;
}

} // namespace corvantis::VideoPoster

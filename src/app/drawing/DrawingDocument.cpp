#include "app/drawing/DrawingDocument.h"

#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvantis {

namespace {

constexpr qint64 quietMs = 800;   // a save this long after the last change
constexpr qint64 latestMs = 4000; // and never later than this after the first

QString presenceMessage(int devices) {
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("presence")},
                                                       {QStringLiteral("ipads"), devices}})
                                 .toJson(QJsonDocument::Compact));
}

} // namespace

DrawingDocument::DrawingDocument(DrawingRequest request, QString folder, bool inNote, DrawingPage* page,
                                 TabletBridge* bridge, QObject* parent)
    : QObject(parent)
    , m_request(std::move(request))
    , m_folder(std::move(folder))
    , m_inNote(inNote)
    , m_page(page)
    , m_bridge(bridge) {
    Q_ASSERT(page);
    m_saveTimer.setSingleShot(true);
    connect(&m_saveTimer, &QTimer::timeout, this, &DrawingDocument::save);
    connect(page, &DrawingPage::ready, this, [this] {
        m_ready = true;
        emit readyChanged();
        load();
    });
    connect(page, &DrawingPage::changed, this, &DrawingDocument::changed);
    connect(page, &DrawingPage::saved, this, &DrawingDocument::onSaved);
    connect(page, &DrawingPage::saveFailed, this, &DrawingDocument::onSaveFailed);
    connect(page, &DrawingPage::exportImage, this, &DrawingDocument::exportRequested);
    connect(page, &DrawingPage::toTablet, this, [this](const QString& message) {
        if (m_bridge && m_tabletState == TabletState::Sharing)
            m_bridge->send(message);
    });
}

DrawingDocument::~DrawingDocument() {
    if (m_tabletState != TabletState::Off)
        stopTablet();
}

int DrawingDocument::saveDelayMs(qint64 sinceFirstChangeMs) {
    return static_cast<int>(std::max<qint64>(0, std::min(latestMs - sinceFirstChangeMs, quietMs)));
}

void DrawingDocument::setTheme(const QString& theme) {
    if (theme == m_theme)
        return;
    m_theme = theme;
    if (m_page && m_ready)
        m_page->setTheme(theme);
}

QString DrawingDocument::path(const QString& file) const {
    return QDir(m_folder).filePath(file);
}

void DrawingDocument::load() {
    QString source;
    const QString file = path(*embed().sourceFile());
    if (QFile::exists(file)) {
        try {
            source = QString::fromUtf8(readFile(file));
        } catch (const FileError& error) {
            emit failed(QStringLiteral("Couldn't open the drawing: %1").arg(error.message()));
        }
    }
    m_page->load(source, m_theme);
}

void DrawingDocument::changed() {
    if (!m_changedSince) {
        m_changedSince.emplace();
        m_changedSince->start();
    }
    m_saveTimer.start(saveDelayMs(m_changedSince->elapsed()));
}

void DrawingDocument::save() {
    m_saveTimer.stop();
    if (m_saving) {
        m_saveAgain = true;
        return;
    }
    if (!m_page) {
        onSaveFailed(QStringLiteral("the board is gone"));
        return;
    }
    if (!m_ready) {
        // A board that never showed the drawing has nothing to give back.
        m_changedSince.reset();
        if (m_finishing)
            finishNow();
        return;
    }
    m_saving = true;
    emit savingChanged();
    m_changedSince.reset();
    m_page->requestSave();
}

void DrawingDocument::onSaved(const BoardSnapshot& snapshot) {
    if (!m_saving)
        return; // an answer nobody asked for
    const NoteEmbed drawing = embed();
    const QStringList files{*drawing.sourceFile(), drawing.file, *drawing.darkFile()};
    try {
        if (snapshot.empty) {
            if (m_inNote) {
                m_inNote = false;
                emit emptied(drawing);
                for (const QString& file : files)
                    if (QFile::exists(path(file)) && !QFile::remove(path(file)))
                        throw FileError(QStringLiteral("“%1” couldn't be removed.").arg(file));
                emit picturesChanged(drawing.file);
            }
            // An untouched new drawing leaves nothing behind.
        } else {
            writeFileAtomically(path(files[0]), snapshot.source.toUtf8());
            writeFileAtomically(path(files[1]), snapshot.light);
            writeFileAtomically(path(files[2]), snapshot.dark);
            if (!m_inNote) {
                m_inNote = true;
                emit firstSaved(drawing);
            }
            emit picturesChanged(drawing.file);
        }
    } catch (const FileError& error) {
        emit failed(QStringLiteral("Couldn't save the drawing: %1").arg(error.message()));
    }
    endSave();
}

void DrawingDocument::onSaveFailed(const QString& reason) {
    if (m_saving)
        emit failed(QStringLiteral("Couldn't save the drawing: %1").arg(reason));
    endSave();
}

void DrawingDocument::endSave() {
    if (m_saving) {
        m_saving = false;
        emit savingChanged();
    }
    if (m_saveAgain) {
        m_saveAgain = false;
        changed(); // a change came during the save: one more save after it
    }
    if (m_finishing) {
        if (m_changedSince)
            save(); // while finishing, what is left is saved at once
        else
            finishNow();
    }
}

void DrawingDocument::finish() {
    if (m_finished || m_finishing)
        return;
    m_finishing = true;
    if (m_saving)
        return; // endSave goes on from there
    if (m_saveTimer.isActive())
        save();
    else
        finishNow();
}

void DrawingDocument::finishNow() {
    m_finishing = false;
    if (m_tabletState != TabletState::Off)
        stopTablet();
    m_finished = true;
    emit finishedChanged();
}

void DrawingDocument::startTablet() {
    if (!m_bridge || m_tabletState == TabletState::Sharing || m_tabletState == TabletState::Starting)
        return;
    m_tabletState = TabletState::Starting;
    m_tabletFailure.clear();
    emit tabletChanged();
    try {
        m_tabletAddress = m_bridge->start();
    } catch (const TabletBridgeError& error) {
        m_tabletState = TabletState::Failed;
        m_tabletFailure = error.message();
        emit tabletChanged();
        return;
    }
    m_tabletConnections = {
        connect(m_bridge, &TabletBridge::messageReceived, this,
                [this](const QString& message) {
                    if (m_page)
                        m_page->fromTablet(message);
                }),
        connect(m_bridge, &TabletBridge::presenceChanged, this, &DrawingDocument::presence),
        connect(m_bridge, &TabletBridge::addressChanged, this,
                [this](const TabletBridge::Address& address) {
                    m_tabletAddress = address;
                    emit tabletChanged();
                }),
    };
    m_tabletState = TabletState::Sharing;
    m_tabletDevices = m_bridge->devices();
    emit tabletChanged();
}

void DrawingDocument::presence(int devices) {
    m_tabletDevices = devices;
    emit tabletChanged();
    if (m_page)
        m_page->fromTablet(presenceMessage(devices));
}

void DrawingDocument::stopTablet() {
    for (const auto& connection : std::as_const(m_tabletConnections))
        disconnect(connection);
    m_tabletConnections.clear();
    if (m_bridge)
        m_bridge->stop();
    m_tabletState = TabletState::Off;
    m_tabletAddress = {};
    m_tabletDevices = 0;
    emit tabletChanged();
    if (m_page)
        m_page->fromTablet(presenceMessage(0));
}

} // namespace corvantis

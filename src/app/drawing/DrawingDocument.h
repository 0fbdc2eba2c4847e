#pragma once

#include "app/drawing/DrawingPage.h"
#include "app/tablet/TabletBridge.h"
#include "kit/notes/NoteEmbed.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <optional>

namespace corvantis {

// Which drawing to open, in which note, and where its embed goes when it is first saved.
struct DrawingRequest {
    QString id;
    QString note;
    std::optional<int> insertAt;
};

// One open drawing: loads its source into the board, saves what the board gives back (0.8 s after the
// last change, and at the latest 4 s after the first), puts the embed into the note at the first save
// and takes it out when the drawing is emptied, and relays between the board and tablets.
class DrawingDocument : public QObject {
    Q_OBJECT
public:
    enum class TabletState { Off, Starting, Sharing, Failed };

    // `folder` is the project's attachments folder; `inNote` says whether the embed already stands in
    // the note. `bridge` may be null where no tablet can join.
    DrawingDocument(DrawingRequest request, QString folder, bool inNote, DrawingPage* page,
                    TabletBridge* bridge, QObject* parent = nullptr);
    ~DrawingDocument() override;

    const DrawingRequest& request() const { return m_request; }
    NoteEmbed embed() const { return NoteEmbed::drawing(m_request.id); }
    bool ready() const { return m_ready; }
    bool inNote() const { return m_inNote; }
    bool saving() const { return m_saving; }
    bool finished() const { return m_finished; }
    // A save is waiting for its time, or running.
    bool pending() const { return m_saveTimer.isActive() || m_saving; }

    QString theme() const { return m_theme; }
    void setTheme(const QString& theme);

    // The board changed: a save follows.
    void changed();
    // Asks the board for its snapshot now, or once more after the running save.
    void save();
    // Saves once more if anything is pending, stops sharing, and ends with `finishedChanged`.
    void finish();

    TabletState tabletState() const { return m_tabletState; }
    TabletBridge::Address tabletAddress() const { return m_tabletAddress; }
    int tabletDevices() const { return m_tabletDevices; }
    QString tabletFailure() const { return m_tabletFailure; }
    void startTablet();
    void stopTablet();

    // How long to wait before saving, `sinceFirstChange` seconds after the first unsaved change.
    static int saveDelayMs(qint64 sinceFirstChangeMs);

signals:
    void readyChanged();
    void savingChanged();
    void finishedChanged();
    void tabletChanged();
    // The embed goes into the note (first save), or out of it (the drawing was emptied).
    void firstSaved(const corvantis::NoteEmbed& embed);
    void emptied(const corvantis::NoteEmbed& embed);
    // The drawing's pictures changed on disk.
    void picturesChanged(const QString& file);
    // A save failed; the drawing stays open.
    void failed(const QString& sentence);
    void exportRequested(const QByteArray& png);

private:
    void load();
    void onSaved(const BoardSnapshot& snapshot);
    void onSaveFailed(const QString& reason);
    void endSave();
    void finishNow();
    void presence(int devices);
    QString path(const QString& file) const;

    DrawingRequest m_request;
    QString m_folder;
    bool m_inNote;
    QPointer<DrawingPage> m_page;
    QPointer<TabletBridge> m_bridge;
    QString m_theme = QStringLiteral("light");
    bool m_ready = false;
    bool m_saving = false;
    bool m_saveAgain = false;
    bool m_finishing = false;
    bool m_finished = false;
    QTimer m_saveTimer;
    std::optional<QElapsedTimer> m_changedSince;
    TabletState m_tabletState = TabletState::Off;
    TabletBridge::Address m_tabletAddress;
    int m_tabletDevices = 0;
    QString m_tabletFailure;
    QList<QMetaObject::Connection> m_tabletConnections;
};

} // namespace corvantis

#pragma once

#include "app/build/BuildAttachment.h"
#include "kit/ai/AIModel.h"
#include "kit/build/BuildConversation.h"

#include <QObject>

namespace corvantis {

// One turn of a build conversation, live on the main thread: what the person sent, the steps the work
// went through, the model's thinking and reply, and what became of the draft. Every change emits
// `changed`.
class BuildTurn : public QObject {
    Q_OBJECT
public:
    // What can mend a failed turn.
    enum class Fix { SignIn, Update, Settings };
    struct DraftSize {
        qint64 nodes = 0;
        qint64 relationships = 0;
        qint64 changes = 0;
    };

    explicit BuildTurn(QObject* parent = nullptr);
    BuildTurn(const BuildTurnRecord& record, QObject* parent = nullptr);
    BuildTurnRecord record() const;

    QUuid id;
    QString text;
    QList<BuildAttachment> attachments;
    AIModel model;
    AIEffort effort = AIEffort::medium;
    std::optional<QString> source;
    QDateTime started;
    std::optional<QDateTime> finished;
    BuildTurnRecord::Status status = BuildTurnRecord::Status::Running;
    QList<BuildStep> steps;
    QString thinking;
    std::optional<QDateTime> thinkingStarted;
    std::optional<QDateTime> thinkingFinished;
    QString summary;
    std::optional<QString> error;
    std::optional<Fix> fix;
    std::optional<BuildMessage> message;
    std::optional<DraftSize> draft;
    std::optional<GraphAdded> added;
    bool discarded = false;
    bool revised = false;
    bool undone = false;
    std::optional<GraphReview> addedReview; // the review as applied, kept for undo
    std::optional<ShapeMergeResult> shape;
    // The applied change can still be taken back: nothing undoable was done after it.
    bool undoable = false;
    // Why the undo is gone, when it went because of later work.
    std::optional<QString> undoGone;

    bool isRunning() const { return status == BuildTurnRecord::Status::Running; }
    // "Thinking" while the model thinks, else the running step's title, else "Working".
    QString activity() const;

    // A new working step; its id.
    QUuid startStep(const QString& title, const QString& detail = QString(), bool thinks = false);
    void finishStep(const QUuid& id, BuildStep::Status status, const QString& title,
                    const std::optional<QString>& detail = std::nullopt);
    void retitleStep(const QUuid& id, const QString& title);
    void setThinking(const QString& text);
    // Tells the views that fields were set.
    void notify() { emit changed(); }

signals:
    void changed();
};

} // namespace corvantis

#pragma once

#include "app/build/BuildAttachment.h"
#include "app/build/BuildHost.h"
#include "app/build/BuildTurn.h"
#include "kit/ai/AIClient.h"
#include "kit/ai/AIProvider.h"
#include "kit/build/BuildConversation.h"
#include "kit/build/GraphBuilder.h"
#include "kit/links/SourceReader.h"
#include "kit/support/UserFacingError.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <optional>
#include <qcoro/qcorotask.h>

class QMimeData;

namespace corvantis {

class AIConnection;
class Settings;

// Nothing could be read from what the person sent, and they wrote nothing.
class BuildChatError : public UserFacingError {
public:
    static BuildChatError nothingToRead() {
        return BuildChatError(
            QStringLiteral("Nothing could be read from that, so there's nothing to build from."));
    }
    static BuildChatError pictureUnreadable() {
        return BuildChatError(QStringLiteral("The picture couldn't be read."));
    }
    // A draft or additions arrived from a connected app while a turn runs.
    static BuildChatError busy(BuildKind kind) {
        return BuildChatError(
            kind == BuildKind::Graph
                ? QStringLiteral("Corvantis is already working on a draft in its Build panel. "
                                 "Try again in a moment.")
                : QStringLiteral("Corvantis is already working on the shape in its Build "
                                 "panel. Try again in a moment."));
    }

private:
    using UserFacingError::UserFacingError;
};

// The model behind a Build panel, one per project and kind, on the main thread. It runs one turn at a
// time (reading what was shared, drafting, checking), holds the open draft, and applies, undoes and
// discards it. Nothing reaches the graph before `add`; one Undo takes an applied draft back out.
class BuildChat : public QObject {
    Q_OBJECT
public:
    // The model a turn is sent to.
    struct Using {
        AIProvider provider = AIProvider::claude;
        AIModel model;
        AIEffort effort = AIEffort::medium;
        AIConnection* connection = nullptr; // notes sign-outs and outdated tools; may be null
    };
    using ClientMaker = std::function<AIClient(AIProvider, std::optional<AIEffort>,
                                               std::function<void(const QString&)>, CancellationToken)>;

    BuildChat(BuildKind kind, BuildHost& host, Settings* settings, QObject* parent = nullptr);
    ~BuildChat() override;

    BuildKind kind() const { return m_kind; }
    const QList<BuildTurn*>& turns() const { return m_turns; }
    const QString& draftText() const { return m_draftText; }
    void setDraftText(const QString& text);
    const QList<BuildAttachment>& attachments() const { return m_attachments; }
    void removeAttachment(const QUuid& id);
    const std::optional<GraphReview>& review() const { return m_review; }
    // The person's edits of the open draft; each schedules a save.
    void setReview(const std::optional<GraphReview>& review);
    const QUuid& conversationID() const { return m_conversationID; }
    const QList<BuildConversation::Summary>& history() const { return m_history; }
    bool showsDraft() const { return m_showsDraft; }
    void setShowsDraft(bool shows);
    bool unseen() const { return m_unseen; }
    void setUnseen(bool unseen);
    void setInView(bool inView) { m_inView = inView; }
    int focus() const { return m_focus; }
    // "graphAI.shareNodes": existing nodes go along with the request.
    bool shareExisting() const { return m_shareExisting; }
    void setShareExisting(bool share);

    bool isRunning() const;
    bool canSend() const;
    // The reason the last press of Send did nothing, when it is worth telling.
    std::optional<QString> notice() const { return m_notice; }

    // Starts a turn with the box's text and the waiting attachments. False when nothing was sent.
    bool send(const Using& use);
    // Stops the running turn: its model call is cancelled (the tool's process is ended).
    void stop();
    // Applies the open draft against the graph as it stands now, as one undoable change.
    GraphAdded add();
    // Takes an applied draft back out, back to the draft; only while nothing undoable stands above it.
    bool undoAdd(BuildTurn* turn);
    bool undoShape(BuildTurn* turn);
    void discard();
    // A new conversation; the old one stays in the history. False while a turn runs.
    bool reset();
    bool open(const QUuid& id);
    void remove(const QUuid& id);
    // At the start of a session: the conversation the person had open last.
    void restore();
    void save();
    // The session's conversations of this kind, newest first.
    void refreshHistory();

    // Taking things in.
    void attach(const BuildAttachment& attachment);
    // Drops and pastes: file URLs, web URLs and pictures.
    void take(const QMimeData& data);
    void takeFile(const QUrl& url);
    void appendLink(const QUrl& url);

    // -- Drafts from connected apps ---------------------------------------------------------------------

    struct Received {
        BuildTurn* turn = nullptr;
        GraphReview review;
    };
    // A draft another app sent, as a turn of its own: checked against the shape and the graph, its
    // similar names and change queries found (a failing query stays the change's problem), and opened
    // as the draft. An open draft is replaced. Fails with BuildChatError while a turn runs.
    QCoro::Task<Received> receive(GraphDraft draft, QString request, QString from);
    // Additions to the shape another app sent, applied at once as one undoable change.
    ShapeMergeResult receive(const ShapeDraft& draft, const QString& request, const QString& from);
    // The turn with that id, or null.
    BuildTurn* turn(const QString& id) const;
    // A new running turn for a request from `from`: the trimmed request, with `from` as its source.
    static BuildTurn* turn(const QString& request, const QString& from, QObject* parent);
    // "2 nodes, 1 relationship": each non-zero count with its word.
    static QString counts(const GraphDraft& draft);

    // The exchanges a later turn remembers: done turns with their message.
    QList<BuildExchange> exchanges() const;
    // The nodes that go along with a request for this text: all titled ones up to 300 nodes, else those
    // the text names (at most 150); with `stepTurn`, the search is shown as a step there.
    QList<ExistingNode> existingNodes(const QString& text, BuildTurn* stepTurn = nullptr);

    // For tests: how clients and page fetches are made.
    void setClientMaker(ClientMaker maker) { m_makeClient = std::move(maker); }
    void setTransport(HTTPTransport transport) { m_transport = std::move(transport); }
    // The running turn's work, for those who wait on it.
    bool hasTask() const { return m_task.has_value(); }

signals:
    void turnsChanged();
    void draftTextChanged();
    void attachmentsChanged();
    void reviewChanged();
    void historyChanged();
    void showsDraftChanged();
    void unseenChanged();
    void focusChanged();
    void shareExistingChanged();
    void runningChanged();
    void noticeChanged();
    // A save was written (for those who watch the files).
    void saved();
    // A draft arrived from a connected app: the panel should come into view with this chat.
    void viewRequested();

private:
    QCoro::Task<> run(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history);
    QCoro::Task<BuildMessage> gather(BuildTurn* turn, CancellationToken cancellation);
    QCoro::Task<> buildGraph(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history,
                             BuildMessage message);
    QCoro::Task<> buildShape(BuildTurn* turn, AIClient client, Using use, QList<BuildExchange> history,
                             BuildMessage message);
    QCoro::Task<> find(GraphReview* review, BuildTurn* turn, std::optional<AIClient> repair, AIModel model);
    void present(GraphReview& review, const QString& summary, BuildTurn* turn);
    void finish(BuildTurn* turn, BuildTurnRecord::Status status);
    void fail(BuildTurn* turn, const std::exception& error, AIConnection* connection);
    void scheduleSave();
    void adopt(BuildTurn* turn);
    // Appends a turn that arrived from a connected app, with its one step already done.
    void appendReceived(BuildTurn* turn, const QString& stepTitle, const QString& detail);
    void clear();
    // Watches the undo stack for work done after an applied change.
    void watchUndo();
    void setNotice(const std::optional<QString>& notice);
    BuildTurn* reviewTurn() const;
    QString currentKey() const;

    BuildKind m_kind;
    BuildHost& m_host;
    Settings* m_settings;
    QList<BuildTurn*> m_turns;
    QString m_draftText;
    QList<BuildAttachment> m_attachments;
    std::optional<GraphReview> m_review;
    QUuid m_reviewTurn;
    QUuid m_conversationID;
    QDateTime m_created;
    QList<BuildConversation::Summary> m_history;
    bool m_showsDraft = false;
    bool m_unseen = false;
    bool m_inView = true;
    int m_focus = 0;
    bool m_shareExisting = false;
    std::optional<QString> m_notice;

    std::optional<QCoro::Task<>> m_task;
    CancellationToken m_cancellation;
    QTimer m_saveTimer;
    bool m_loading = false;
    // The undo step each applied turn stands as.
    QHash<QUuid, quint64> m_appliedSteps;
    QPointer<QObject> m_watchedStack;
    bool m_undoing = false; // our own undo runs: the watcher stands aside

    QNetworkAccessManager m_network;
    HTTPTransport m_transport;
    ClientMaker m_makeClient;
};

} // namespace corvantis

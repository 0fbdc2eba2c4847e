#pragma once

#include <QPointer>
#include <QWidget>

class QCheckBox;
class QLabel;
class QListWidget;
class QPushButton;
class QScrollArea;
class QStackedWidget;
class QVBoxLayout;
class QHBoxLayout;

namespace corvantis {

class AppModel;
class BuildChat;
class BuildMessageField;
class ProjectSession;
class ReviewList;

// The Build panel of the project window: the conversation of the mode's chat (graph or shape), its
// turns with their steps, thinking and outcome, the open draft's review list, and the message box with
// attachments, the model and Send or Stop. A list of earlier conversations replaces it on demand.
class BuildPanel : public QWidget {
    Q_OBJECT
public:
    explicit BuildPanel(AppModel& app, QWidget* parent = nullptr);
    ~BuildPanel() override;

    BuildMessageField* messageField() const { return m_field; }
    ReviewList* reviewList() const { return m_review; }
    QPushButton* sendButton() const { return m_send; }
    QListWidget* historyList() const { return m_history; }
    void showHistory(bool show);

private:
    void bindSession();
    void bindChat();
    void rebuildTurns();
    void rebuildAttachments();
    void rebuildHistory();
    void syncControls();
    QWidget* turnCard(class BuildTurn* turn);

    AppModel& m_app;
    QPointer<ProjectSession> m_session;
    QPointer<BuildChat> m_chat;
    QLabel* m_title;
    QPushButton* m_historyButton;
    QStackedWidget* m_pages;
    QScrollArea* m_scroll;
    QWidget* m_turnsBox;
    QVBoxLayout* m_turns;
    ReviewList* m_review;
    QListWidget* m_history;
    QWidget* m_attachmentsBox;
    QHBoxLayout* m_attachments;
    BuildMessageField* m_field;
    QCheckBox* m_share;
    QLabel* m_model;
    QLabel* m_notice;
    QPushButton* m_attach;
    QPushButton* m_send;
    QPushButton* m_stop;
};

} // namespace corvantis

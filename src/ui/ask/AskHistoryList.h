#pragma once

#include <QListWidget>
#include <QPointer>

namespace corvantis {

class ProjectSession;

// The saved questions in the sidebar, newest first: a double click or Enter replays one without a
// model, Delete or the context menu removes it.
class AskHistoryList : public QListWidget {
    Q_OBJECT
public:
    explicit AskHistoryList(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void rebuild();
    void replay(QListWidgetItem* item);
    void remove(QListWidgetItem* item);

    QPointer<ProjectSession> m_session;
};

} // namespace corvantis

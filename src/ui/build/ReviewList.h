#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace corvantis {

class BuildChat;
class ProjectSession;

// The open draft as the person checks it: nodes with their ticks, matches and editable properties,
// relationships with what stands in their way, changes with what their queries found, and what couldn't
// be used. "Apply {n}" applies through the chat; every edit goes back to the chat's review.
class ReviewList : public QWidget {
    Q_OBJECT
public:
    explicit ReviewList(QWidget* parent = nullptr);
    void setChat(BuildChat* chat, ProjectSession* session);

    QTreeWidget* tree() const { return m_tree; }
    QPushButton* applyButton() const { return m_apply; }

private:
    void rebuild();
    void itemChanged(QTreeWidgetItem* item, int column);
    void showMenu(const QPoint& at);

    QPointer<BuildChat> m_chat;
    QPointer<ProjectSession> m_session;
    QLabel* m_summary;
    QTreeWidget* m_tree;
    QLabel* m_hint;
    QPushButton* m_apply;
    QPushButton* m_discard;
    bool m_building = false;
};

} // namespace corvantis

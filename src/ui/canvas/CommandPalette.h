#pragma once

#include <QFrame>
#include <QHash>
#include <QList>
#include <QPointer>

class QAction;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace corvantis {

class ProjectSession;

// The command palette (Ctrl+K): a field over a list, centred near the top of the window. What is typed
// finds commands by their names and nodes by their titles, both matched loosely (case, accents and
// punctuation don't count); exact matches come first. Return runs the command or brings the node.
class CommandPalette : public QFrame {
    Q_OBJECT
public:
    explicit CommandPalette(QWidget* parent);
    void setSession(ProjectSession* session);
    // Opens over the window, offering the enabled commands of its menus.
    void open();
    QLineEdit* field() const { return m_field; }
    QListWidget* results() const { return m_results; }

signals:
    void nodeChosen(const QString& id);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void search();
    void activate(QListWidgetItem* item);
    void place();

    QPointer<ProjectSession> m_session;
    QList<QPointer<QAction>> m_commands;
    QLineEdit* m_field;
    QListWidget* m_results;
    // Each node's title and its loose key, made once per change of the records.
    struct Entry {
        QString id;
        QString title;
        QString type;
        QString key;
    };
    QList<Entry> m_entries;
    int m_entriesFor = -1;
};

} // namespace corvantis

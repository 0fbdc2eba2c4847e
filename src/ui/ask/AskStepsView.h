#pragma once

#include <QHash>
#include <QPointer>
#include <QWidget>

class QLabel;
class QTableWidget;
class QVBoxLayout;

namespace corvantis {

class AskEngine;
class ProjectSession;

// The Ask face of the right panel: the question, its steps (title, meta, status, the Cypher, the
// detail, an action, the thinking behind "Show the thinking"), a fold, "Ask again" afresh, then what
// was found: the table of a scalar answer, or the matches of a search by meaning.
class AskStepsView : public QWidget {
    Q_OBJECT
public:
    explicit AskStepsView(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

signals:
    // A step's button: "downloadModel", "openShape", "openSettings" or "updateAI".
    void actionRequested(const QString& action);
    // "Ask again" was pressed: the same question, routed and translated afresh.
    void askAgainRequested(const QString& question);

private:
    void rebuild();
    QWidget* stepCard(int index);
    QWidget* matchesCard();

    QPointer<ProjectSession> m_session;
    QVBoxLayout* m_list;
    QLabel* m_question;
    QTableWidget* m_table;
    QSet<int> m_openThinking;
    // How much of a match's passages its card shows: -1 none, 0 the first two, 1 all.
    QHash<QString, int> m_passages;
};

} // namespace corvantis

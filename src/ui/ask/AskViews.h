#pragma once

#include <QObject>
#include <QPointer>

class QToolButton;
class QWidget;

namespace corvantis {

class AnswerPager;
class AppModel;
class AskBar;
class AskHistoryList;
class AskStepsView;
class ProjectSession;
class SearchInList;

// Every view of Ask, made together and bound to the open session together, for the window to place:
// the bar (toolbar), the steps (right panel), the pager (the strip over the canvas) and the saved
// questions (sidebar). The two "Search in" lists open from a menu button at the end of the bar.
class AskViews : public QObject {
    Q_OBJECT
public:
    AskViews(AppModel& app, QWidget* parent);

    AskBar* bar() const { return m_bar; }
    AskStepsView* steps() const { return m_steps; }
    AnswerPager* pager() const { return m_pager; }
    AskHistoryList* history() const { return m_history; }
    // The saved questions under their heading, for the sidebar.
    QWidget* historySection() const { return m_historySection; }
    SearchInList* searchIn() const { return m_searchIn; }
    SearchInList* textSearchIn() const { return m_textSearchIn; }
    QToolButton* searchInButton() const { return m_searchInButton; }

    void setSession(ProjectSession* session);

signals:
    // A question started: the steps want to be in view.
    void stepsWanted();

private:
    AppModel& m_app;
    AskBar* m_bar;
    AskStepsView* m_steps;
    AnswerPager* m_pager;
    AskHistoryList* m_history;
    SearchInList* m_searchIn;
    SearchInList* m_textSearchIn;
    QToolButton* m_searchInButton;
    QWidget* m_historySection;
    bool m_wasWorking = false;
    QMetaObject::Connection m_working;
};

} // namespace corvantis

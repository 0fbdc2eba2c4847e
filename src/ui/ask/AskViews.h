#pragma once

#include <QObject>
#include <QPointer>

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
// the bar (toolbar), the steps (right panel), the pager (over the canvas), the saved questions and the
// two "Search in" lists (sidebar).
class AskViews : public QObject {
    Q_OBJECT
public:
    AskViews(AppModel& app, QWidget* parent);

    AskBar* bar() const { return m_bar; }
    AskStepsView* steps() const { return m_steps; }
    AnswerPager* pager() const { return m_pager; }
    AskHistoryList* history() const { return m_history; }
    SearchInList* searchIn() const { return m_searchIn; }
    SearchInList* textSearchIn() const { return m_textSearchIn; }

    void setSession(ProjectSession* session);

private:
    AppModel& m_app;
    AskBar* m_bar;
    AskStepsView* m_steps;
    AnswerPager* m_pager;
    AskHistoryList* m_history;
    SearchInList* m_searchIn;
    SearchInList* m_textSearchIn;
};

} // namespace corvantis

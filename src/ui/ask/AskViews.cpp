#include "ui/ask/AskViews.h"

#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "ui/ask/AnswerPager.h"
#include "ui/ask/AskBar.h"
#include "ui/ask/AskHistoryList.h"
#include "ui/ask/AskStepsView.h"
#include "ui/ask/SearchInList.h"

namespace corvantis {

AskViews::AskViews(AppModel& app, QWidget* parent)
    : QObject(parent)
    , m_app(app)
    , m_bar(new AskBar(app, parent))
    , m_steps(new AskStepsView(parent))
    , m_pager(new AnswerPager(app, parent))
    , m_history(new AskHistoryList(parent))
    , m_searchIn(new SearchInList(true, parent))
    , m_textSearchIn(new SearchInList(false, parent)) {
    connect(m_steps, &AskStepsView::askAgainRequested, this, [this](const QString& question) {
        if (ProjectSession* session = m_app.session())
            session->ask(question, AskBar::settingsOf(m_app), true);
    });
}

void AskViews::setSession(ProjectSession* session) {
    m_bar->setSession(session);
    m_steps->setSession(session);
    m_pager->setSession(session);
    m_history->setSession(session);
    m_searchIn->setSession(session);
    m_textSearchIn->setSession(session);
}

} // namespace corvantis

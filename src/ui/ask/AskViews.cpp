#include "ui/ask/AskViews.h"

#include "app/app/AppModel.h"
#include "app/ask/AskEngine.h"
#include "app/graph/ProjectSession.h"
#include "ui/ask/AnswerPager.h"
#include "ui/ask/AskBar.h"
#include "ui/ask/AskHistoryList.h"
#include "ui/ask/AskStepsView.h"
#include "ui/ask/SearchInList.h"
#include "ui/design/Theme.h"

#include <QLabel>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWidgetAction>

namespace corvantis {

AskViews::AskViews(AppModel& app, QWidget* parent)
    : QObject(parent)
    , m_app(app)
    , m_bar(new AskBar(app, parent))
    , m_steps(new AskStepsView(parent))
    , m_pager(new AnswerPager(app, parent))
    , m_history(new AskHistoryList(parent))
    , m_searchIn(new SearchInList(true, parent))
    , m_textSearchIn(new SearchInList(false, parent))
    , m_searchInButton(new QToolButton(parent))
    , m_historySection(new QWidget(parent)) {
    auto* section = new QVBoxLayout(m_historySection);
    section->setContentsMargins(0, Theme::space(2), 0, 0);
    section->setSpacing(Theme::space(1));
    auto* heading = new QLabel(QStringLiteral("Saved Questions"), m_historySection);
    QFont font = heading->font();
    font.setWeight(QFont::DemiBold);
    font.setPointSizeF(font.pointSizeF() * 0.9);
    heading->setFont(font);
    QPalette muted = heading->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    heading->setPalette(muted);
    section->addWidget(heading);
    m_history->setParent(m_historySection);
    m_history->viewport()->setAutoFillBackground(false);
    m_history->setToolTip(QStringLiteral("Double-click to ask again; Delete removes it"));
    section->addWidget(m_history);

    // "Search in": both lists in one menu at the end of the bar.
    m_searchInButton->setObjectName(QStringLiteral("searchInButton"));
    m_searchInButton->setText(QStringLiteral("Search in"));
    m_searchInButton->setToolTip(QStringLiteral("The properties search by meaning and word search look at"));
    m_searchInButton->setAutoRaise(true);
    m_searchInButton->setPopupMode(QToolButton::InstantPopup);
    auto* menu = new QMenu(m_searchInButton);
    auto* lists = new QWidget(menu);
    auto* column = new QVBoxLayout(lists);
    column->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    column->addWidget(new QLabel(QStringLiteral("Search by meaning looks in"), lists));
    column->addWidget(m_searchIn);
    column->addWidget(new QLabel(QStringLiteral("Word search looks in"), lists));
    column->addWidget(m_textSearchIn);
    m_searchIn->setParent(lists);
    m_textSearchIn->setParent(lists);
    m_searchIn->setMinimumSize(320, 140);
    m_textSearchIn->setMinimumSize(320, 180);
    auto* action = new QWidgetAction(menu);
    action->setDefaultWidget(lists);
    menu->addAction(action);
    m_searchInButton->setMenu(menu);
    m_bar->addToRow(m_searchInButton);

    connect(m_steps, &AskStepsView::askAgainRequested, this, [this](const QString& question) {
        if (ProjectSession* session = m_app.session())
            session->ask(question, AskBar::settingsOf(m_app), true);
    });
}

void AskViews::setSession(ProjectSession* session) {
    m_wasWorking = false;
    disconnect(m_working);
    if (session)
        m_working = connect(&session->askEngine(), &AskEngine::stateChanged, this, [this, session] {
            const bool working = session->askEngine().state().isWorking;
            if (working && !m_wasWorking)
                emit stepsWanted();
            m_wasWorking = working;
        });
    m_bar->setSession(session);
    m_steps->setSession(session);
    m_pager->setSession(session);
    m_history->setSession(session);
    m_searchIn->setSession(session);
    m_textSearchIn->setSession(session);
}

} // namespace corvantis

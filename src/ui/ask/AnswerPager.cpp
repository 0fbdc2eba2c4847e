#include "ui/ask/AnswerPager.h"

#include "app/app/AppModel.h"
#include "app/ask/AskEngine.h"
#include "app/graph/ProjectSession.h"
#include "ui/ask/AskBar.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>

namespace corvantis {

QString AnswerPager::showAllTitle(int count) {
    return QStringLiteral("Put all %1 records on the canvas?").arg(count);
}

QString AnswerPager::showAllMessage() {
    return QStringLiteral(
        "An answer this big takes a while to lay out and is hard to read. Narrowing it to a type, "
        "or a page at a time, is usually clearer.");
}

AnswerPager::AnswerPager(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_counter(new QLabel(this))
    , m_stopped(new QLabel(this))
    , m_more(new QPushButton(this))
    , m_all(new QPushButton("Show all", this))
    , m_narrow(new QPushButton(this))
    , m_filter(new QToolButton(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::space(3), Theme::space(1), Theme::space(3), Theme::space(1));
    layout->setSpacing(Theme::space(2));
    layout->addWidget(m_counter);
    layout->addWidget(m_stopped);
    layout->addWidget(m_more);
    layout->addWidget(m_all);
    layout->addStretch();
    layout->addWidget(m_narrow);
    layout->addWidget(m_filter);
    m_filter->setText("Filter");
    m_filter->setToolTip("Narrow the canvas to part of the answer. Nothing is asked again.");
    m_filter->setPopupMode(QToolButton::InstantPopup);
    m_filter->setMenu(new QMenu(m_filter));
    connect(m_filter->menu(), &QMenu::aboutToShow, this, &AnswerPager::fillFilterMenu);
    connect(m_more, &QPushButton::clicked, this, [this] {
        if (m_session)
            m_session->askEngine().showMoreAnswer();
    });
    connect(m_all, &QPushButton::clicked, this, &AnswerPager::showAll);
    connect(m_narrow, &QPushButton::clicked, this, [this] {
        if (!m_session)
            return;
        m_session->askEngine().narrowAnswer(AskBar::settingsOf(m_app));
    });
    sync();
}

void AnswerPager::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(&m_session->askEngine(), nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(&session->askEngine(), &AskEngine::answerChanged, this, &AnswerPager::sync);
        connect(&session->askEngine(), &AskEngine::stateChanged, this, &AnswerPager::sync);
    }
    sync();
}

void AnswerPager::sync() {
    if (!m_session || m_session->askEngine().state().pages.groups.isEmpty()) {
        setVisible(false);
        return;
    }
    const AskEngine& engine = m_session->askEngine();
    const AskState& state = engine.state();
    setVisible(true);
    const AskEngine::Counts counts = engine.answerCounts();
    m_counter->setText(QStringLiteral("Showing ") +
                       QStringLiteral("%1 of %2").arg(counts.shown).arg(counts.total) +
                       QStringLiteral(" on the canvas"));
    const bool truncated = state.output && state.output->totalRows > state.output->rows.size();
    m_stopped->setVisible(truncated);
    if (truncated)
        m_stopped->setText(QStringLiteral("Stopped at ") + QString::number(state.output->rows.size()));
    const auto [from, to] = engine.nextAnswerPage();
    int next = 0;
    for (int i = from; i < to; ++i)
        next += static_cast<int>(engine.answerGroups()[i].size());
    m_more->setVisible(to > from);
    m_more->setText(QStringLiteral("Show ") + QString::number(next) + QStringLiteral(" more"));
    m_all->setVisible(to > from);
    const QString provider = m_app.provider().name();
    m_narrow->setVisible(state.narrowable && engine.answerIsLarge());
    m_narrow->setEnabled(!state.isWorking);
    m_narrow->setText(QStringLiteral("Narrow with ") + provider);
    m_narrow->setToolTip(
        QStringLiteral("Ask ") + provider +
        QStringLiteral(" for a narrower query: it sees this one and how many rows it returned"));
    const AnswerFilter& filter = engine.answerFilter();
    m_filter->setText(filter.title());
}

void AnswerPager::showAll() {
    if (!m_session)
        return;
    AskEngine& engine = m_session->askEngine();
    if (engine.answerIsLarge()) {
        QMessageBox box(this);
        box.setWindowTitle(showAllTitle(engine.answerCounts().total));
        box.setText(showAllTitle(engine.answerCounts().total));
        box.setInformativeText(showAllMessage());
        QPushButton* show = box.addButton("Show All", QMessageBox::AcceptRole);
        box.addButton(QMessageBox::Cancel);
        box.exec();
        if (box.clickedButton() != show)
            return;
    }
    engine.showAllAnswer();
}

void AnswerPager::fillFilterMenu() {
    QMenu* menu = m_filter->menu();
    menu->clear();
    if (!m_session)
        return;
    AskEngine& engine = m_session->askEngine();
    const AnswerFilter filter = engine.answerFilter();
    menu->addSection("Types");
    for (const AskEngine::TypeCount& type : engine.answerTypes()) {
        QAction* action = menu->addAction(QStringLiteral("%1 (%2)").arg(type.name).arg(type.count));
        action->setCheckable(true);
        action->setChecked(!filter.hiddenTypes.contains(type.table));
        const QString table = type.table;
        connect(action, &QAction::toggled, this, [this, table](bool on) {
            AnswerFilter changed = m_session->askEngine().answerFilter();
            if (on)
                changed.hiddenTypes.remove(table);
            else
                changed.hiddenTypes.insert(table);
            m_session->askEngine().setAnswerFilter(changed);
        });
    }
    for (const AskEngine::ChoiceCount& choice : engine.answerChoices()) {
        menu->addSection(choice.name);
        for (const auto& [value, count] : choice.values) {
            QAction* action = menu->addAction(QStringLiteral("%1 (%2)").arg(value).arg(count));
            action->setCheckable(true);
            action->setChecked(!filter.hiddenValues.value(choice.property).contains(value));
            const QUuid property = choice.property;
            const QString shown = value;
            connect(action, &QAction::toggled, this, [this, property, shown](bool on) {
                AnswerFilter changed = m_session->askEngine().answerFilter();
                if (on)
                    changed.hiddenValues[property].remove(shown);
                else
                    changed.hiddenValues[property].insert(shown);
                if (changed.hiddenValues[property].isEmpty())
                    changed.hiddenValues.remove(property);
                m_session->askEngine().setAnswerFilter(changed);
            });
        }
    }
    if (const auto hub = engine.answerHub()) {
        menu->addSection("Neighbourhood");
        const auto node = m_session->nodes().constFind(hub->id);
        const QString name = node == m_session->nodes().constEnd()
                                 ? hub->id
                                 : node->title(m_session->project().schema.nodeTypeForTable(node->label));
        QAction* action = menu->addAction(QStringLiteral("Connected to “") + name + QStringLiteral("”"));
        action->setCheckable(true);
        action->setChecked(filter.near == hub->id);
        const QString id = hub->id;
        connect(action, &QAction::toggled, this, [this, id](bool on) {
            AnswerFilter changed = m_session->askEngine().answerFilter();
            changed.near = on ? std::optional<QString>(id) : std::nullopt;
            m_session->askEngine().setAnswerFilter(changed);
        });
    }
}

} // namespace corvantis

#include "ui/canvas/ChipStrip.h"

#include "app/canvas/CanvasState.h"
#include "app/canvas/CanvasViews.h"
#include "app/canvas/RemovalDraft.h"
#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QActionGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>

namespace corvantis {

namespace {

// Above this, "Show all" asks first.
constexpr int showAllAsksAbove = 200;

} // namespace

ChipStrip::ChipStrip(QWidget* parent)
    : QWidget(parent)
    , m_chips(new QHBoxLayout)
    , m_removal(new QWidget(this))
    , m_removalText(new QLabel(m_removal))
    , m_removeMarked(new QPushButton(QStringLiteral("Delete…"), m_removal))
    , m_arrange(new QToolButton(this))
    , m_pager(new QWidget(this))
    , m_pagerText(new QLabel(m_pager))
    , m_more(new QPushButton(m_pager))
    , m_all(new QPushButton(QStringLiteral("Show all"), m_pager)) {
    setObjectName(QStringLiteral("chipStrip"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::space(3), Theme::space(1), Theme::space(3), Theme::space(1));
    layout->setSpacing(Theme::space(2));
    m_chips->setSpacing(Theme::space(1));
    layout->addLayout(m_chips);

    auto* removal = new QHBoxLayout(m_removal);
    removal->setContentsMargins(0, 0, 0, 0);
    removal->addWidget(m_removalText);
    m_removeMarked->setObjectName(QStringLiteral("removeMarked"));
    removal->addWidget(m_removeMarked);
    auto* keep = new QPushButton(QStringLiteral("Keep"), m_removal);
    keep->setObjectName(QStringLiteral("keepMarked"));
    keep->setToolTip(QStringLiteral("Keep them: take them out of the draft"));
    removal->addWidget(keep);
    QPalette danger = m_removalText->palette();
    danger.setColor(QPalette::WindowText, Theme::danger());
    m_removalText->setPalette(danger);
    layout->addWidget(m_removal);
    connect(m_removeMarked, &QPushButton::clicked, this, [this] {
        if (m_session)
            m_session->canvases().removalDraft().confirmRemovalDraft();
    });
    connect(keep, &QPushButton::clicked, this, [this] {
        if (!m_session)
            return;
        RemovalDraft& draft = m_session->canvases().removalDraft();
        for (const QString& id : draft.removalDraft())
            draft.unstageRemoval(id);
    });

    layout->addStretch();

    auto* pager = new QHBoxLayout(m_pager);
    pager->setContentsMargins(0, 0, 0, 0);
    m_pagerText->setObjectName(QStringLiteral("pagerText"));
    m_more->setObjectName(QStringLiteral("showMore"));
    m_all->setObjectName(QStringLiteral("showAll"));
    pager->addWidget(m_pagerText);
    pager->addWidget(m_more);
    pager->addWidget(m_all);
    layout->addWidget(m_pager);
    connect(m_more, &QPushButton::clicked, this, [this] {
        if (m_state)
            m_state->showMoreExplore(false);
    });
    connect(m_all, &QPushButton::clicked, this, [this] {
        if (!m_state)
            return;
        const auto counts = m_state->exploreCounts();
        if (counts && counts->second - counts->first > showAllAsksAbove) {
            auto* box =
                new QMessageBox(QMessageBox::Question, QStringLiteral("Show all?"),
                                QStringLiteral("A canvas this full takes a while to lay out and is hard "
                                               "to read. A lot at a time is usually clearer."),
                                QMessageBox::Cancel, this);
            QPushButton* all = box->addButton(QStringLiteral("Show All"), QMessageBox::AcceptRole);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->setWindowModality(Qt::WindowModal);
            QPointer<CanvasState> state = m_state;
            connect(box, &QMessageBox::finished, this, [box, all, state] {
                if (box->clickedButton() == all && state)
                    state->showMoreExplore(true);
            });
            box->open();
            return;
        }
        m_state->showMoreExplore(true);
    });

    m_arrange->setObjectName(QStringLiteral("arrangeButton"));
    m_arrange->setText(QStringLiteral("Arrange"));
    m_arrange->setToolTip(
        QStringLiteral("Arrange the canvas by a property: form, sort, group, direction, spacing"));
    m_arrange->setPopupMode(QToolButton::InstantPopup);
    m_arrange->setAutoRaise(true);
    auto* menu = new QMenu(m_arrange);
    m_arrange->setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, &ChipStrip::fillArrangeMenu);
    layout->addWidget(m_arrange);
    refresh();
}

void ChipStrip::setSession(ProjectSession* session) {
    if (m_session) {
        disconnect(m_session, nullptr, this, nullptr);
        disconnect(&m_session->canvases(), nullptr, this, nullptr);
        disconnect(&m_session->canvases().removalDraft(), nullptr, this, nullptr);
    }
    m_session = session;
    if (session) {
        connect(&session->canvases(), &CanvasViews::showsAnswerChanged, this, &ChipStrip::bindState);
        connect(&session->canvases().removalDraft(), &RemovalDraft::draftChanged, this, &ChipStrip::refresh);
        connect(session, &ProjectSession::graphChanged, this, &ChipStrip::refresh);
    }
    bindState();
}

CanvasState* ChipStrip::state() const {
    return m_session ? &m_session->canvases().current() : nullptr;
}

void ChipStrip::bindState() {
    if (m_state)
        disconnect(m_state, nullptr, this, nullptr);
    m_state = state();
    if (m_state)
        for (auto signal :
             {&CanvasState::lensChanged, &CanvasState::exploreChanged, &CanvasState::shownChanged})
            connect(m_state, signal, this, &ChipStrip::refresh);
    refresh();
}

QList<QToolButton*> ChipStrip::filterChips() const {
    QList<QToolButton*> chips;
    for (int i = 0; i < m_chips->count(); ++i)
        if (auto* chip = qobject_cast<QToolButton*>(m_chips->itemAt(i)->widget()))
            chips.append(chip);
    return chips;
}

void ChipStrip::refresh() {
    while (QLayoutItem* item = m_chips->takeAt(0)) {
        if (QWidget* widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    if (!m_state || !m_session) {
        m_removal->hide();
        m_pager->hide();
        return;
    }
    for (const FilterChip& filter : m_state->filterChips()) {
        auto* chip = new QToolButton(this);
        chip->setObjectName(QStringLiteral("filterChip"));
        chip->setText(QStringLiteral("%1  ✕").arg(filter.text));
        chip->setToolTip(QStringLiteral("Remove this filter"));
        if (filter.color) {
            QPalette tinted = chip->palette();
            tinted.setColor(QPalette::ButtonText, Theme::paletteColor(*filter.color));
            chip->setPalette(tinted);
        }
        const auto remove = filter.remove;
        connect(chip, &QToolButton::clicked, this, [remove] {
            if (remove)
                remove();
        });
        m_chips->addWidget(chip);
    }

    const QStringList staged = m_session->canvases().removalDraft().stagedForRemoval();
    m_removal->setVisible(!staged.isEmpty());
    m_removalText->setText(staged.size() == 1 ? QStringLiteral("1 marked for removal")
                                              : QStringLiteral("%1 marked for removal").arg(staged.size()));

    const auto counts = m_state->exploreCounts();
    m_pager->setVisible(counts.has_value() && counts->first < counts->second);
    if (counts) {
        const int rest = counts->second - counts->first;
        const int step = std::min(rest, m_state->graph().neighbourLimit());
        m_pagerText->setText(QStringLiteral("Showing %1 of %2").arg(counts->first).arg(counts->second));
        m_more->setText(QStringLiteral("Show %1 more").arg(step));
    }
}

void ChipStrip::fillArrangeMenu() {
    QMenu* menu = m_arrange->menu();
    menu->clear();
    if (!m_state)
        return;
    const CanvasLens lens = m_state->lens();
    QPointer<CanvasState> state = m_state;
    auto change = [state](std::function<void(CanvasLens&)> edit) {
        return [state, edit] {
            if (state)
                state->updateLens(edit);
        };
    };

    menu->addSection(QStringLiteral("Form"));
    const std::pair<Arrangement::Form, const char*> forms[] = {{Arrangement::Form::rows, "Rows"},
                                                               {Arrangement::Form::rings, "Rings"},
                                                               {Arrangement::Form::spiral, "Spiral"},
                                                               {Arrangement::Form::stacks, "Stacks"}};
    auto* formGroup = new QActionGroup(menu);
    for (auto [form, title] : forms) {
        QAction* action = menu->addAction(QString::fromUtf8(title), menu,
                                          change([form = form](CanvasLens& l) { l.form = form; }));
        action->setCheckable(true);
        action->setChecked(lens.form == form);
        formGroup->addAction(action);
    }

    const QList<LensKeyInfo> keys = m_state->sortKeys();
    QMenu* sort = menu->addMenu(QStringLiteral("Sort By"));
    QAction* noSort =
        sort->addAction(QStringLiteral("None"), menu, change([](CanvasLens& l) { l.sort.reset(); }));
    noSort->setCheckable(true);
    noSort->setChecked(!lens.sort);
    QMenu* group = menu->addMenu(QStringLiteral("Group By"));
    QAction* noGroup =
        group->addAction(QStringLiteral("None"), menu, change([](CanvasLens& l) { l.group.reset(); }));
    noGroup->setCheckable(true);
    noGroup->setChecked(!lens.group);
    for (const LensKeyInfo& info : keys) {
        const QString name = info.detail ? QStringLiteral("%1 (%2)").arg(info.name, *info.detail) : info.name;
        QAction* bySort =
            sort->addAction(name, menu, change([key = info.key](CanvasLens& l) { l.sort = key; }));
        bySort->setCheckable(true);
        bySort->setChecked(lens.sort == info.key);
        QAction* byGroup =
            group->addAction(name, menu, change([key = info.key](CanvasLens& l) { l.group = key; }));
        byGroup->setCheckable(true);
        byGroup->setChecked(lens.group == info.key);
    }

    if (lens.sort) {
        menu->addSection(QStringLiteral("Direction"));
        for (bool descending : {false, true}) {
            QAction* action =
                menu->addAction(m_state->directionName(*lens.sort, descending), menu,
                                change([descending](CanvasLens& l) { l.descending = descending; }));
            action->setCheckable(true);
            action->setChecked(lens.descending == descending);
        }
        menu->addSection(QStringLiteral("Spacing"));
        const Arrangement::Spacing granted = m_state->spacing(lens);
        const std::pair<Arrangement::Spacing, const char*> spacings[] = {
            {Arrangement::Spacing::value, "By Value"}, {Arrangement::Spacing::even, "Evenly"}};
        for (auto [spacing, title] : spacings) {
            QAction* action =
                menu->addAction(QString::fromUtf8(title), menu,
                                change([spacing = spacing](CanvasLens& l) { l.spacing = spacing; }));
            action->setCheckable(true);
            action->setChecked(granted == spacing);
        }
    }

    // The lanes of the grouping, each with how many of its nodes the filter keeps off.
    if (const ArrangedCanvas* arranged = m_state->arranged(); arranged && arranged->group) {
        menu->addSection(QStringLiteral("Lanes"));
        const LensKey key = *arranged->group;
        for (const Arrangement::Group& lane : arranged->layout.groups) {
            const auto info = arranged->lanes.value(lane.key);
            QString title = info.title.isEmpty() ? lane.key : info.title;
            title = info.hidden > 0
                        ? QStringLiteral("%1 · %2 (%3 hidden)").arg(title).arg(lane.count).arg(info.hidden)
                        : QStringLiteral("%1 · %2").arg(title).arg(lane.count);
            QAction* action = menu->addAction(title, menu, [state, key, lane = lane.key] {
                if (state)
                    state->toggleLane(key, lane, false);
            });
            action->setCheckable(true);
            action->setChecked(!lane.collapsed);
        }
    }
    menu->addSeparator();
    menu->addAction(QStringLiteral("Fit the Arrangement"), menu, [state] {
        if (state)
            state->fitArranged();
    });
}

} // namespace corvantis

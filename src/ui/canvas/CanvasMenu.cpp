#include "ui/canvas/CanvasMenu.h"

#include "app/canvas/CanvasState.h"
#include "app/graph/ProjectSession.h"

#include <QMenu>
#include <QPointer>

namespace corvantis {

namespace {

QString counted(const QString& text, qsizetype count) {
    return QStringLiteral("%1 (%2)").arg(text).arg(count);
}

} // namespace

void CanvasMenu::fill(QMenu& menu, ProjectSession& session, CanvasState& canvas, const QSet<QString>& targets,
                      const QString& clicked) {
    const CanvasMenuPlan plan = canvas.menuPlan(targets);
    QPointer<CanvasState> state = &canvas;
    auto bring = [state](const QHash<QString, QString>& nodes) {
        return [state, nodes] {
            if (state)
                state->bringIn(nodes);
        };
    };
    auto hide = [state](const QSet<QString>& nodes) {
        return [state, nodes] {
            if (state)
                state->hide(nodes);
        };
    };

    QMenu* expand = menu.addMenu(QStringLiteral("Expand"));
    expand->setEnabled(!plan.expandAll.isEmpty());
    if (!plan.expandAll.isEmpty())
        expand->addAction(counted(QStringLiteral("All"), plan.expandAll.size()), &menu,
                          bring(plan.expandAll));
    if (!plan.expandAdHoc.isEmpty())
        expand->addAction(counted(QStringLiteral("Ad Hoc"), plan.expandAdHoc.size()), &menu,
                          bring(plan.expandAdHoc));
    if (!plan.expandByType.isEmpty()) {
        QMenu* byType = expand->addMenu(QStringLiteral("By Node Type"));
        for (const auto& entry : plan.expandByType)
            byType->addAction(counted(entry.type.name, entry.nodes.size()), &menu, bring(entry.nodes));
    }
    if (!plan.expandByRel.isEmpty()) {
        QMenu* byRel = expand->addMenu(QStringLiteral("By Relation Type"));
        for (const auto& entry : plan.expandByRel)
            byRel->addAction(counted(entry.rel.name, entry.nodes.size()), &menu, bring(entry.nodes));
    }

    QMenu* fold = menu.addMenu(QStringLiteral("Fold"));
    fold->setEnabled(!plan.foldLinks.isEmpty() || !plan.foldExceptCurrent.isEmpty());
    if (!plan.foldLinks.isEmpty())
        fold->addAction(counted(QStringLiteral("Current Node Links"), plan.foldLinks.size()), &menu,
                        hide(plan.foldLinks));
    if (!plan.foldExceptCurrent.isEmpty())
        fold->addAction(counted(QStringLiteral("All Except Current"), plan.foldExceptCurrent.size()), &menu,
                        hide(plan.foldExceptCurrent));
    if (!plan.foldAdHocLinked.isEmpty())
        fold->addAction(counted(QStringLiteral("Ad Hoc Linked"), plan.foldAdHocLinked.size()), &menu,
                        hide(plan.foldAdHocLinked));
    if (!plan.foldByType.isEmpty()) {
        QMenu* byType = fold->addMenu(QStringLiteral("By Node Type"));
        for (const auto& entry : plan.foldByType)
            byType->addAction(counted(entry.type.name, entry.nodes.size()), &menu, hide(entry.nodes));
    }
    if (!plan.foldByRel.isEmpty()) {
        QMenu* byRel = fold->addMenu(QStringLiteral("By Relation Type"));
        for (const auto& entry : plan.foldByRel)
            byRel->addAction(counted(entry.rel.name, entry.nodes.size()), &menu, hide(entry.nodes));
    }

    menu.addSeparator();
    QPointer<ProjectSession> owner = &session;
    menu.addAction(QStringLiteral("Delete"), &menu, [owner] {
        if (owner)
            owner->deleteSelection();
    });
    menu.addSeparator();
    QMenu* around = menu.addMenu(QStringLiteral("Arrange Around"));
    around->addAction(QStringLiteral("Rings"), &menu, [state, clicked] {
        if (state)
            state->arrangedAround(Arrangement::Form::rings, clicked);
    });
    around->addAction(QStringLiteral("Spiral"), &menu, [state, clicked] {
        if (state)
            state->arrangedAround(Arrangement::Form::spiral, clicked);
    });
    menu.addAction(QStringLiteral("Free Layout"), &menu, [state] {
        if (!state)
            return;
        // Back to the force layout: no arrangement, every pin let go.
        state->updateLens([](CanvasLens& lens) {
            lens.sort.reset();
            lens.group.reset();
            lens.form = Arrangement::Form::rows;
        });
        state->unpinAll();
    });
}

} // namespace corvantis

#include "app/undo/UndoStack.h"

#include <algorithm>

namespace corvantis {

UndoStack::UndoStack(QObject* parent)
    : QObject(parent) {
}

UndoStack::~UndoStack() = default;

void UndoStack::registerUndo(QObject* target, Handler handler) {
    Q_ASSERT(target);
    Action action{target, target, std::move(handler)};
    if (isBuilding()) {
        m_open.actions.append(std::move(action));
        if (m_state == State::Idle)
            m_redo.clear();
        return;
    }
    m_redo.clear();
    m_undo.append(Step{QString(), {std::move(action)}, ++m_serial});
    emit changed();
}

void UndoStack::setActionName(const QString& name) {
    if (isBuilding()) {
        m_open.name = name;
        return;
    }
    if (m_undo.isEmpty())
        return;
    m_undo.last().name = name;
    emit changed();
}

void UndoStack::beginGroup() {
    if (m_openGroups == 0 && m_state == State::Idle)
        m_open = Step();
    ++m_openGroups;
}

void UndoStack::endGroup() {
    Q_ASSERT(m_openGroups > 0);
    if (m_openGroups == 0)
        return;
    --m_openGroups;
    if (m_openGroups > 0 || m_state != State::Idle)
        return;
    Step step = std::exchange(m_open, Step());
    if (step.actions.isEmpty())
        return;
    step.serial = ++m_serial;
    m_undo.append(std::move(step));
    emit changed();
}

void UndoStack::removeAllActions(QObject* target) {
    auto prune = [target](QList<Step>& steps) {
        for (Step& step : steps)
            step.actions.removeIf([target](const Action& action) { return action.identity == target; });
        steps.removeIf([](const Step& step) { return step.actions.isEmpty(); });
    };
    m_open.actions.removeIf([target](const Action& action) { return action.identity == target; });
    prune(m_undo);
    prune(m_redo);
    emit changed();
}

void UndoStack::refuse() {
    if (m_state != State::Idle)
        m_refused = true;
}

void UndoStack::dropDeadTargets() {
    auto prune = [](QList<Step>& steps) {
        for (Step& step : steps)
            step.actions.removeIf([](const Action& action) { return action.target.isNull(); });
        steps.removeIf([](const Step& step) { return step.actions.isEmpty(); });
    };
    prune(m_undo);
    prune(m_redo);
}

bool UndoStack::canUndo() const {
    return std::any_of(m_undo.begin(), m_undo.end(), [](const Step& step) {
        return std::any_of(step.actions.begin(), step.actions.end(),
                           [](const Action& action) { return !action.target.isNull(); });
    });
}

bool UndoStack::canRedo() const {
    return std::any_of(m_redo.begin(), m_redo.end(), [](const Step& step) {
        return std::any_of(step.actions.begin(), step.actions.end(),
                           [](const Action& action) { return !action.target.isNull(); });
    });
}

QString UndoStack::undoActionName() const {
    for (auto it = m_undo.rbegin(); it != m_undo.rend(); ++it)
        for (const Action& action : it->actions)
            if (!action.target.isNull())
                return it->name;
    return QString();
}

QString UndoStack::redoActionName() const {
    for (auto it = m_redo.rbegin(); it != m_redo.rend(); ++it)
        for (const Action& action : it->actions)
            if (!action.target.isNull())
                return it->name;
    return QString();
}

void UndoStack::undo() {
    run(m_undo, m_redo, State::Undoing);
}

void UndoStack::redo() {
    run(m_redo, m_undo, State::Redoing);
}

void UndoStack::run(QList<Step>& from, QList<Step>& to, State state) {
    // Undo is not reentrant, and a step still being grouped cannot be taken back half-made.
    if (m_state != State::Idle || m_openGroups > 0)
        return;
    dropDeadTargets();
    if (from.isEmpty())
        return;
    Step step = from.takeLast();
    m_state = state;
    m_open = Step();
    m_refused = false;
    for (auto it = step.actions.rbegin(); it != step.actions.rend() && !m_refused; ++it)
        if (!it->target.isNull())
            it->handler();
    Step inverse = std::exchange(m_open, Step());
    if (m_refused) {
        // What ran of a refused step is taken back, newest first; the inverses of that are dropped.
        m_state = State::RollingBack;
        for (auto it = inverse.actions.rbegin(); it != inverse.actions.rend(); ++it)
            if (!it->target.isNull())
                it->handler();
        m_open = Step();
        from.append(std::move(step));
    } else if (!inverse.actions.isEmpty()) {
        inverse.name = step.name;
        inverse.serial = ++m_serial;
        to.append(std::move(inverse));
    }
    m_state = State::Idle;
    m_refused = false;
    emit changed();
}

} // namespace corvantis

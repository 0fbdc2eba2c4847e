#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>

namespace corvantis {

// The window's undo stack. An action is a closure registered for a target; when it runs it registers
// its own inverse, which is how redo works: a registration made while undoing goes to the redo side,
// one made while redoing goes back to the undo side, and any other clears what could be redone.
//
// Registrations between `beginGroup` and `endGroup` make one step; outside a group every registration is
// a step of its own. `setActionName` names the step being built, or else the newest step on the side
// that registrations go to now. Undoing or redoing a step runs its actions newest first and the step
// that this makes on the other side keeps the same name.
//
// A handler runs only while its target exists; a session that closes removes its actions with
// `removeAllActions`. Main thread only.
class UndoStack : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void()>;

    explicit UndoStack(QObject* parent = nullptr);
    ~UndoStack() override;

    void registerUndo(QObject* target, Handler handler);
    void setActionName(const QString& name);
    void beginGroup();
    void endGroup();
    int groupingLevel() const { return m_openGroups; }

    // Removes every action of the target from both sides; steps left empty go too.
    void removeAllActions(QObject* target);
    // Called by a handler that declines to run, or whose change failed. A step is undone or redone whole
    // or not at all: the handlers after a refusal don't run, what the ones before it did is taken back
    // by running the inverses they registered, and the whole step stays where it was.
    void refuse();

    // A number that names the newest undo step, new for every step that lands there; 0 when there is none.
    quint64 topUndoSerial() const { return m_undo.isEmpty() ? 0 : m_undo.last().serial; }

    bool canUndo() const;
    bool canRedo() const;
    QString undoActionName() const;
    QString redoActionName() const;
    bool isUndoing() const { return m_state == State::Undoing; }
    bool isRedoing() const { return m_state == State::Redoing; }

    void undo();
    void redo();

signals:
    // Something that the Undo and Redo commands show has changed.
    void changed();

private:
    struct Action {
        QPointer<QObject> target;
        const QObject* identity; // compared by removeAllActions, also after the target is gone
        Handler handler;
    };
    struct Step {
        QString name;
        QList<Action> actions;
        quint64 serial = 0;
    };
    enum class State { Idle, Undoing, Redoing, RollingBack };

    bool isBuilding() const { return m_openGroups > 0 || m_state != State::Idle; }
    void run(QList<Step>& from, QList<Step>& to, State state);
    void dropDeadTargets();

    QList<Step> m_undo; // newest last
    QList<Step> m_redo; // newest last
    // The step being built by an open group, or by an undo or redo in progress.
    Step m_open;
    int m_openGroups = 0;
    State m_state = State::Idle;
    bool m_refused = false;
    quint64 m_serial = 0;
};

} // namespace corvantis

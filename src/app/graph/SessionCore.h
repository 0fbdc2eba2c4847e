#pragma once

#include "app/graph/GraphSelection.h"
#include "app/shape/DataLossConfirmation.h"
#include "kit/graph/GraphDerived.h"
#include "kit/graph/MovedValue.h"
#include "kit/projects/Project.h"
#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QString>
#include <functional>
#include <optional>

namespace corvantis {

class UndoStack;

// What a session's components may reach of the core: the project, the records in memory, the notice,
// the undo stack, the one confirmation, and the one road by which the shape changes. The session
// implements it; a component holds a reference for as long as the session lives.
class SessionCore {
public:
    virtual ~SessionCore() = default;

    virtual const Project& project() const = 0;
    virtual const QHash<QString, NodeRecord>& nodes() const = 0;
    virtual const QHash<QString, RelRecord>& rels() const = 0;
    // The database couldn't be opened: nothing may be written.
    virtual bool graphUnavailable() const = 0;
    // The graph may be written now: it is open, and its records are in memory (a reload that failed
    // is tried again here). Otherwise false, with the reason in the notice unless the graph isn't open.
    virtual bool writable() = 0;

    virtual void setNotice(const std::optional<QString>& notice) = 0;
    // The window's undo stack, or null.
    virtual UndoStack* undoStack() const = 0;
    virtual void registerUndo(const QString& name, std::function<void()> handler) = 0;
    // Puts an edit that would delete data before the person; it runs only on consent.
    virtual void requestConfirmation(DataLossConfirmation confirmation) = 0;

    // What taking a new shape came to.
    enum class ShapeOutcome {
        Applied,     // the database holds the new shape, nothing was deleted
        AppliedLost, // the database holds it and data was deleted: the history is cleared
        Pending,     // the shape is kept, the database is not migrated yet (invalid, or refused)
    };
    struct ShapeChange {
        ShapeOutcome outcome = ShapeOutcome::Applied;
        // The values that defaults and renamed options rewrote in rows of the graph.
        QList<MovedValue> moved;
    };
    // Takes `after` as the project's shape, brings the database to it and saves the project. With
    // `putBack`, the migration writes no defaults and renames no options: it puts back exactly those
    // values instead (an undo of a change that moved them).
    virtual ShapeChange applyShape(const GraphSchema& after, const QList<MovedValue>* putBack = nullptr) = 0;

    // What the canvases read: the neighbours by number, the count raised by every change of the records,
    // and the selection they share.
    virtual const GraphDerived::NodeIndex& nodeIndex() const = 0;
    virtual int topology() const = 0;
    virtual const GraphSelection& selection() const = 0;
    virtual void setSelection(const GraphSelection& selection) = 0;
};

} // namespace corvantis

#pragma once

#include "kit/build/ShapeDesigner.h"
#include "kit/graph/GraphAdded.h"
#include "kit/graph/GraphPlan.h"
#include "kit/projects/Project.h"

#include <QHash>
#include <memory>

namespace corvantis {

class GraphStore;
class UndoStack;

// What a build chat reaches of its session: the project and its folder, the records, the database for
// read-only queries, the two roads by which a draft is applied, and the undo stack.
class BuildHost {
public:
    virtual ~BuildHost() = default;
    virtual const Project& project() const = 0;
    virtual QString projectFolder() const = 0;
    virtual const QHash<QString, NodeRecord>& nodes() const = 0;
    virtual const QHash<QString, RelRecord>& rels() const = 0;
    // Null when the graph isn't open.
    virtual std::shared_ptr<GraphStore> store() const = 0;
    virtual GraphAdded applyGraphPlan(const GraphPlan& plan) = 0;
    virtual ShapeMergeResult applyShapeDraft(const ShapeDraft& draft) = 0;
    virtual UndoStack* undoStack() const = 0;
};

} // namespace corvantis

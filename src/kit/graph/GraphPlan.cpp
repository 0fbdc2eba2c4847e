#include "kit/graph/GraphPlan.h"

namespace corvantis {

bool GraphPlan::isEmpty() const {
    return nodes.isEmpty() && relationships.isEmpty() && updates.isEmpty() && removedNodes.isEmpty() &&
           removedRelationships.isEmpty() && nodeEdits.isEmpty() && relEdits.isEmpty();
}

bool GraphPlan::changesGraph() const {
    return !removedNodes.isEmpty() || !removedRelationships.isEmpty() || !nodeEdits.isEmpty() ||
           !relEdits.isEmpty();
}

} // namespace corvantis

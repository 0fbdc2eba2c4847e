#include "app/canvas/CanvasGraph.h"

#include "app/app/Settings.h"

#include <algorithm>

namespace corvantis {

CanvasGraph::CanvasGraph(SessionCore& core, Settings* settings)
    : m_core(core)
    , m_settings(settings) {
}

const GraphSchema& CanvasGraph::schema() const {
    const Project& project = m_core.project();
    return project.appliedSchema ? *project.appliedSchema : project.schema;
}

const NodeType* CanvasGraph::typeOfNode(const QString& id) const {
    auto it = nodes().constFind(id);
    return it == nodes().constEnd() ? nullptr : typeOf(*it);
}

ExpandPriority CanvasGraph::priority(const NodeType* type) const {
    return type ? type->expandPriority() : ExpandPriority::Normal;
}

QString CanvasGraph::title(const QString& nodeId) const {
    auto it = nodes().constFind(nodeId);
    return it == nodes().constEnd() ? nodeId : it->title(typeOf(*it));
}

const QList<QString>& CanvasGraph::relsOf(const QString& nodeId) const {
    refresh();
    auto it = m_relsOf.constFind(nodeId);
    return it == m_relsOf.constEnd() ? m_none : *it;
}

void CanvasGraph::refresh() const {
    if (m_builtFor == m_core.topology())
        return;
    m_relsOf.clear();
    for (auto it = rels().constBegin(); it != rels().constEnd(); ++it) {
        m_relsOf[it->from].append(it.key());
        if (it->to != it->from)
            m_relsOf[it->to].append(it.key());
    }
    for (auto& list : m_relsOf)
        std::sort(list.begin(), list.end());
    m_builtFor = m_core.topology();
}

int CanvasGraph::neighbourLimit() const {
    return m_settings ? m_settings->neighbourLimit() : 25;
}

} // namespace corvantis

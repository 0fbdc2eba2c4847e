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

void CanvasGraph::mapTables() const {
    const GraphSchema& shape = schema();
    m_nodeTables.clear();
    m_relTables.clear();
    m_typeNames.clear();
    for (int i = 0; i < shape.nodeTypes.size(); ++i) {
        const NodeType& type = shape.nodeTypes[i];
        const PropertyDef* title = type.title();
        m_nodeTables.insert(type.table(), {i, type.name, title ? title->column() : QString()});
        m_typeNames.append(type.name);
    }
    for (int i = 0; i < shape.relTypes.size(); ++i) {
        const RelType& type = shape.relTypes[i];
        m_relTables.insert(type.table(), {i, type.name, {}});
        m_typeNames.append(type.name);
    }
}

const CanvasGraph::TableInfo* CanvasGraph::tableInfo(const QString& table, bool node) const {
    const GraphSchema& shape = schema();
    auto lookup = [&]() -> const TableInfo* {
        const auto& tables = node ? m_nodeTables : m_relTables;
        auto it = tables.constFind(table);
        return it == tables.constEnd() ? nullptr : &*it;
    };
    auto current = [&](const TableInfo* info) {
        if (node)
            return info->index < shape.nodeTypes.size() && shape.nodeTypes[info->index].name == info->name &&
                   (info->titleColumn.isEmpty() == !shape.nodeTypes[info->index].title());
        return info->index < shape.relTypes.size() && shape.relTypes[info->index].name == info->name;
    };
    if (const TableInfo* info = lookup(); info && current(info))
        return info;
    // Unknown, or the shape changed: map again when its names differ from those mapped.
    QStringList names;
    for (const NodeType& type : shape.nodeTypes)
        names.append(type.name);
    for (const RelType& type : shape.relTypes)
        names.append(type.name);
    const TableInfo* info = lookup();
    if (names != m_typeNames || (info && !current(info))) {
        mapTables();
        info = lookup();
    }
    return info;
}

const NodeType* CanvasGraph::typeOf(const NodeRecord& node) const {
    const TableInfo* info = tableInfo(node.label, true);
    return info ? &schema().nodeTypes[info->index] : nullptr;
}

const RelType* CanvasGraph::typeOf(const RelRecord& rel) const {
    const TableInfo* info = tableInfo(rel.label, false);
    return info ? &schema().relTypes[info->index] : nullptr;
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
    return it == nodes().constEnd() ? nodeId : title(*it);
}

QString CanvasGraph::title(const NodeRecord& node) const {
    const TableInfo* info = tableInfo(node.label, true);
    if (!info)
        return node.label;
    if (!info->titleColumn.isEmpty()) {
        auto it = node.properties.constFind(info->titleColumn);
        if (it != node.properties.cend())
            if (auto text = it->titleText())
                return *text;
    }
    return info->name;
}

std::span<const QString> CanvasGraph::relsOf(const QString& nodeId) const {
    refresh();
    const int number = m_core.nodeIndex().numberOf(nodeId);
    if (number < 0 || size_t(number) + 1 >= m_offsets.size())
        return {};
    return {m_relIds.data() + m_offsets[size_t(number)],
            size_t(m_offsets[size_t(number) + 1] - m_offsets[size_t(number)])};
}

// One pass to count each end, one to place the ids, then each node's stretch sorted: no allocation per
// node, whatever the size of the graph.
void CanvasGraph::refresh() const {
    if (m_builtFor == m_core.topology())
        return;
    const GraphDerived::NodeIndex& index = m_core.nodeIndex();
    const size_t count = size_t(index.size());
    m_offsets.assign(count + 1, 0);
    std::vector<std::pair<int, int>> ends;
    ends.reserve(size_t(rels().size()));
    for (auto it = rels().constBegin(); it != rels().constEnd(); ++it) {
        const int from = index.numberOf(it->from);
        const int to = it->to == it->from ? -1 : index.numberOf(it->to);
        ends.emplace_back(from, to);
        if (from >= 0)
            ++m_offsets[size_t(from) + 1];
        if (to >= 0)
            ++m_offsets[size_t(to) + 1];
    }
    for (size_t n = 0; n < count; ++n)
        m_offsets[n + 1] += m_offsets[n];
    m_relIds.assign(size_t(m_offsets[count]), QString());
    std::vector<int> fill(m_offsets.begin(), m_offsets.end() - 1);
    size_t r = 0;
    for (auto it = rels().constBegin(); it != rels().constEnd(); ++it, ++r) {
        const auto [from, to] = ends[r];
        if (from >= 0)
            m_relIds[size_t(fill[size_t(from)]++)] = it.key();
        if (to >= 0)
            m_relIds[size_t(fill[size_t(to)]++)] = it.key();
    }
    for (size_t n = 0; n < count; ++n)
        std::sort(m_relIds.begin() + m_offsets[n], m_relIds.begin() + m_offsets[n + 1]);
    m_builtFor = m_core.topology();
}

int CanvasGraph::neighbourLimit() const {
    return m_settings ? m_settings->neighbourLimit() : 25;
}

} // namespace corvantis

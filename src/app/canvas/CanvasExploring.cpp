// Exploring a canvas: what is hidden round a node, expanding, revealing, hiding and folding, the menu's
// plan, the pager, and clicks.
#include "app/canvas/CanvasState.h"
#include "kit/layout/CanvasHit.h"

#include <algorithm>
#include <cmath>

namespace corvantis {

namespace {

constexpr ExpandPriority priorityOrder[] = {ExpandPriority::First, ExpandPriority::Normal,
                                            ExpandPriority::WhenAsked};

bool keeps(const Expansion& expansion, const QString& table, ExpandPriority priority) {
    switch (expansion.kind) {
    case Expansion::Kind::type:
        return table == expansion.table;
    case Expansion::Kind::first:
        return priority == ExpandPriority::First;
    case Expansion::Kind::click:
        return priority != ExpandPriority::WhenAsked;
    }
    return false;
}

} // namespace

QString CanvasState::typeName(const QString& id) const {
    const NodeType* type = m_graph.typeOfNode(id);
    return type ? type->name : m_graph.nodes().value(id).label;
}

QList<CanvasState::HiddenNeighbour> CanvasState::hiddenNeighbours(const QString& id) const {
    struct Entry {
        QString title;
        QString id;
    };
    struct Group {
        QString name;
        ExpandPriority priority;
        std::vector<Entry> entries;
    };
    const auto& nodes = m_graph.nodes();
    const auto& rels = m_graph.rels();
    QSet<QString> seen{id};
    QHash<QString, Group> groups; // by table
    for (const QString& relId : m_graph.relsOf(id)) {
        const RelRecord& rel = *rels.constFind(relId);
        const QString& other = rel.from == id ? rel.to : rel.from;
        if (m_shown.contains(other) || seen.contains(other))
            continue;
        auto node = nodes.constFind(other);
        if (node == nodes.constEnd() || !passes(other, m_lens.filter))
            continue;
        seen.insert(other);
        auto group = groups.find(node->label);
        if (group == groups.end()) {
            const NodeType* type = m_graph.typeOf(*node);
            group = groups.insert(node->label,
                                  Group{type ? type->name : node->label, m_graph.priority(type), {}});
        }
        group->entries.push_back({node->title(m_graph.typeOf(*node)), other});
    }
    QList<HiddenNeighbour> dealt;
    for (ExpandPriority priority : priorityOrder) {
        std::vector<Group*> ofPriority;
        for (Group& group : groups)
            if (group.priority == priority)
                ofPriority.push_back(&group);
        std::sort(ofPriority.begin(), ofPriority.end(),
                  [](const Group* a, const Group* b) { return a->name < b->name; });
        size_t longest = 0;
        for (Group* group : ofPriority) {
            std::sort(group->entries.begin(), group->entries.end(), [](const Entry& a, const Entry& b) {
                return a.title != b.title ? a.title < b.title : a.id < b.id;
            });
            longest = std::max(longest, group->entries.size());
        }
        for (size_t round = 0; round < longest; ++round)
            for (Group* group : ofPriority)
                if (round < group->entries.size())
                    dealt.append({group->entries[round].id, priority});
    }
    return dealt;
}

CanvasState::HiddenCount CanvasState::hiddenCount(const QString& id) const {
    HiddenCount count;
    const auto& nodes = m_graph.nodes();
    const auto& rels = m_graph.rels();
    QSet<QString> seen{id};
    for (const QString& relId : m_graph.relsOf(id)) {
        const RelRecord& rel = *rels.constFind(relId);
        const QString& other = rel.from == id ? rel.to : rel.from;
        if (m_shown.contains(other) || seen.contains(other))
            continue;
        auto node = nodes.constFind(other);
        if (node == nodes.constEnd() || !passes(other, m_lens.filter))
            continue;
        seen.insert(other);
        if (m_graph.priority(m_graph.typeOf(*node)) == ExpandPriority::WhenAsked)
            ++count.whenAsked;
        else
            ++count.automatic;
    }
    return count;
}

QList<CanvasState::TypeCount> CanvasState::hiddenTypes(const QString& id) const {
    QHash<QString, int> counts;
    for (const HiddenNeighbour& neighbour : hiddenNeighbours(id))
        ++counts[m_graph.nodes().value(neighbour.id).label];
    QList<TypeCount> out;
    for (const NodeType& type : m_graph.schema().nodeTypes)
        if (counts.contains(type.table()))
            out.append({type, counts.value(type.table())});
    return out;
}

QStringList CanvasState::exploreCandidates(const QString& id, const Expansion& expansion) const {
    QStringList out;
    for (const HiddenNeighbour& neighbour : hiddenNeighbours(id))
        if (keeps(expansion, m_graph.nodes().value(neighbour.id).label, neighbour.priority))
            out.append(neighbour.id);
    return out;
}

int CanvasState::expand(const QString& id, const Expansion& expansion) {
    if (!visible().contains(id))
        return 0;
    m_expanded.insert(id);
    const QStringList candidates = exploreCandidates(id, expansion);
    const QStringList chosen = candidates.mid(0, m_graph.neighbourLimit());
    for (const QString& child : chosen)
        m_parents.insert(child, id);
    reveal(chosen, id);
    if (!m_isAnswer) {
        if (chosen.size() < candidates.size())
            m_exploreMore = ExploreSource{std::nullopt, id, expansion};
        else
            m_exploreMore.reset();
        emit exploreChanged();
    }
    return int(chosen.size());
}

void CanvasState::reveal(const QStringList& ids, const std::optional<QString>& anchor) {
    QStringList kept;
    QSet<QString> taken;
    for (const QString& id : ids)
        if (m_graph.nodes().contains(id) && !m_shown.contains(id) && !taken.contains(id)) {
            kept.append(id);
            taken.insert(id);
        }
    if (kept.isEmpty())
        return;
    const bool anchored = anchor && m_positions.contains(*anchor);
    const QPointF centre = anchored ? m_positions.value(*anchor) : viewCentre();
    for (const QString& id : kept)
        m_shown.insert(id);
    bumpShown();
    const double start = m_random.bounded(2 * M_PI);
    const std::vector<QPointF> points = Sunflower::points(int(kept.size()), centre, anchored, start);
    for (int i = 0; i < int(kept.size()); ++i)
        m_positions.insert(kept[i], points[i]);
    placeAtGuides(kept);
    emit positionsChanged();
    emit revealed(anchor ? 0.5 : 0.8);
    scheduleSave();
}

void CanvasState::placeAtGuides(const QStringList& ids) {
    const ArrangedCanvas* arrangedCanvas = arranged();
    if (!arrangedCanvas)
        return;
    for (const QString& id : ids) {
        auto guide = arrangedCanvas->layout.guides.constFind(id);
        if (guide != arrangedCanvas->layout.guides.constEnd())
            m_positions.insert(id, QPointF(guide->x.value_or(guide->homeX), guide->y.value_or(guide->homeY)));
    }
}

void CanvasState::reveal(const QString& table) {
    QSet<QString> pending;
    for (auto it = m_graph.nodes().constBegin(); it != m_graph.nodes().constEnd(); ++it)
        if (it->label == table && !m_shown.contains(it.key()) && passes(it.key(), m_lens.filter))
            pending.insert(it.key());
    const QStringList ordered = lensOrdered(pending);
    const int limit = m_graph.neighbourLimit();
    reveal(ordered.mid(0, limit));
    if (!m_isAnswer) {
        if (ordered.size() > limit)
            m_exploreMore = ExploreSource{table, {}, Expansion::type(table)};
        else
            m_exploreMore.reset();
        emit exploreChanged();
    }
}

void CanvasState::bringIn(const QHash<QString, QString>& childToParent) {
    QHash<QString, QStringList> byParent;
    for (auto it = childToParent.constBegin(); it != childToParent.constEnd(); ++it) {
        if (!m_parents.contains(it.key()))
            m_parents.insert(it.key(), it.value());
        byParent[it.value()].append(it.key());
    }
    QStringList parents = byParent.keys();
    std::sort(parents.begin(), parents.end());
    for (const QString& parent : parents) {
        QStringList children = byParent.value(parent);
        std::sort(children.begin(), children.end());
        reveal(children, m_shown.contains(parent) ? std::optional<QString>(parent) : std::nullopt);
    }
}

void CanvasState::hide(const QSet<QString>& ids) {
    bool any = false;
    for (const QString& id : ids) {
        any |= m_shown.remove(id);
        m_positions.remove(id);
        m_pinned.remove(id);
        m_pinnedHome.remove(id);
        m_expanded.remove(id);
        m_parents.remove(id);
    }
    GraphSelection selection = m_graph.core().selection();
    switch (selection.kind) {
    case GraphSelection::Kind::Node:
        if (ids.contains(*selection.ids.begin()))
            selection = GraphSelection();
        break;
    case GraphSelection::Kind::Nodes:
        selection = GraphSelection::nodes(selection.ids - ids);
        break;
    case GraphSelection::Kind::Relationship: {
        auto rel = m_graph.rels().constFind(*selection.ids.begin());
        if (rel != m_graph.rels().constEnd() && (ids.contains(rel->from) || ids.contains(rel->to)))
            selection = GraphSelection();
        break;
    }
    case GraphSelection::Kind::None:
        break;
    }
    m_graph.core().setSelection(selection);
    if (!any)
        return;
    bumpShown();
    emit reheatRequested(0.15);
    scheduleSave();
}

void CanvasState::fold(const QSet<QString>& ids, const QString& from) {
    hide(ids);
    m_expanded.remove(from);
}

QSet<QString> CanvasState::hiding(const QSet<QString>& targets, const QSet<QString>& keeping) const {
    QSet<QString> roots;
    for (const QString& id : targets)
        if (m_shown.contains(id) && !keeping.contains(id))
            roots.insert(id);
    if (roots.isEmpty())
        return {};
    QHash<QString, QStringList> children;
    for (auto it = m_parents.constBegin(); it != m_parents.constEnd(); ++it)
        children[it.value()].append(it.key());
    QSet<QString> result = roots;
    QStringList stack;
    for (const QString& root : roots) {
        stack = children.value(root);
        while (!stack.isEmpty()) {
            const QString id = stack.takeLast();
            if (id == root || keeping.contains(id) || result.contains(id))
                continue;
            result.insert(id);
            stack.append(children.value(id));
        }
    }
    return result;
}

const CanvasMenuPlan& CanvasState::menuPlan(const QSet<QString>& targets) const {
    if (!m_menuFor || m_menuFor->first != stamp() || m_menuFor->second != targets) {
        m_menu = makeMenuPlan(targets);
        m_menuFor = std::make_pair(stamp(), targets);
    }
    return m_menu;
}

CanvasMenuPlan CanvasState::makeMenuPlan(const QSet<QString>& targets) const {
    CanvasMenuPlan plan;
    QStringList ordered(targets.begin(), targets.end());
    std::sort(ordered.begin(), ordered.end());
    const auto& nodes = m_graph.nodes();
    const auto& rels = m_graph.rels();
    auto priorityOf = [&](const QString& id) {
        return m_graph.priority(m_graph.typeOfNode(id));
    };

    for (const QString& target : ordered)
        for (const HiddenNeighbour& neighbour : hiddenNeighbours(target))
            if (!plan.expandAll.contains(neighbour.id) && !targets.contains(neighbour.id))
                plan.expandAll.insert(neighbour.id, target);
    for (auto it = plan.expandAll.constBegin(); it != plan.expandAll.constEnd(); ++it)
        if (priorityOf(it.key()) == ExpandPriority::WhenAsked)
            plan.expandAdHoc.insert(it.key(), it.value());

    // The shown neighbours of the targets, and by which relationship table each is reached.
    QSet<QString> shownNeighbours;
    QHash<QString, QSet<QString>> shownByRel;
    QHash<QString, QHash<QString, QString>> hiddenByRel;
    for (const QString& target : ordered) {
        for (const QString& relId : m_graph.relsOf(target)) {
            const RelRecord& rel = *rels.constFind(relId);
            const QString& other = rel.from == target ? rel.to : rel.from;
            if (targets.contains(other) || !nodes.contains(other))
                continue;
            if (m_shown.contains(other)) {
                shownNeighbours.insert(other);
                shownByRel[rel.label].insert(other);
            } else if (plan.expandAll.value(other) == target) {
                hiddenByRel[rel.label].insert(other, target);
            }
        }
    }

    QHash<QString, QHash<QString, QString>> expandByTable;
    for (auto it = plan.expandAll.constBegin(); it != plan.expandAll.constEnd(); ++it)
        expandByTable[nodes.value(it.key()).label].insert(it.key(), it.value());
    plan.foldLinks = hiding(shownNeighbours, targets);
    QHash<QString, QSet<QString>> foldByTable;
    for (const QString& id : std::as_const(plan.foldLinks)) {
        foldByTable[nodes.value(id).label].insert(id);
        if (priorityOf(id) == ExpandPriority::WhenAsked)
            plan.foldAdHocLinked.insert(id);
    }
    for (const QString& id : m_shown)
        if (!targets.contains(id))
            plan.foldExceptCurrent.insert(id);

    std::vector<NodeType> nodeTypes(m_graph.schema().nodeTypes.begin(), m_graph.schema().nodeTypes.end());
    std::sort(nodeTypes.begin(), nodeTypes.end(),
              [](const NodeType& a, const NodeType& b) { return a.name < b.name; });
    for (const NodeType& type : nodeTypes) {
        if (expandByTable.contains(type.table()))
            plan.expandByType.append({type, expandByTable.value(type.table())});
        if (foldByTable.contains(type.table()))
            plan.foldByType.append({type, foldByTable.value(type.table())});
    }
    std::vector<RelType> relTypes(m_graph.schema().relTypes.begin(), m_graph.schema().relTypes.end());
    std::sort(relTypes.begin(), relTypes.end(),
              [](const RelType& a, const RelType& b) { return a.name < b.name; });
    for (const RelType& type : relTypes) {
        if (hiddenByRel.contains(type.table()))
            plan.expandByRel.append({type, hiddenByRel.value(type.table())});
        if (shownByRel.contains(type.table())) {
            const QSet<QString> folded = hiding(shownByRel.value(type.table()), targets);
            if (!folded.isEmpty())
                plan.foldByRel.append({type, folded});
        }
    }
    return plan;
}

std::optional<std::pair<int, int>> CanvasState::exploreCounts() const {
    if (!m_exploreMore)
        return std::nullopt;
    const ExploreSource& source = *m_exploreMore;
    const auto& nodes = m_graph.nodes();
    if (source.table) {
        int shown = 0, total = 0;
        const QSet<QString>& drawn = visible();
        for (auto it = nodes.constBegin(); it != nodes.constEnd(); ++it) {
            if (it->label != *source.table || !passes(it.key(), m_lens.filter))
                continue;
            ++total;
            if (drawn.contains(it.key()))
                ++shown;
        }
        return std::make_pair(shown, total);
    }
    QSet<QString> onCanvas;
    for (const QString& relId : m_graph.relsOf(source.node)) {
        const RelRecord& rel = *m_graph.rels().constFind(relId);
        const QString& other = rel.from == source.node ? rel.to : rel.from;
        auto node = nodes.constFind(other);
        if (other == source.node || node == nodes.constEnd() || !m_shown.contains(other))
            continue;
        if (keeps(source.expansion, node->label, m_graph.priority(m_graph.typeOf(*node))))
            onCanvas.insert(other);
    }
    const int remaining = int(exploreCandidates(source.node, source.expansion).size());
    return std::make_pair(int(onCanvas.size()), int(onCanvas.size()) + remaining);
}

void CanvasState::showMoreExplore(bool all) {
    if (!m_exploreMore)
        return;
    const ExploreSource source = *m_exploreMore;
    if (source.table) {
        if (!all) {
            reveal(*source.table);
        } else {
            QSet<QString> pending;
            for (auto it = m_graph.nodes().constBegin(); it != m_graph.nodes().constEnd(); ++it)
                if (it->label == *source.table && passes(it.key(), m_lens.filter))
                    pending.insert(it.key());
            reveal(lensOrdered(pending));
            m_exploreMore.reset();
            emit exploreChanged();
        }
    } else if (!all) {
        expand(source.node, source.expansion);
    } else {
        const QStringList candidates = exploreCandidates(source.node, source.expansion);
        for (const QString& child : candidates)
            m_parents.insert(child, source.node);
        reveal(candidates, source.node);
        m_exploreMore.reset();
        emit exploreChanged();
    }
    fitGraph({}, true);
}

const QStringList& CanvasState::canvasRels() const {
    if (m_relsFor && *m_relsFor == stamp())
        return m_canvasRels;
    m_canvasRels.clear();
    const QSet<QString>& drawn = visible();
    const auto& rels = m_graph.rels();
    for (const QString& id : drawn)
        for (const QString& relId : m_graph.relsOf(id)) {
            const RelRecord& rel = *rels.constFind(relId);
            if (rel.from == id && drawn.contains(rel.to))
                m_canvasRels.append(relId);
        }
    std::sort(m_canvasRels.begin(), m_canvasRels.end());
    m_relsFor = stamp();
    return m_canvasRels;
}

CanvasState::Connections CanvasState::connections(const QString& id) const {
    Connections out;
    QSet<QString> seen;
    for (const QString& relId : m_graph.relsOf(id)) {
        out.rels.append(relId);
        const RelRecord& rel = *m_graph.rels().constFind(relId);
        const QString& other = rel.from == id ? rel.to : rel.from;
        if (other != id && !seen.contains(other)) {
            seen.insert(other);
            out.neighbours.append(other);
        }
    }
    return out;
}

void CanvasState::click(const QString& id, QPointF screenPoint, const QDateTime& now) {
    const bool isDouble = m_lastClick.pairsWith(now, screenPoint);
    const bool earlierExpanded = isDouble && m_lastClick.expanded;
    m_lastClick = LastClick{now, screenPoint, false};
    if (isDouble) {
        if (m_pinned.remove(id)) {
            m_pinnedHome.remove(id);
            emit pinnedChanged();
            scheduleSave();
        }
        emit reheatRequested(0.4);
    }
    const bool wasSelection = m_graph.core().selection() == GraphSelection::node(id);
    m_graph.core().setSelection(GraphSelection::node(id));
    if (!isDouble && !wasSelection && !m_expanded.contains(id)) {
        expand(id, Expansion::first());
        return;
    }
    if (!earlierExpanded) {
        expand(id, Expansion::click());
        if (!isDouble)
            m_lastClick.expanded = true;
    }
}

void CanvasState::toggleSelected(const QString& id) {
    const GraphSelection& selection = m_graph.core().selection();
    QSet<QString> ids;
    if (selection.kind == GraphSelection::Kind::Nodes || selection.kind == GraphSelection::Kind::Node)
        ids = selection.ids;
    if (!ids.remove(id))
        ids.insert(id);
    m_graph.core().setSelection(GraphSelection::nodes(ids));
}

void CanvasState::clickBadge(const QString& id) {
    if (m_isAnswer && !m_answerIds.isEmpty())
        reveal(hiddenAnswerNeighbours(id), id);
    else
        expand(id, Expansion::click());
}

// -- The answer's records ---------------------------------------------------------------------------------

void CanvasState::setAnswerIds(const QSet<QString>& ids) {
    m_answerIds = ids;
    ++m_lensRevision; // `near` filters read them
    emit lensChanged();
}

QSet<QString> CanvasState::answerNeighbours(const QString& id) const {
    QSet<QString> out;
    for (const QString& neighbour : connections(id).neighbours)
        if (m_answerIds.contains(neighbour))
            out.insert(neighbour);
    return out;
}

QStringList CanvasState::hiddenAnswerNeighbours(const QString& id) const {
    QStringList out;
    for (const QString& neighbour : answerNeighbours(id))
        if (!m_shown.contains(neighbour))
            out.append(neighbour);
    std::sort(out.begin(), out.end());
    return out;
}

void CanvasState::rankAnswer(const QStringList& ids) {
    m_answerRanks.clear();
    for (int i = 0; i < ids.size(); ++i)
        if (!m_answerRanks.contains(ids[i]))
            m_answerRanks.insert(ids[i], i);
    ++m_lensRevision;
    emit lensChanged();
}

} // namespace corvantis

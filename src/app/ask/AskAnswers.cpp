// An answer's life after its query has run: pages, the filter and its facets, narrowing.
#include "app/ask/AskEngine.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/SessionCore.h"
#include "kit/store/ResultPaging.h"

#include <algorithm>

namespace corvantis {

namespace {

// Every node id of the groups.
QSet<QString> idsOf(const QList<QStringList>& groups) {
    QSet<QString> ids;
    for (const QStringList& group : groups)
        for (const QString& id : group)
            ids.insert(id);
    return ids;
}

} // namespace

void AskEngine::refilter() {
    const QList<QStringList>& groups = m_state.pages.groups;
    if (m_filter.isEmpty()) {
        m_answerGroups = groups;
        return;
    }
    const GraphSchema& schema = m_core.project().schema;
    const auto& nodes = m_core.nodes();
    const QSet<QString> nearby =
        m_filter.near ? m_canvases.answer().answerNeighbours(*m_filter.near) : QSet<QString>();
    auto passes = [&](const QString& id) {
        const auto node = nodes.constFind(id);
        if (node == nodes.constEnd())
            return true;
        if (m_filter.hiddenTypes.contains(node->label))
            return false;
        if (!m_filter.hiddenValues.isEmpty())
            if (const NodeType* type = schema.nodeTypeForTable(node->label))
                for (const PropertyDef& property : type->properties) {
                    const auto shut = m_filter.hiddenValues.constFind(property.id);
                    if (shut == m_filter.hiddenValues.constEnd())
                        continue;
                    const std::optional<QString> value =
                        node->properties.value(property.column()).stringValue();
                    if (value && shut->contains(*value))
                        return false;
                }
        if (m_filter.near && id != *m_filter.near && !nearby.contains(id))
            return false;
        return true;
    };
    m_answerGroups.clear();
    for (const QStringList& group : groups) {
        QStringList kept;
        for (const QString& id : group)
            if (passes(id))
                kept.append(id);
        if (!kept.isEmpty())
            m_answerGroups.append(kept);
    }
}

void AskEngine::placeRevealed() {
    m_answerShown.clear();
    const int revealed = std::min<int>(m_state.pages.revealed, m_answerGroups.size());
    for (int i = 0; i < revealed; ++i)
        for (const QString& id : m_answerGroups[i])
            m_answerShown.insert(id);
}

void AskEngine::placeOnCanvas(bool fresh) {
    // The answer's records in the order of its groups: the canvas's answer order and reveal order.
    QStringList order;
    QSet<QString> seen;
    for (const QStringList& group : m_state.pages.groups)
        for (const QString& id : group)
            if (!seen.contains(id)) {
                seen.insert(id);
                order.append(id);
            }
    if (order.isEmpty()) {
        // Rows without records (counts, names): the table tells them and the graph stays.
        m_canvases.hideAnswer();
        return;
    }
    CanvasState& canvas = m_canvases.answer();
    QStringList shown;
    for (const QString& id : order)
        if (m_answerShown.contains(id))
            shown.append(id);
    if (fresh) {
        m_canvases.showAnswer(seen, shown);
        if (shown.isEmpty())
            canvas.hide(QSet<QString>(canvas.shown()));
        canvas.rankAnswer(order);
    } else {
        QSet<QString> leaving;
        for (const QString& id : canvas.shown())
            if (!m_answerShown.contains(id))
                leaving.insert(id);
        if (!leaving.isEmpty())
            canvas.hide(leaving);
        QStringList coming;
        for (const QString& id : shown)
            if (!canvas.shown().contains(id))
                coming.append(id);
        if (!coming.isEmpty())
            canvas.reveal(coming);
    }
    canvas.fitGraph({}, true);
}

void AskEngine::setAnswerFilter(const AnswerFilter& filter) {
    if (m_filter == filter)
        return;
    const QSet<QString> before = m_answerShown;
    m_filter = filter;
    refilter();
    // Keep what was on the canvas: the leading groups already shown stay revealed, a first page at least.
    int revealed = 0;
    while (revealed < m_answerGroups.size() &&
           std::all_of(m_answerGroups[revealed].begin(), m_answerGroups[revealed].end(),
                       [&](const QString& id) { return before.contains(id); }))
        ++revealed;
    m_state.pages.revealed = std::max(revealed, ResultPaging::firstPageEnd(m_answerGroups));
    placeRevealed();
    placeOnCanvas(false);
    changed();
    emit answerChanged();
}

AskEngine::Counts AskEngine::answerCounts() const {
    int total = 0;
    for (const QStringList& group : m_answerGroups)
        total += static_cast<int>(group.size());
    return Counts{static_cast<int>(m_answerShown.size()), total};
}

QList<AskEngine::TypeCount> AskEngine::answerTypes() const {
    const GraphSchema& schema = m_core.project().schema;
    QHash<QString, int> counts;
    for (const QString& id : idsOf(m_state.pages.groups))
        if (const auto node = m_core.nodes().constFind(id); node != m_core.nodes().constEnd())
            ++counts[node->label];
    QList<TypeCount> types;
    for (const NodeType& type : schema.nodeTypes)
        if (const int n = counts.value(type.table()))
            types.append(TypeCount{type.id, type.name, type.table(), n});
    std::stable_sort(types.begin(), types.end(),
                     [](const TypeCount& a, const TypeCount& b) { return a.count > b.count; });
    return types;
}

QList<AskEngine::ChoiceCount> AskEngine::answerChoices() const {
    const GraphSchema& schema = m_core.project().schema;
    const QSet<QString> ids = idsOf(m_state.pages.groups);
    QList<ChoiceCount> choices;
    for (const NodeType& type : schema.nodeTypes)
        for (const PropertyDef& property : type.properties) {
            const std::optional<QStringList> options = property.choices();
            if (!options)
                continue;
            QHash<QString, int> counts;
            for (const QString& id : ids) {
                const auto node = m_core.nodes().constFind(id);
                if (node == m_core.nodes().constEnd() || node->label != type.table())
                    continue;
                if (const auto value = node->properties.value(property.column()).stringValue())
                    ++counts[*value];
            }
            if (counts.isEmpty())
                continue;
            ChoiceCount choice{type.id, property.id, property.name, {}};
            for (const QString& option : *options) // in the shape's order
                if (counts.contains(option))
                    choice.values.append({option, counts.value(option)});
            choices.append(choice);
        }
    return choices;
}

std::optional<AskEngine::Hub> AskEngine::answerHub() const {
    const QSet<QString> ids = idsOf(m_state.pages.groups);
    if (ids.size() < 2)
        return std::nullopt;
    QHash<QString, QSet<QString>> reached;
    for (const RelRecord& rel : m_core.rels()) {
        if (ids.contains(rel.to) && rel.from != rel.to)
            reached[rel.from].insert(rel.to);
        if (ids.contains(rel.from) && rel.from != rel.to)
            reached[rel.to].insert(rel.from);
    }
    std::optional<Hub> best;
    for (auto it = reached.begin(); it != reached.end(); ++it) {
        const int count = static_cast<int>(it->size());
        if (!m_core.nodes().contains(it.key()) || count < 2)
            continue;
        if (!best || count > best->count || (count == best->count && it.key() < best->id))
            best = Hub{it.key(), count};
    }
    return best;
}

bool AskEngine::answerIsLarge() const {
    int size = 0;
    for (const QStringList& group : m_state.pages.groups)
        size += static_cast<int>(group.size());
    return size > ResultPaging::narrowAbove || (m_state.output && m_state.output->isTruncated());
}

QPair<int, int> AskEngine::nextAnswerPage() const {
    const int from = std::min<int>(m_state.pages.revealed, m_answerGroups.size());
    return {from, ResultPaging::pageEnd(m_answerGroups, from, ResultPaging::pageSize)};
}

void AskEngine::showMoreAnswer() {
    const auto [from, to] = nextAnswerPage();
    if (to <= from)
        return;
    m_state.pages.revealed = to;
    placeRevealed();
    placeOnCanvas(false);
    changed();
    emit answerChanged();
}

void AskEngine::showAllAnswer() {
    if (m_state.pages.revealed >= m_answerGroups.size())
        return;
    m_state.pages.revealed = static_cast<int>(m_answerGroups.size());
    placeRevealed();
    placeOnCanvas(false);
    changed();
    emit answerChanged();
}

void AskEngine::narrowAnswer(const AskSettings& settings) {
    if (m_state.question.isEmpty() || m_state.cypher.isEmpty() || m_state.isWorking)
        return;
    const qint64 rows = m_state.output ? m_state.output->totalRows : 0;
    m_filter = AnswerFilter();
    refilter();
    auto flow = newFlow();
    m_state.isWorking = true;
    changed();
    emit answerChanged();
    const QString question = m_state.question;
    const Narrowing narrowing{m_state.cypher, rows};
    [](AskEngine* engine, std::shared_ptr<Flow> flow, QString question, AskSettings settings,
       Narrowing narrowing) -> QCoro::Task<> {
        try {
            co_await engine->cypherFlow(flow, question, settings, false, narrowing);
        } catch (const Cancelled&) {
        }
        if (alive(flow)) {
            engine->m_state.isWorking = false;
            engine->changed();
        }
    }(this, flow, question, settings, narrowing);
}

} // namespace corvantis

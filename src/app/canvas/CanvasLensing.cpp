// The lens of a canvas: what passes its filter, the values and lanes nodes are arranged by, the
// arrangement made of them, and the chips of the filters in force.
#include "app/canvas/CanvasState.h"

#include <QLocale>
#include <algorithm>
#include <deque>

namespace corvantis {

namespace {

const QString yes = QStringLiteral("Yes");
const QString no = QStringLiteral("No");

} // namespace

const PropertyDef* CanvasState::propertyOf(const QString& id, const QString& name) const {
    const NodeType* type = m_graph.typeOfNode(id);
    if (!type)
        return nullptr;
    for (const PropertyDef& property : type->properties)
        if (property.name == name)
            return &property;
    return nullptr;
}

const PropertyDef* CanvasState::anyProperty(const QString& name) const {
    for (const NodeType& type : m_graph.schema().nodeTypes)
        for (const PropertyDef& property : type.properties)
            if (property.name == name)
                return &property;
    return nullptr;
}

void CanvasState::updateLens(const std::function<void(CanvasLens&)>& change) {
    change(m_lens);
    ++m_lensRevision;
    emit lensChanged();
    emit lensUpdated();
    emit reheatRequested(0.9);
}

void CanvasState::setLens(const CanvasLens& lens) {
    m_lens = lens;
    ++m_lensRevision;
    emit lensChanged();
}

CanvasLens CanvasState::effectiveLens() const {
    CanvasLens lens = m_lens;
    auto valid = [&](const LensKey& key) {
        switch (key.kind) {
        case LensKey::Kind::property:
            return anyProperty(key.payload) != nullptr;
        case LensKey::Kind::steps:
            return m_graph.nodes().contains(key.payload);
        default:
            return true;
        }
    };
    if (lens.sort && !valid(*lens.sort))
        lens.sort.reset();
    if (lens.group && !valid(*lens.group))
        lens.group.reset();
    return lens;
}

const QSet<QString>& CanvasState::visible() const {
    if (m_visibleFor && *m_visibleFor == stamp())
        return m_visible;
    m_visible.clear();
    m_visible.reserve(m_shown.size());
    const auto& nodes = m_graph.nodes();
    for (const QString& id : m_shown)
        if (nodes.contains(id) && passes(id, m_lens.filter))
            m_visible.insert(id);
    m_visibleFor = stamp();
    return m_visible;
}

bool CanvasState::passes(const QString& id, const CanvasFilter& filter) const {
    if (filter.lanes.isEmpty() && !filter.range && !filter.near && !filter.around)
        return true;
    if (!m_graph.typeOfNode(id))
        return false;
    if (filter.around && id == *filter.around)
        return true;
    for (auto it = filter.lanes.constBegin(); it != filter.lanes.constEnd(); ++it) {
        const bool listed = it->values.contains(lensCategory(id, it.key()));
        if (it->only != listed)
            return false;
    }
    if (filter.range) {
        const auto value = lensValue(id, filter.range->key);
        if (!value || *value < filter.range->low || filter.range->high < *value)
            return false;
    }
    if (filter.near && id != *filter.near && !answerNeighbours(*filter.near).contains(id))
        return false;
    if (filter.around && !m_shown.contains(id) && !steps(*filter.around).contains(id))
        return false;
    return true;
}

std::optional<ArrangeValue> CanvasState::lensValue(const QString& id, const LensKey& key) const {
    auto node = m_graph.nodes().constFind(id);
    if (node == m_graph.nodes().constEnd())
        return std::nullopt;
    switch (key.kind) {
    case LensKey::Kind::property: {
        const PropertyDef* property = propertyOf(id, key.payload);
        if (!property)
            return std::nullopt;
        const GraphValue value = node->properties.value(property->column());
        switch (property->kind) {
        case PropertyKind::Number:
            if (const double* number = value.asNumber())
                return ArrangeValue(*number);
            if (const qint64* integer = value.asInteger())
                return ArrangeValue(double(*integer));
            return std::nullopt;
        case PropertyKind::Boolean:
            if (const bool* flag = value.asBool())
                return ArrangeValue(*flag ? 1.0 : 0.0);
            return std::nullopt;
        case PropertyKind::Choice: {
            const auto text = value.stringValue();
            if (!text)
                return std::nullopt;
            const QStringList choices = lensChoices(key.payload);
            const qsizetype index = choices.indexOf(*text);
            return ArrangeValue(double(index < 0 ? choices.size() : index));
        }
        case PropertyKind::Text:
        case PropertyKind::Link:
            if (const auto text = value.stringValue())
                return ArrangeValue(*text);
            return std::nullopt;
        }
        return std::nullopt;
    }
    case LensKey::Kind::steps: {
        const auto& hops = steps(key.payload);
        auto it = hops.constFind(id);
        return it == hops.constEnd() ? std::nullopt : std::optional<ArrangeValue>(ArrangeValue(double(*it)));
    }
    case LensKey::Kind::title: {
        const QString title = node->title(m_graph.typeOf(*node));
        return title.isEmpty() ? std::nullopt : std::optional<ArrangeValue>(ArrangeValue(title));
    }
    case LensKey::Kind::connections:
        return ArrangeValue(double(m_graph.degree(id)));
    case LensKey::Kind::answerOrder: {
        auto it = m_answerRanks.constFind(id);
        return it == m_answerRanks.constEnd() ? std::nullopt
                                              : std::optional<ArrangeValue>(ArrangeValue(double(*it)));
    }
    case LensKey::Kind::type:
        return ArrangeValue(typeName(id));
    }
    return std::nullopt;
}

QString CanvasState::lensCategory(const QString& id, const LensKey& key) const {
    const auto value = lensValue(id, key);
    return value ? lensLabel(*value, key) : Arrangement::noValue;
}

QStringList CanvasState::lensChoices(const QString& property) const {
    QStringList choices;
    for (const NodeType& type : m_graph.schema().nodeTypes)
        for (const PropertyDef& def : type.properties)
            if (def.name == property && def.choices())
                for (const QString& option : *def.choices())
                    if (!choices.contains(option))
                        choices.append(option);
    return choices;
}

std::optional<PropertyKind> CanvasState::lensKind(const LensKey& key) const {
    switch (key.kind) {
    case LensKey::Kind::property:
        if (const PropertyDef* property = anyProperty(key.payload))
            return property->kind;
        return std::nullopt;
    case LensKey::Kind::title:
    case LensKey::Kind::type:
        return PropertyKind::Text;
    case LensKey::Kind::steps:
    case LensKey::Kind::connections:
    case LensKey::Kind::answerOrder:
        return PropertyKind::Number;
    }
    return std::nullopt;
}

QString CanvasState::lensLabel(const ArrangeValue& value, const LensKey& key) const {
    if (const auto text = value.text())
        return *text;
    const double number = *value.number();
    if (key.kind == LensKey::Kind::property) {
        const auto kind = lensKind(key);
        if (kind == PropertyKind::Boolean)
            return number != 0 ? yes : no;
        if (kind == PropertyKind::Choice) {
            const QStringList choices = lensChoices(key.payload);
            const int index = int(number);
            return index >= 0 && index < choices.size() ? choices[index] : QStringLiteral("Other");
        }
    }
    if (key.kind == LensKey::Kind::steps)
        return number == 1 ? QStringLiteral("1 step") : QStringLiteral("%1 steps").arg(number);
    return QLocale().toString(number, 'g', 12);
}

QString CanvasState::laneTitle(const QString& lane, const LensKey& key) const {
    if (lane == Arrangement::noValue)
        return QStringLiteral("No %1").arg(lensName(key).toLower());
    return lane;
}

QString CanvasState::lensName(const LensKey& key) const {
    switch (key.kind) {
    case LensKey::Kind::property:
        return key.payload;
    case LensKey::Kind::steps:
        return QStringLiteral("Steps from %1").arg(m_graph.title(key.payload));
    case LensKey::Kind::title:
        return QStringLiteral("Title");
    case LensKey::Kind::connections:
        return QStringLiteral("Connections");
    case LensKey::Kind::answerOrder:
        return QStringLiteral("Answer order");
    case LensKey::Kind::type:
        return QStringLiteral("Type");
    }
    return {};
}

QString CanvasState::directionName(const LensKey& key, bool descending) const {
    auto pick = [descending](const char* up, const char* down) {
        return QString::fromUtf8(descending ? down : up);
    };
    switch (key.kind) {
    case LensKey::Kind::title:
    case LensKey::Kind::type:
        return pick("A to Z", "Z to A");
    case LensKey::Kind::connections:
        return pick("fewest first", "most first");
    case LensKey::Kind::steps:
        return pick("nearest first", "farthest first");
    case LensKey::Kind::answerOrder:
        return pick("best first", "best last");
    case LensKey::Kind::property:
        switch (lensKind(key).value_or(PropertyKind::Text)) {
        case PropertyKind::Number:
            return pick("lowest first", "highest first");
        case PropertyKind::Boolean:
            return pick("no first", "yes first");
        case PropertyKind::Choice:
            return pick("in the shape's order", "last option first");
        case PropertyKind::Text:
        case PropertyKind::Link:
            return pick("A to Z", "Z to A");
        }
    }
    return {};
}

QList<LensKeyInfo> CanvasState::sortKeys() const {
    QList<LensKeyInfo> keys;
    auto add = [&](const LensKey& key, std::optional<QString> detail = std::nullopt) {
        keys.append({key, lensName(key), lensKind(key), std::move(detail), std::nullopt});
    };
    add(LensKey::title());
    add(LensKey::connections());
    add(LensKey::type());
    if (m_isAnswer)
        add(LensKey::answerOrder());
    QSet<QString> named;
    for (const NodeType& type : m_graph.schema().nodeTypes)
        for (const PropertyDef& property : type.properties)
            if (!named.contains(property.name)) {
                named.insert(property.name);
                add(LensKey::property(property.name), type.name);
            }
    const GraphSelection& selection = m_graph.core().selection();
    if (selection.kind == GraphSelection::Kind::Node && m_shown.contains(*selection.ids.begin()))
        add(LensKey::steps(*selection.ids.begin()));
    return keys;
}

QSet<QString> CanvasState::lensPopulation(bool filtered) const {
    if (filtered)
        return visible();
    QSet<QString> population;
    for (const QString& id : m_shown)
        if (m_graph.nodes().contains(id))
            population.insert(id);
    return population;
}

QStringList CanvasState::lensOrdered(const QSet<QString>& ids) const {
    std::vector<std::pair<QString, QString>> titled;
    titled.reserve(ids.size());
    for (const QString& id : ids)
        titled.emplace_back(m_graph.title(id), id);
    std::sort(titled.begin(), titled.end());
    QStringList out;
    out.reserve(qsizetype(titled.size()));
    for (auto& entry : titled)
        out.append(entry.second);
    return out;
}

const QHash<QString, int>& CanvasState::steps(const QString& from) const {
    const auto key = std::make_pair(topology(), from);
    if (m_stepsFor && *m_stepsFor == key)
        return m_steps;
    m_steps.clear();
    if (m_shown.contains(from)) {
        std::deque<QString> queue{from};
        m_steps.insert(from, 0);
        while (!queue.empty()) {
            const QString id = queue.front();
            queue.pop_front();
            const int next = m_steps.value(id) + 1;
            for (const QString& relId : m_graph.relsOf(id)) {
                const RelRecord& rel = *m_graph.rels().constFind(relId);
                const QString& other = rel.from == id ? rel.to : rel.from;
                if (m_shown.contains(other) && !m_steps.contains(other)) {
                    m_steps.insert(other, next);
                    queue.push_back(other);
                }
            }
        }
    }
    m_stepsFor = key;
    return m_steps;
}

Arrangement::Spacing CanvasState::spacing(const CanvasLens& lens) const {
    if (!lens.sort)
        return Arrangement::Spacing::even;
    switch (lens.sort->kind) {
    case LensKey::Kind::steps:
    case LensKey::Kind::connections:
        return lens.spacing.value_or(Arrangement::Spacing::value);
    case LensKey::Kind::property:
        if (lensKind(*lens.sort) == PropertyKind::Number)
            return lens.spacing.value_or(Arrangement::Spacing::value);
        return Arrangement::Spacing::even;
    default:
        return Arrangement::Spacing::even;
    }
}

const ArrangedCanvas* CanvasState::arranged() const {
    if (!m_arrangedFor || *m_arrangedFor != stamp()) {
        m_arranged = makeArranged();
        m_arrangedFor = stamp();
    }
    return m_arranged.get();
}

std::unique_ptr<ArrangedCanvas> CanvasState::makeArranged() const {
    const CanvasLens lens = effectiveLens();
    if (!lens.sort && !lens.group && lens.form == Arrangement::Form::rows)
        return nullptr;
    const QStringList ids = lensOrdered(visible());
    std::vector<Arrangement::Item> items;
    items.reserve(ids.size());
    for (const QString& id : ids)
        items.push_back({id, lens.sort ? lensValue(id, *lens.sort) : std::nullopt,
                         lens.group ? std::optional<QString>(lensCategory(id, *lens.group)) : std::nullopt});

    Arrangement::Options options;
    options.sorted = lens.sort.has_value();
    options.descending = lens.descending;
    options.spacing = spacing(lens);
    options.grouped = lens.group.has_value();
    const QSet<QString> population = lensPopulation(false);
    if (lens.group) {
        const LensKey& group = *lens.group;
        if (group.kind == LensKey::Kind::property) {
            const auto kind = lensKind(group);
            if (kind == PropertyKind::Choice)
                options.lanes = lensChoices(group.payload);
            else if (kind == PropertyKind::Boolean)
                options.lanes = QStringList{no, yes};
        } else if (group.kind == LensKey::Kind::type) {
            for (const NodeType& type : m_graph.schema().nodeTypes)
                options.lanes.append(type.name);
        }
        const auto lane = lens.filter.lanes.constFind(group);
        if (lane != lens.filter.lanes.constEnd() && !lane->only)
            options.collapsed = lane->values;
        const auto kind = lensKind(group);
        options.ordered = group.kind != LensKey::Kind::title && group.kind != LensKey::Kind::type &&
                          kind != PropertyKind::Text && kind != PropertyKind::Link;
    }
    if (lens.sort) {
        std::optional<Arrangement::Range> domain;
        for (const QString& id : population)
            if (const auto value = lensValue(id, *lens.sort); value && value->isNumber()) {
                const double number = *value->number();
                if (!domain)
                    domain = Arrangement::Range{number, number};
                domain->low = std::min(domain->low, number);
                domain->high = std::max(domain->high, number);
            }
        options.domain = domain;
        options.axisCount = int(population.size());
    }
    options.form = lens.form;
    const auto& rels = m_graph.rels();
    for (const QString& relId : canvasRels()) {
        const RelRecord& rel = *rels.constFind(relId);
        options.links.emplace_back(rel.from, rel.to);
    }
    options.anchor = lens.filter.around;

    auto made = std::make_unique<ArrangedCanvas>(
        ArrangedCanvas{Arrangement(items, options), lens.sort, lens.group, {}});
    if (lens.group) {
        QHash<QString, int> hidden;
        const QSet<QString>& drawn = visible();
        for (const QString& id : population)
            if (!drawn.contains(id))
                ++hidden[lensCategory(id, *lens.group)];
        QStringList keys;
        for (const Arrangement::Lane& lane : made->layout.lanes)
            keys.append(lane.key);
        for (const Arrangement::Group& group : made->layout.groups)
            if (!keys.contains(group.key))
                keys.append(group.key);
        for (const QString& key : keys) {
            std::optional<QString> color;
            if (lens.group->kind == LensKey::Kind::type)
                for (const NodeType& type : m_graph.schema().nodeTypes)
                    if (type.name == key)
                        color = type.color;
            made->lanes.insert(key, {laneTitle(key, *lens.group), color, hidden.value(key)});
        }
    }
    return made;
}

void CanvasState::arrangedAround(Arrangement::Form form, const QString& id) {
    updateLens([&](CanvasLens& lens) {
        lens.form = form;
        lens.filter.around = id;
    });
}

void CanvasState::toggleLane(const LensKey& key, const QString& value, bool solo) {
    updateLens([&](CanvasLens& lens) {
        LaneFilter lane = lens.filter.lanes.value(key);
        if (solo) {
            if (lane.only && lane.values == QSet<QString>{value})
                lane = LaneFilter();
            else
                lane = LaneFilter{true, {value}};
        } else {
            if (lane.only)
                lane = LaneFilter();
            if (!lane.values.remove(value))
                lane.values.insert(value);
        }
        if (lane.values.isEmpty())
            lens.filter.lanes.remove(key);
        else
            lens.filter.lanes.insert(key, lane);
    });
}

void CanvasState::filterRange(double from, double to) {
    const ArrangedCanvas* arrangedCanvas = arranged();
    if (!arrangedCanvas || !arrangedCanvas->sort)
        return;
    const auto between = arrangedCanvas->layout.slotsBetween(std::min(from, to), std::max(from, to));
    if (between.empty())
        return;
    ArrangeValue low = between.front().value;
    ArrangeValue high = between.front().value;
    for (const auto& slot : between) {
        if (slot.value < low)
            low = slot.value;
        if (high < slot.value)
            high = slot.value;
    }
    const LensKey key = *arrangedCanvas->sort;
    updateLens([&](CanvasLens& lens) { lens.filter.range = RangeFilter{key, low, high}; });
}

QList<FilterChip> CanvasState::filterChips() {
    QList<FilterChip> chips;
    const CanvasFilter& filter = m_lens.filter;
    QList<LensKey> keys = filter.lanes.keys();
    std::sort(keys.begin(), keys.end(),
              [this](const LensKey& a, const LensKey& b) { return lensName(a) < lensName(b); });
    for (const LensKey& key : keys) {
        const LaneFilter lane = filter.lanes.value(key);
        if (lane.values.isEmpty())
            continue;
        QStringList values;
        for (const QString& value : lane.values)
            values.append(laneTitle(value, key));
        std::sort(values.begin(), values.end());
        const QString text = QStringLiteral("%1: %2%3")
                                 .arg(lensName(key), lane.only ? QString() : QStringLiteral("not "),
                                      values.join(QStringLiteral(", ")));
        chips.append({QStringLiteral("lane.") + QString::number(qHash(key)), text, std::nullopt, [this, key] {
                          updateLens([&](CanvasLens& lens) { lens.filter.lanes.remove(key); });
                      }});
    }
    if (filter.range) {
        const RangeFilter& range = *filter.range;
        const QString text =
            QStringLiteral("%1: %2 – %3")
                .arg(lensName(range.key), lensLabel(range.low, range.key), lensLabel(range.high, range.key));
        chips.append({QStringLiteral("range"), text, std::nullopt, [this] {
                          updateLens([](CanvasLens& lens) { lens.filter.range.reset(); });
                      }});
    }
    if (filter.near)
        chips.append({QStringLiteral("near"), QStringLiteral("Near %1").arg(m_graph.title(*filter.near)),
                      std::nullopt, [this] {
                          updateLens([](CanvasLens& lens) { lens.filter.near.reset(); });
                      }});
    if (filter.around)
        chips.append({QStringLiteral("around"),
                      QStringLiteral("Around %1").arg(m_graph.title(*filter.around)), std::nullopt, [this] {
                          updateLens([](CanvasLens& lens) {
                              lens.filter.around.reset();
                              if (lens.form != Arrangement::Form::rows)
                                  lens.form = Arrangement::Form::rows;
                          });
                      }});
    return chips;
}

} // namespace corvantis

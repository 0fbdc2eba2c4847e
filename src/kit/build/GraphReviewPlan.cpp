#include "kit/build/GraphBuilder.h"
#include "kit/build/GraphReview.h"
#include "kit/schema/Identifier.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvantis {

namespace {

bool blank(const GraphValue& value) {
    if (value.isNull())
        return true;
    if (const QString* text = value.asString())
        return text->trimmed().isEmpty();
    return false;
}

PropertyMap withoutBlanks(const PropertyMap& properties) {
    PropertyMap kept;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        if (!blank(it.value()))
            kept.insert(it.key(), it.value());
    return kept;
}

std::optional<QString> titleOf(const GraphReview::Node& node, const GraphSchema& schema) {
    const NodeType* type = schema.nodeType(node.type);
    if (!type || !type->title())
        return std::nullopt;
    return node.properties.value(type->title()->column()).titleText();
}

// The changed columns only: a value equal to the present one (a missing column counting as null) drops out.
PropertyMap differing(const PropertyMap& wanted, const PropertyMap& present) {
    PropertyMap changed;
    for (auto it = wanted.cbegin(); it != wanted.cend(); ++it)
        if (present.value(it.key()) != it.value())
            changed.insert(it.key(), it.value());
    return changed;
}

// A relationship's identity without building its text: the three parts share the records' own strings.
struct RelKey {
    QString label;
    QString from;
    QString to;
    bool operator==(const RelKey& other) const = default;
};

size_t qHash(const RelKey& key, size_t seed = 0) {
    return qHashMulti(seed, key.label, key.from, key.to);
}

void mergeInto(QList<NodeUpdate>& list, const QString& id, const PropertyMap& values, bool laterWins) {
    for (NodeUpdate& update : list)
        if (update.id == id) {
            for (auto it = values.cbegin(); it != values.cend(); ++it)
                if (laterWins || !update.properties.contains(it.key()))
                    update.properties.insert(it.key(), it.value());
            return;
        }
    list.append(NodeUpdate{id, values});
}

} // namespace

// -- Across a revision ----------------------------------------------------------------------------------

void GraphReview::carryOver(const GraphReview& previous, const GraphSchema& schema) {
    for (Node& node : nodes) {
        const Node* paired = previous.node(node.id);
        if (!paired) {
            const auto title = titleOf(node, schema);
            if (title) {
                const QString key = GraphBuilder::nameKey(*title);
                for (const Node& old : previous.nodes) {
                    if (old.type != node.type)
                        continue;
                    const auto oldTitle = titleOf(old, schema);
                    if (oldTitle && GraphBuilder::nameKey(*oldTitle) == key) {
                        paired = &old;
                        break;
                    }
                }
            }
        }
        if (!paired)
            continue;
        node.include = paired->include;
        const bool ownSameName = node.target && !node.matches.isEmpty() &&
                                 node.matches.first().isSameName() && node.matches.first().id == *node.target;
        if (!ownSameName) {
            node.target = paired->target;
            node.matches = paired->matches;
        }
    }
    for (Relationship& rel : relationships)
        for (const Relationship& old : previous.relationships)
            if (old.type == rel.type && old.from == rel.from && old.to == rel.to) {
                rel.include = old.include;
                break;
            }
    for (Change& change : changes)
        for (const Change& old : previous.changes)
            if (old.action == change.action && old.query == change.query) {
                change.include = old.include;
                QSet<QString> found(change.nodes.begin(), change.nodes.end());
                for (const QString& id : std::as_const(change.relationships))
                    found.insert(id);
                change.excluded = old.excluded;
                change.excluded.intersect(found);
                break;
            }
}

// -- What stands in a relationship's way ---------------------------------------------------------------

std::optional<GraphReview::Blocker> GraphReview::blocker(const Relationship& rel, const GraphSchema& schema,
                                                         const QSet<QString>& existing) const {
    for (const End* end : {&rel.from, &rel.to}) {
        if (!end->isDraft())
            continue;
        const Node* drafted = node(end->value);
        if (!drafted || !drafted->include)
            return Blocker{Blocker::Kind::NodeLeftOut,
                           drafted ? titleOf(*drafted, schema).value_or(QStringLiteral("untitled"))
                                   : end->value};
    }
    const QSet<QString> going = removing();
    for (const End* end : {&rel.from, &rel.to}) {
        QString id = end->value;
        if (end->isDraft())
            if (const Node* drafted = node(end->value); drafted && drafted->target)
                id = *drafted->target;
        if (going.contains(id))
            return Blocker{Blocker::Kind::NodeRemoved, QString()};
    }
    const RelType* type = schema.relType(rel.type);
    auto from = key(rel.from);
    auto to = key(rel.to);
    if (type && from && to && existing.contains(key(type->table(), *from, *to)))
        return Blocker{Blocker::Kind::AlreadyInGraph, QString()};
    return std::nullopt;
}

// -- The plan ------------------------------------------------------------------------------------------

GraphPlan GraphReview::plan(const GraphSchema& schema, const QHash<QString, NodeRecord>& existing,
                            const QList<RelRecord>& rels) const {
    GraphPlan plan;

    // Removals first.
    QSet<QString> removedNodes;
    for (const QString& id : removing())
        if (existing.contains(id))
            removedNodes.insert(id);
    for (const Change& change : changes)
        if (change.action == Change::Action::Remove)
            for (const QString& id : change.keptNodes())
                if (removedNodes.contains(id) && !plan.removedNodes.contains(id))
                    plan.removedNodes.append(id);
    QSet<QString> removedRelIds;
    for (const Change& change : changes)
        if (change.action == Change::Action::Remove)
            for (const QString& id : change.kept())
                removedRelIds.insert(id);
    QSet<QString> removedRels;
    for (const RelRecord& rel : rels) {
        const bool touches = removedNodes.contains(rel.from) || removedNodes.contains(rel.to);
        if (touches)
            ++plan.detached;
        else if (removedRelIds.contains(rel.id)) {
            plan.removedRelationships.append(rel.id);
            removedRels.insert(rel.id);
        }
    }

    // The graph as it will be.
    auto live = [&](const QString& id) {
        return existing.contains(id) && !removedNodes.contains(id);
    };
    // The graph's relationships are looked at only where a drafted one could repeat them: from an
    // existing node that a drafted relationship starts at.
    QSet<QString> startsAt;
    for (const Node& node : nodes)
        if (node.include && node.target)
            startsAt.insert(*node.target);
    for (const Relationship& rel : relationships)
        if (rel.include && !rel.from.isDraft())
            startsAt.insert(rel.from.value);
    QSet<RelKey> seen;
    for (const RelRecord& rel : rels)
        if (startsAt.contains(rel.from) && !removedRels.contains(rel.id) && live(rel.from) && live(rel.to))
            seen.insert(RelKey{rel.label, rel.from, rel.to});
    QHash<QString, QString> idOfRef;
    QHash<QString, QString> newTables; // id of a new node -> table
    auto tableOf = [&](const QString& id) -> QString {
        if (auto it = newTables.constFind(id); it != newTables.cend())
            return *it;
        return existing.value(id).label;
    };

    // Nodes.
    for (const Node& node : nodes) {
        if (!node.include)
            continue;
        const NodeType* type = schema.nodeType(node.type);
        if (!type)
            continue;
        if (!node.target) {
            if (isUntitled(node, schema))
                continue;
            NodeRecord record{QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(), type->table(),
                              withoutBlanks(node.properties)};
            idOfRef.insert(node.id, record.id);
            newTables.insert(record.id, record.label);
            plan.nodes.append(record);
            continue;
        }
        const QString& target = *node.target;
        if (!live(target)) {
            plan.skipped.append(
                removedNodes.contains(target)
                    ? QStringLiteral(
                          "A drafted node was matched to a node you're removing, so it's left out.")
                    : QStringLiteral("A node it was matched to is no longer in the graph."));
            continue;
        }
        idOfRef.insert(node.id, target);
        if (!plan.merged.contains(target))
            plan.merged.append(target);
        const PropertyMap& present = existing.value(target).properties;
        PropertyMap fill;
        for (auto it = node.properties.cbegin(); it != node.properties.cend(); ++it)
            if (!blank(it.value()) && blank(present.value(it.key())))
                fill.insert(it.key(), it.value());
        if (!fill.isEmpty())
            mergeInto(plan.updates, target, fill, false);
    }

    // Relationships.
    for (const Relationship& rel : relationships) {
        if (!rel.include)
            continue;
        const RelType* type = schema.relType(rel.type);
        if (!type)
            continue;
        auto resolveEnd = [&](const End& end) -> std::optional<QString> {
            if (end.isDraft()) {
                auto it = idOfRef.constFind(end.value);
                return it == idOfRef.cend() ? std::nullopt : std::optional<QString>(*it);
            }
            return live(end.value) ? std::optional<QString>(end.value) : std::nullopt;
        };
        auto from = resolveEnd(rel.from);
        auto to = resolveEnd(rel.to);
        if (!from || !to)
            continue;
        const NodeType* fromType = schema.nodeTypeForTable(tableOf(*from));
        const NodeType* toType = schema.nodeTypeForTable(tableOf(*to));
        if (!fromType || !toType || !type->endpoints.contains(RelEndpoint{fromType->id, toType->id}))
            continue;
        const RelKey relKey{type->table(), *from, *to};
        if (seen.contains(relKey))
            continue;
        seen.insert(relKey);
        plan.relationships.append(RelRecord{QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(),
                                            type->table(), *from, *to, withoutBlanks(rel.properties)});
    }

    // Edits. The relationships by id are only looked at when a change edits.
    QHash<QString, const RelRecord*> relById;
    const bool edits = std::any_of(changes.begin(), changes.end(), [](const Change& change) {
        return change.include && change.action == Change::Action::Update;
    });
    if (edits)
        for (const RelRecord& rel : rels)
            if (!removedRels.contains(rel.id) && live(rel.from) && live(rel.to))
                relById.insert(rel.id, &rel);
    for (const Change& change : changes) {
        if (change.action != Change::Action::Update)
            continue;
        for (const QString& id : change.kept()) {
            if (live(id)) {
                const NodeRecord& record = existing.value(id);
                const NodeType* type = schema.nodeTypeForTable(record.label);
                if (!type)
                    continue;
                const PropertyMap wanted = GraphBuilder::values(change.properties, type->properties, true);
                const PropertyMap changed = differing(wanted, record.properties);
                if (!changed.isEmpty())
                    mergeInto(plan.nodeEdits, id, changed, true);
            } else if (relById.contains(id)) {
                const RelRecord* record = relById.value(id);
                const RelType* type = schema.relTypeForTable(record->label);
                if (!type)
                    continue;
                const PropertyMap wanted = GraphBuilder::values(change.properties, type->properties, true);
                const PropertyMap changed = differing(wanted, record->properties);
                if (!changed.isEmpty())
                    mergeInto(plan.relEdits, id, changed, true);
            }
        }
    }
    return plan;
}

// -- The draft as the model is told it -------------------------------------------------------------------

QString GraphReview::describe(const GraphSchema& schema, const QHash<QString, NodeRecord>& existing) const {
    auto propertiesArray = [](const PropertyMap& properties, const QList<PropertyDef>& defs) {
        QJsonArray array;
        for (const PropertyDef& def : defs) {
            const GraphValue value = properties.value(def.column());
            if (value.isNull())
                continue;
            const QString text = value.displayText();
            if (text.isEmpty())
                continue;
            array.append(QJsonObject{{QStringLiteral("name"), def.name}, {QStringLiteral("value"), text}});
        }
        return array;
    };
    QJsonArray nodeArray;
    for (const Node& node : nodes) {
        if (!node.include)
            continue;
        const NodeType* type = schema.nodeType(node.type);
        nodeArray.append(
            QJsonObject{{QStringLiteral("ref"), node.id},
                        {QStringLiteral("type"), type ? type->name : QString()},
                        {QStringLiteral("properties"),
                         propertiesArray(node.properties, type ? type->properties : QList<PropertyDef>())}});
    }
    QJsonArray relArray;
    for (const Relationship& rel : relationships) {
        if (!rel.include)
            continue;
        const RelType* type = schema.relType(rel.type);
        relArray.append(
            QJsonObject{{QStringLiteral("type"), type ? type->table() : QString()},
                        {QStringLiteral("from"), rel.from.value},
                        {QStringLiteral("to"), rel.to.value},
                        {QStringLiteral("properties"),
                         propertiesArray(rel.properties, type ? type->properties : QList<PropertyDef>())}});
    }
    QJsonObject object{{QStringLiteral("nodes"), nodeArray}, {QStringLiteral("relationships"), relArray}};
    if (!changes.isEmpty()) {
        QJsonArray changeArray;
        for (const Change& change : changes)
            if (change.include)
                changeArray.append(
                    QJsonObject{{QStringLiteral("action"), change.action == Change::Action::Remove
                                                               ? QStringLiteral("remove")
                                                               : QStringLiteral("update")},
                                {QStringLiteral("description"), change.summary},
                                {QStringLiteral("query"), change.query},
                                {QStringLiteral("properties"), DraftProperties::toJson(change.properties)}});
        object.insert(QStringLiteral("changes"), changeArray);
    }
    QString text =
        QStringLiteral("The draft as it stands, after the person's own edits (nothing of it has been done "
                       "to the graph yet):\n\n") +
        QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));

    if (!changes.isEmpty()) {
        QStringList lines;
        for (const Change& change : changes) {
            if (!change.include)
                continue;
            QString line = QStringLiteral("- the change “") + change.summary + QStringLiteral("”: ");
            if (change.problem) {
                line += QStringLiteral("its query couldn't run (") + *change.problem +
                        QStringLiteral("), so it does nothing yet. Fix the query.");
            } else if (change.found().isEmpty()) {
                line += QStringLiteral("its query found nothing in the graph.");
            } else {
                QStringList parts;
                if (!change.nodes.isEmpty())
                    parts.append(QStringLiteral("%1 node%2")
                                     .arg(change.nodes.size())
                                     .arg(change.nodes.size() == 1 ? "" : "s"));
                if (!change.relationships.isEmpty())
                    parts.append(QStringLiteral("%1 relationship%2")
                                     .arg(change.relationships.size())
                                     .arg(change.relationships.size() == 1 ? "" : "s"));
                line += QStringLiteral("its query found ") + parts.join(QStringLiteral(" and "));
                if (change.truncated)
                    line += QStringLiteral(", and more beyond those");
                line += QStringLiteral(".");
                if (!change.excluded.isEmpty())
                    line += QStringLiteral(" The person left out %1 of them by hand.")
                                .arg(change.excluded.size());
            }
            lines.append(line);
        }
        text += QStringLiteral("\n\nWhat each change found when its query ran on the graph:\n") +
                lines.join('\n');
    }

    QStringList matched;
    for (const Node& node : nodes)
        if (node.include && node.target) {
            const NodeRecord record = existing.value(*node.target);
            const NodeType* type = schema.nodeTypeForTable(record.label);
            matched.append(QStringLiteral("- ") + node.id + QStringLiteral(" is ") + *node.target +
                           QStringLiteral(" (") + record.title(type) + QStringLiteral(")"));
        }
    if (!matched.isEmpty())
        text +=
            QStringLiteral("\n\nThe person matched these drafted nodes to nodes already in the graph:\n") +
            matched.join('\n');

    auto endTitle = [&](const End& end) {
        if (end.isDraft()) {
            const Node* drafted = node(end.value);
            return drafted ? titleOf(*drafted, schema).value_or(QStringLiteral("untitled")) : end.value;
        }
        const NodeRecord record = existing.value(end.value);
        return record.title(schema.nodeTypeForTable(record.label));
    };
    QStringList left;
    for (const Node& node : nodes)
        if (!node.include)
            left.append(QStringLiteral("- ") + titleOf(node, schema).value_or(QStringLiteral("untitled")));
    for (const Relationship& rel : relationships)
        if (!rel.include) {
            const RelType* type = schema.relType(rel.type);
            left.append(QStringLiteral("- ") + (type ? type->table() : QString()) + QStringLiteral(" ") +
                        endTitle(rel.from) + QStringLiteral(" → ") + endTitle(rel.to));
        }
    if (!left.isEmpty())
        text += QStringLiteral(
                    "\n\nThe person left these out. Don't return them unless they ask for them again:\n") +
                left.join('\n');
    return text;
}

} // namespace corvantis

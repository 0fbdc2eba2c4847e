#include "app/shape/ShapeEditor.h"

#include "app/undo/UndoStack.h"
#include "kit/schema/ShapeEdits.h"
#include "kit/schema/ValueRefusal.h"
#include "kit/support/Counted.h"

#include <algorithm>

namespace corvantis {

namespace {

const QString graphClosedForShape = QStringLiteral(
    "The graph isn't open, so its shape can't change. Quit the other copy of Corvantis and open the project "
    "again.");
const QString cantUndoFurther = QStringLiteral(
    "Undo stopped here: going further would delete data from your graph. Delete it directly if you mean to.");
const QString lockedKind =
    QStringLiteral("Your graph holds values for it, so it can only switch between text and enum.");
const QString permanent = QStringLiteral(" This can't be undone.");

// "are", or "is" when what is deleted is one thing.
QString verb(qint64 count) {
    return count == 1 ? QStringLiteral("is") : QStringLiteral("are");
}

QString nodeTypeName(const GraphSchema& schema, const QUuid& id) {
    const NodeType* type = schema.nodeType(id);
    return type ? type->name : QString();
}

// What any change deletes, in words: "3 nodes and 2 connections are deleted from your graph too. ..."
QString describeLoss(const DataLoss& loss) {
    QStringList parts;
    if (loss.nodes > 0)
        parts << counted(loss.nodes, QStringLiteral("node"));
    if (loss.relationships > 0)
        parts << counted(loss.relationships, QStringLiteral("connection"));
    if (loss.values > 0)
        parts << counted(loss.values, QStringLiteral("value"));
    const qint64 single = parts.size() == 1 ? loss.nodes + loss.relationships + loss.values : 0;
    return parts.join(QStringLiteral(" and ")) +
           QStringLiteral(" %1 deleted from your graph too.").arg(verb(single)) + permanent;
}

} // namespace

ShapeEditor::ShapeEditor(SessionCore& core, QObject* parent)
    : QObject(parent)
    , m_core(core) {
}

// -- Where the database stands ------------------------------------------------------------------------

AppliedGraph ShapeEditor::applied() const {
    return AppliedGraph(m_core.project().appliedSchema, m_core.nodes(), m_core.rels());
}

DataLoss ShapeEditor::dataLoss(const GraphSchema& from, const GraphSchema& to) const {
    return DataLoss::between(applied(), from, to);
}

bool ShapeEditor::losesData(const GraphSchema& from, const GraphSchema& to) const {
    return DataLoss::losesData(applied(), from, to);
}

bool ShapeEditor::isApplied(const RelType& type) const {
    return applied().isApplied(type);
}

bool ShapeEditor::isLocked(const QUuid& property, const PropertyOwner& owner) const {
    return applied().isLocked(property, owner);
}

bool ShapeEditor::isLocked(const RelEndpoint& endpoint, const QUuid& rel) const {
    return applied().isLocked(endpoint, rel);
}

QList<PropertyKind> ShapeEditor::allowedKinds(const QUuid& property, const PropertyOwner& owner) const {
    return applied().allowedKinds(schema(), property, owner);
}

int ShapeEditor::missingCount(const QUuid& property, const PropertyOwner& owner) const {
    return applied().missingCount(property, owner);
}

QStringList ShapeEditor::distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const {
    return applied().distinctValues(property, owner, limit);
}

ShapeMergeResult ShapeEditor::applyShapeDraft(const ShapeDraft& draft) {
    ShapeMergeResult result;
    const bool changed = editShape(QStringLiteral("Build Shape with AI"), [&](GraphSchema& schema) {
        result = ShapeDesigner::merge(schema, draft);
    });
    return changed ? result : ShapeMergeResult{};
}

// -- The pattern of every shape edit -------------------------------------------------------------------

bool ShapeEditor::refuseShapeEdit() {
    if (m_core.graphUnavailable()) {
        m_core.setNotice(graphClosedForShape);
        return true;
    }
    return !m_core.writable();
}

void ShapeEditor::commitShape(const GraphSchema& after, const QString& actionName,
                              const std::optional<QList<MovedValue>>& putBack) {
    const GraphSchema before = schema();
    const SessionCore::ShapeChange change = m_core.applyShape(after, putBack ? &*putBack : nullptr);
    // A migration that deleted data has cleared the history: nothing may reach back over it.
    if (change.outcome != SessionCore::ShapeOutcome::AppliedLost) {
        // Undoing a change puts back exactly the values it moved; redoing it runs the change again.
        registerSchemaUndo(before, actionName,
                           putBack ? std::nullopt : std::optional<QList<MovedValue>>(change.moved));
    }
    pruneSelection();
}

void ShapeEditor::registerSchemaUndo(const GraphSchema& previous, const QString& actionName,
                                     const std::optional<QList<MovedValue>>& putBack) {
    m_core.registerUndo(actionName, [this, previous, actionName, putBack] {
        if (refuseShapeEdit()) {
            m_core.undoStack()->refuse();
            return;
        }
        // No plain Undo deletes data.
        if (losesData(schema(), previous) ||
            (m_core.project().appliedSchema && losesData(*m_core.project().appliedSchema, previous))) {
            m_core.setNotice(cantUndoFurther);
            m_core.undoStack()->refuse();
            return;
        }
        commitShape(previous, actionName, putBack);
    });
}

bool ShapeEditor::editShape(const QString& actionName, const std::function<void(GraphSchema&)>& change) {
    if (refuseShapeEdit())
        return false;
    GraphSchema after = schema();
    change(after);
    if (after == schema())
        return false;
    editShapeAsking(actionName, after, QStringLiteral("%1?").arg(actionName), describeLoss, actionName);
    return true;
}

void ShapeEditor::editShapeAsking(const QString& actionName, const GraphSchema& after, const QString& title,
                                  const std::function<QString(const DataLoss&)>& describe,
                                  const QString& button) {
    if (refuseShapeEdit() || after == schema())
        return;
    const DataLoss loss = dataLoss(m_core.project().appliedSchema.value_or(schema()), after);
    if (!loss.any()) {
        commitShape(after, actionName);
        return;
    }
    DataLossConfirmation confirmation;
    confirmation.title = title;
    confirmation.message = describe(loss);
    confirmation.actionTitle = button;
    // The shape the person agreed to is the one carried out, if nothing else changed it meanwhile; and
    // when records came or went while the question stood, it is asked again with the new counts.
    confirmation.perform = [this, actionName, after, title, describe, button, loss, expected = schema()] {
        if (refuseShapeEdit() || schema() != expected)
            return;
        if (dataLoss(m_core.project().appliedSchema.value_or(schema()), after) != loss) {
            editShapeAsking(actionName, after, title, describe, button);
            return;
        }
        commitShape(after, actionName);
    };
    m_core.requestConfirmation(std::move(confirmation));
}

void ShapeEditor::setSelection(const std::optional<ShapeSelection>& selection) {
    if (m_selection == selection)
        return;
    m_selection = selection;
    emit selectionChanged();
}

void ShapeEditor::pruneSelection() {
    if (!m_selection)
        return;
    const ShapeSelection& selection = *m_selection;
    bool exists = false;
    switch (selection.kind) {
    case ShapeSelection::Kind::Node:
        exists = schema().nodeType(selection.id) != nullptr;
        break;
    case ShapeSelection::Kind::Rel:
        exists = schema().relType(selection.id) != nullptr;
        break;
    case ShapeSelection::Kind::Connection: {
        const RelType* rel = schema().relType(selection.id);
        exists = rel && rel->endpoints.contains(selection.endpoint);
        break;
    }
    }
    if (!exists)
        setSelection(std::nullopt);
}

// -- Node types --------------------------------------------------------------------------------------

namespace {

// Runs a kit edit inside `editShape`; an edit that can't be made leaves the shape as it is.
template <typename Edit> std::function<void(GraphSchema&)> applying(Edit edit) {
    return [edit](GraphSchema& schema) {
        if (std::optional<GraphSchema> after = edit(schema))
            schema = std::move(*after);
    };
}

} // namespace

std::optional<QUuid> ShapeEditor::addNodeType(QPointF at) {
    const QUuid id = QUuid::createUuid();
    const QUuid nameId = QUuid::createUuid();
    if (!editShape(QStringLiteral("Add Node Type"), [&](GraphSchema& schema) {
            schema = ShapeEdits::addNodeType(schema, at.x(), at.y(), id, nameId);
        }))
        return std::nullopt;
    setSelection(ShapeSelection::node(id));
    return id;
}

void ShapeEditor::deleteNodeType(const QUuid& id) {
    const NodeType* type = schema().nodeType(id);
    auto after = ShapeEdits::deleteNodeType(schema(), id);
    if (!type || !after)
        return;
    editShapeAsking(
        QStringLiteral("Delete Node Type"), *after, QStringLiteral("Delete “%1”?").arg(type->name),
        [](const DataLoss& loss) {
            QString lost = counted(loss.nodes, QStringLiteral("node"));
            if (loss.relationships > 0)
                lost += QStringLiteral(" and ") + counted(loss.relationships, QStringLiteral("connection"));
            const qint64 single = loss.relationships > 0 ? 0 : loss.nodes;
            return lost + QStringLiteral(" %1 deleted from your graph too.").arg(verb(single)) + permanent;
        },
        QStringLiteral("Delete"));
}

void ShapeEditor::renameNodeType(const QUuid& id, const QString& name) {
    editShape(QStringLiteral("Rename Node Type"),
              applying([&](const GraphSchema& s) { return ShapeEdits::renameNodeType(s, id, name); }));
}

void ShapeEditor::setNodeTypeColor(const QUuid& id, const QString& color) {
    editShape(QStringLiteral("Change Colour"),
              applying([&](const GraphSchema& s) { return ShapeEdits::setNodeTypeColor(s, id, color); }));
}

void ShapeEditor::setExpandPriority(ExpandPriority priority, const QUuid& typeId) {
    editShape(QStringLiteral("Change Priority"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::setExpandPriority(s, typeId, priority);
              }));
}

void ShapeEditor::useExistingType(const QUuid& existing, const QUuid& instead) {
    editShape(QStringLiteral("Use Existing Type"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::useExistingType(s, existing, instead);
              }));
}

// -- Relationship types and their connections -----------------------------------------------------------

void ShapeEditor::deleteShapeSelection() {
    if (!m_selection)
        return;
    const ShapeSelection selection = *m_selection;
    switch (selection.kind) {
    case ShapeSelection::Kind::Node:
        deleteNodeType(selection.id);
        break;
    case ShapeSelection::Kind::Rel:
        deleteRelType(selection.id);
        break;
    case ShapeSelection::Kind::Connection:
        if (const RelType* rel = schema().relType(selection.id))
            removeConnection(selection.endpoint, selection.id, rel->isTwoWay(selection.endpoint));
        break;
    }
}

void ShapeEditor::deleteRelType(const QUuid& id) {
    const RelType* rel = schema().relType(id);
    auto after = ShapeEdits::deleteRelType(schema(), id);
    if (!rel || !after)
        return;
    editShapeAsking(
        QStringLiteral("Delete Relationship"), *after, QStringLiteral("Delete %1?").arg(rel->name),
        [](const DataLoss& loss) {
            return counted(loss.relationships, QStringLiteral("connection")) +
                   QStringLiteral(" %1 deleted from your graph too.").arg(verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

void ShapeEditor::removeConnection(const RelEndpoint& endpoint, const QUuid& relId, bool bothWays) {
    const RelType* rel = schema().relType(relId);
    auto after = ShapeEdits::removeConnection(schema(), endpoint, relId, bothWays);
    if (!rel || !after)
        return;
    editShapeAsking(
        QStringLiteral("Remove Connection"), *after,
        QStringLiteral("Delete %1 connecting %2 to %3?")
            .arg(rel->name, nodeTypeName(schema(), endpoint.from), nodeTypeName(schema(), endpoint.to)),
        [](const DataLoss& loss) {
            return QStringLiteral("Its %1 between them %2 deleted from your graph too.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

ConnectionDirection ShapeEditor::direction(const RelEndpoint& endpoint, const QUuid& relId) const {
    return ShapeEdits::direction(schema(), endpoint, relId);
}

void ShapeEditor::setDirection(ConnectionDirection direction, const RelEndpoint& endpoint,
                               const QUuid& relId) {
    const RelType* rel = schema().relType(relId);
    auto after = ShapeEdits::setDirection(schema(), direction, endpoint, relId);
    if (!rel || !after)
        return;
    editShapeAsking(
        QStringLiteral("Change Direction"), *after,
        QStringLiteral("Change which way %1 runs?").arg(rel->name),
        [this](const DataLoss& loss) {
            // The way that goes, as the shape stored it.
            const RelEndpoint lost =
                loss.connections.isEmpty() ? RelEndpoint{} : loss.connections.first().endpoint;
            return QStringLiteral("Its %1 the other way between %2 and %3 %4 deleted from your graph.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            nodeTypeName(schema(), lost.to), nodeTypeName(schema(), lost.from),
                            verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Change Direction"));
}

void ShapeEditor::cycleDirection(const RelEndpoint& endpoint, const QUuid& relId) {
    setDirection(ShapeEdits::nextDirection(schema(), endpoint, relId), endpoint, relId);
}

std::optional<QUuid> ShapeEditor::addRelationship(const QString& name, const QUuid& from, const QUuid& to,
                                                  bool bothWays) {
    if (refuseShapeEdit())
        return std::nullopt;
    auto added = ShapeEdits::addRelationship(schema(), name, from, to, bothWays, QUuid::createUuid());
    if (!added)
        return std::nullopt;
    editShape(QStringLiteral("Add Relationship"), [&](GraphSchema& schema) { schema = added->schema; });
    return added->id;
}

void ShapeEditor::renameRelType(const QUuid& id, const QString& name) {
    const RelType* rel = schema().relType(id);
    auto renamed = ShapeEdits::renameRelType(schema(), id, name, rel && isApplied(*rel));
    if (!rel || !renamed)
        return;
    switch (renamed->outcome) {
    case ShapeEdits::RelRename::Outcome::Renamed:
        editShape(QStringLiteral("Rename Relationship"),
                  [&](GraphSchema& schema) { schema = renamed->schema; });
        return;
    case ShapeEdits::RelRename::Outcome::NameTaken:
        m_core.setNotice(QStringLiteral("There's already a relationship called %1").arg(renamed->name));
        return;
    case ShapeEdits::RelRename::Outcome::Merged:
        break;
    }
    const RelType* other = schema().relType(renamed->other);
    editShapeAsking(
        QStringLiteral("Rename Relationship"), renamed->schema,
        QStringLiteral("Merge %1 with %2?").arg(rel->name, other ? other->name : renamed->name),
        [](const DataLoss& loss) {
            return QStringLiteral("The two become one relationship, and %1 %2 deleted from your graph.")
                       .arg(counted(loss.relationships, QStringLiteral("connection")),
                            verb(loss.relationships)) +
                   permanent;
        },
        QStringLiteral("Merge"));
}

// -- Properties --------------------------------------------------------------------------------------

std::optional<QUuid> ShapeEditor::addProperty(const PropertyOwner& owner) {
    const QUuid id = QUuid::createUuid();
    if (!editShape(QStringLiteral("Add Property"),
                   applying([&](const GraphSchema& s) { return ShapeEdits::addProperty(s, owner, id); })))
        return std::nullopt;
    return id;
}

void ShapeEditor::removeProperty(const QUuid& property, const PropertyOwner& owner) {
    const PropertyDef* definition = propertyOf(schema(), owner, property);
    auto after = ShapeEdits::removeProperty(schema(), property, owner);
    if (!definition || !after)
        return;
    const bool isNode = owner.isNode();
    editShapeAsking(
        QStringLiteral("Delete Property"), *after,
        QStringLiteral("Delete the property “%1”?").arg(definition->name),
        [isNode](const DataLoss& loss) {
            return QStringLiteral("Its values on %1 are deleted from your graph too.")
                       .arg(counted(loss.values,
                                    isNode ? QStringLiteral("node") : QStringLiteral("connection"))) +
                   permanent;
        },
        QStringLiteral("Delete"));
}

void ShapeEditor::renameProperty(const QUuid& property, const PropertyOwner& owner, const QString& name) {
    editShape(QStringLiteral("Rename Property"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::renameProperty(s, property, owner, name);
              }));
}

void ShapeEditor::changeKind(const QUuid& property, const PropertyOwner& owner, PropertyKind kind) {
    if (!allowedKinds(property, owner).contains(kind)) {
        if (isLocked(property, owner))
            m_core.setNotice(lockedKind);
        return;
    }
    editShape(QStringLiteral("Change Kind"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::changeKind(s, property, owner, kind);
              }));
}

void ShapeEditor::setDefault(const QUuid& property, const PropertyOwner& owner,
                             const std::optional<GraphValue>& value) {
    editShape(QStringLiteral("Change Default"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::setDefault(s, property, owner, value);
              }));
}

bool ShapeEditor::setDefaultFromText(const QUuid& property, const PropertyOwner& owner, const QString& text) {
    const PropertyDef* definition = propertyOf(schema(), owner, property);
    if (!definition)
        return false;
    auto value = definition->value(text);
    if (!value) {
        if (auto refusal = refusalOfText(*definition, text))
            m_core.setNotice(*refusal);
        return false;
    }
    setDefault(property, owner, value->isNull() ? std::nullopt : value);
    return true;
}

std::optional<ShapeEditor::Consent> ShapeEditor::optionsConsent(const QUuid& property,
                                                                const PropertyOwner& owner,
                                                                const QStringList& before,
                                                                const QStringList& after) const {
    const AppliedGraph graph = applied();
    const auto column = graph.column(property, owner);
    if (!column)
        return std::nullopt;
    QHash<QString, qint64> held;
    for (const PropertyMap* row : graph.rowsOf(column->table, owner.isNode()))
        if (const std::optional<QString> text = row->value(column->column).stringValue())
            held[*text] += 1;
    const QString word = owner.isNode() ? QStringLiteral("node") : QStringLiteral("connection");

    // The list is read as the migration reads it: one position that differs is a rename of that option.
    std::optional<std::pair<QString, QString>> renamed;
    if (before.size() == after.size()) {
        int differing = 0;
        for (qsizetype i = 0; i < before.size(); ++i)
            if (before[i] != after[i]) {
                ++differing;
                renamed = std::make_pair(before[i], after[i]);
            }
        if (differing != 1)
            renamed.reset();
    }
    if (renamed && held.value(renamed->second) > 0 && held.value(renamed->first) > 0) {
        const auto& [from, to] = *renamed;
        return Consent{QStringLiteral("Merge “%1” into “%2”?").arg(from, to),
                       QStringLiteral("%1 holding “%2” will hold “%3”, like the %4 that %5 it already. Undo "
                                      "separates them again.")
                           .arg(counted(held.value(from), word), from, to, counted(held.value(to), word),
                                held.value(to) == 1 ? QStringLiteral("holds") : QStringLiteral("hold")),
                       QStringLiteral("Merge")};
    }
    QStringList removed;
    qint64 holding = 0;
    for (const QString& option : before) {
        if (after.contains(option) || (renamed && renamed->first == option) || held.value(option) == 0)
            continue;
        removed << QStringLiteral("“%1”").arg(option);
        holding += held.value(option);
    }
    if (removed.isEmpty())
        return std::nullopt;
    return Consent{
        removed.size() == 1 ? QStringLiteral("Remove the option %1?").arg(removed.first())
                            : QStringLiteral("Remove %1 options?").arg(removed.size()),
        QStringLiteral("%1 %2 it. They keep the value, but it isn't one of the options any more.")
            .arg(counted(holding, word), holding == 1 ? QStringLiteral("holds") : QStringLiteral("hold")),
        QStringLiteral("Remove")};
}

void ShapeEditor::setOptions(const QUuid& property, const PropertyOwner& owner, const QStringList& options) {
    if (refuseShapeEdit())
        return;
    const PropertyDef* definition = propertyOf(schema(), owner, property);
    const auto edited = ShapeEdits::setOptions(schema(), property, owner, options);
    if (!definition || !edited || *edited == schema())
        return;
    const GraphSchema after = *edited;
    const PropertyDef* changed = propertyOf(after, owner, property);
    const QString action = QStringLiteral("Change Options");
    const auto consent = optionsConsent(property, owner, definition->options.value_or(QStringList()),
                                        changed->options.value_or(QStringList()));
    if (!consent) {
        commitShape(after, action);
        return;
    }
    DataLossConfirmation confirmation;
    confirmation.title = consent->title;
    confirmation.message = consent->message;
    confirmation.actionTitle = consent->button;
    // Asked again when the rows changed while the question stood.
    confirmation.perform = [this, property, owner, options, after, action, consent = *consent,
                            expected = schema()] {
        if (refuseShapeEdit() || schema() != expected)
            return;
        const PropertyDef* current = propertyOf(schema(), owner, property);
        const PropertyDef* next = propertyOf(after, owner, property);
        if (!current || !next)
            return;
        if (optionsConsent(property, owner, current->options.value_or(QStringList()),
                           next->options.value_or(QStringList())) != consent) {
            setOptions(property, owner, options);
            return;
        }
        commitShape(after, action);
    };
    m_core.requestConfirmation(std::move(confirmation));
}

void ShapeEditor::setTitleProperty(const PropertyOwner& owner, const std::optional<QUuid>& property) {
    editShape(QStringLiteral("Change Title"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::setTitleProperty(s, owner, property);
              }));
}

void ShapeEditor::setMarkProperty(const PropertyOwner& owner, const std::optional<QUuid>& property) {
    editShape(QStringLiteral("Change Mark"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::setMarkProperty(s, owner, property);
              }));
}

void ShapeEditor::moveProperty(const QUuid& property, const PropertyOwner& owner, int toIndex) {
    editShape(QStringLiteral("Move Property"), applying([&](const GraphSchema& s) {
                  return ShapeEdits::moveProperty(s, property, owner, toIndex);
              }));
}

void ShapeEditor::setEmbedded(const QUuid& property, const PropertyOwner& owner, bool on) {
    editShape(
        on ? QStringLiteral("Embed Property") : QStringLiteral("Stop Embedding Property"),
        applying([&](const GraphSchema& s) { return ShapeEdits::setEmbedded(s, property, owner, on); }));
}

} // namespace corvantis

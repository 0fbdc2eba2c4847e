#include "kit/build/GraphReview.h"

#include "kit/support/Json.h"

#include <QJsonArray>
#include <algorithm>
#include <charconv>

namespace corvantis {

namespace {

const QChar unitSeparator(0x1F);

// A 32-bit score written as its shortest decimal, so that 0.955f reads "0.955" in the file.
double shortestDouble(float score) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, score);
    return QByteArray(buffer, int(result.ptr - buffer)).toDouble();
}

QJsonObject propertiesToJson(const PropertyMap& properties) {
    QJsonObject object;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        object.insert(it.key(), it.value().toJson());
    return object;
}

PropertyMap propertiesFromJson(const QJsonObject& object) {
    PropertyMap properties;
    for (auto it = object.begin(); it != object.end(); ++it)
        properties.insert(it.key(), GraphValue::fromJson(it.value()));
    return properties;
}

QStringList stringsFromJson(const QJsonArray& array) {
    QStringList strings;
    for (const QJsonValue& value : array) {
        if (!value.isString())
            throw json::DecodeError("expected a string in the list");
        strings.append(value.toString());
    }
    return strings;
}

qint64 requireInteger(const QJsonObject& object, const QString& key) {
    return static_cast<qint64>(json::requireDouble(object, key));
}

QJsonObject objectAt(const QJsonArray& array, qsizetype i) {
    if (!array.at(i).isObject())
        throw json::DecodeError("expected an object in the list");
    return array.at(i).toObject();
}

} // namespace

// -- Small queries ---------------------------------------------------------------------------------------

QStringList GraphReview::Change::kept() const {
    if (!include)
        return {};
    QStringList list;
    for (const QString& id : found())
        if (!excluded.contains(id))
            list.append(id);
    return list;
}

QStringList GraphReview::Change::keptNodes() const {
    if (!include)
        return {};
    QStringList list;
    for (const QString& id : nodes)
        if (!excluded.contains(id))
            list.append(id);
    return list;
}

void GraphReview::Change::take(const QueryOutput& output, const QHash<QString, NodeRecord>& graphNodes,
                               const QHash<QString, RelRecord>& graphRels) {
    QSet<QString> seen;
    QStringList ids;
    std::function<void(const GraphValue&)> walk = [&](const GraphValue& value) {
        auto add = [&](const QString& id) {
            if (!seen.contains(id)) {
                seen.insert(id);
                ids.append(id);
            }
        };
        if (const NodeRecord* node = value.asNode()) {
            add(node->id);
        } else if (const RelRecord* rel = value.asRelationship()) {
            add(rel->id);
        } else if (const GraphPath* path = value.asPath()) {
            for (const NodeRecord& node : path->nodes)
                add(node.id);
            for (const RelRecord& rel : path->relationships)
                add(rel.id);
        } else if (const GraphValue::List* list = value.asList()) {
            for (const GraphValue& item : *list)
                walk(item);
        } else if (const GraphValue::Map* map = value.asMap()) {
            for (const GraphValue& item : *map)
                walk(item);
        }
    };
    for (const auto& row : output.rows)
        for (const GraphValue& value : row)
            walk(value);
    nodes.clear();
    relationships.clear();
    for (const QString& id : std::as_const(ids)) {
        if (graphNodes.contains(id))
            nodes.append(id);
        else if (graphRels.contains(id))
            relationships.append(id);
    }
    QSet<QString> stillFound(nodes.begin(), nodes.end());
    for (const QString& id : std::as_const(relationships))
        stillFound.insert(id);
    excluded.intersect(stillFound);
    problem.reset();
    truncated = output.rows.size() < output.totalRows;
}

QString GraphReview::Blocker::text() const {
    switch (kind) {
    case Kind::NodeLeftOut:
        return QStringLiteral("a node is left out");
    case Kind::NodeRemoved:
        return QStringLiteral("a node is being removed");
    case Kind::AlreadyInGraph:
        return QStringLiteral("already in your graph");
    }
    return {};
}

const GraphReview::Node* GraphReview::node(const QString& ref) const {
    for (const Node& candidate : nodes)
        if (candidate.id == ref)
            return &candidate;
    return nullptr;
}

GraphReview::Node* GraphReview::node(const QString& ref) {
    for (Node& candidate : nodes)
        if (candidate.id == ref)
            return &candidate;
    return nullptr;
}

QSet<QString> GraphReview::removing() const {
    QSet<QString> ids;
    for (const Change& change : changes)
        if (change.action == Change::Action::Remove)
            for (const QString& id : change.keptNodes())
                ids.insert(id);
    return ids;
}

QSet<QString> GraphReview::removingRelationships(const QList<RelRecord>& rels) const {
    QSet<QString> kept;
    for (const Change& change : changes)
        if (change.action == Change::Action::Remove)
            for (const QString& id : change.kept())
                kept.insert(id);
    const QSet<QString> nodesGoing = removing();
    QSet<QString> ids;
    for (const RelRecord& rel : rels)
        if (kept.contains(rel.id) || nodesGoing.contains(rel.from) || nodesGoing.contains(rel.to))
            ids.insert(rel.id);
    return ids;
}

QSet<QString> GraphReview::keys(const QList<RelRecord>& rels) {
    QSet<QString> set;
    set.reserve(rels.size());
    for (const RelRecord& rel : rels)
        set.insert(key(rel.label, rel.from, rel.to));
    return set;
}

QSet<QString> GraphReview::keysAfterRemoving(const QList<RelRecord>& rels) const {
    const QSet<QString> going = removingRelationships(rels);
    QSet<QString> set;
    for (const RelRecord& rel : rels)
        if (!going.contains(rel.id))
            set.insert(key(rel.label, rel.from, rel.to));
    return set;
}

QString GraphReview::key(const QString& label, const QString& from, const QString& to) {
    return label + unitSeparator + from + unitSeparator + to;
}

std::optional<QString> GraphReview::key(const End& end) const {
    if (!end.isDraft())
        return end.value;
    const Node* drafted = node(end.value);
    if (!drafted || !drafted->include)
        return std::nullopt;
    if (drafted->target)
        return *drafted->target;
    return QStringLiteral("draft:") + end.value;
}

qint64 GraphReview::includedCount() const {
    qint64 count = 0;
    for (const Node& candidate : nodes)
        count += candidate.include ? 1 : 0;
    for (const Relationship& rel : relationships)
        count += rel.include ? 1 : 0;
    for (const Change& change : changes)
        count += change.kept().size();
    return count;
}

bool GraphReview::isUntitled(const Node& candidate, const GraphSchema& schema) const {
    if (!candidate.include || candidate.target)
        return false;
    const NodeType* type = schema.nodeType(candidate.type);
    if (!type || !type->title())
        return false;
    return !candidate.properties.value(type->title()->column()).titleText();
}

bool GraphReview::hasUntitled(const GraphSchema& schema) const {
    return std::any_of(nodes.begin(), nodes.end(), [&](const Node& n) { return isUntitled(n, schema); });
}

// -- Matches by meaning --------------------------------------------------------------------------------

void GraphReview::suggest(const QList<QPair<QString, float>>& hits, const QString& ref,
                          float preselectAbove) {
    Node* target = node(ref);
    if (!target)
        return;
    QList<QPair<QString, float>> sorted = hits;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    for (const auto& hit : std::as_const(sorted)) {
        const bool present = std::any_of(target->matches.begin(), target->matches.end(),
                                         [&](const Match& match) { return match.id == hit.first; });
        if (!present)
            target->matches.append({hit.first, hit.second});
    }
    if (!target->target && !sorted.isEmpty() && sorted.first().second >= preselectAbove)
        target->target = sorted.first().first;
}

// -- After a reopening ----------------------------------------------------------------------------------

void GraphReview::forgetMissing(const QSet<QString>& existing, const std::optional<QSet<QString>>& rels) {
    for (Node& candidate : nodes) {
        if (candidate.target && !existing.contains(*candidate.target))
            candidate.target.reset();
        candidate.matches.removeIf([&](const Match& match) { return !existing.contains(match.id); });
    }
    relationships.removeIf([&](const Relationship& rel) {
        return (!rel.from.isDraft() && !existing.contains(rel.from.value)) ||
               (!rel.to.isDraft() && !existing.contains(rel.to.value));
    });
    for (Change& change : changes) {
        change.nodes.removeIf([&](const QString& id) { return !existing.contains(id); });
        if (rels)
            change.relationships.removeIf([&](const QString& id) { return !rels->contains(id); });
        QSet<QString> left(change.nodes.begin(), change.nodes.end());
        for (const QString& id : std::as_const(change.relationships))
            left.insert(id);
        change.excluded.intersect(left);
    }
}

// -- JSON ----------------------------------------------------------------------------------------------

QJsonObject GraphReview::End::toJson() const {
    return QJsonObject{{isDraft() ? QStringLiteral("draft") : QStringLiteral("existing"),
                        QJsonObject{{QStringLiteral("_0"), value}}}};
}

GraphReview::End GraphReview::End::fromJson(const QJsonObject& json) {
    if (json.size() != 1)
        throw json::DecodeError("Invalid number of keys found, expected one.");
    const QString which = json.begin().key();
    if (!json.begin().value().isObject())
        throw json::DecodeError("expected an object");
    const QString text = json::requireString(json.begin().value().toObject(), QStringLiteral("_0"));
    if (which == QLatin1String("draft"))
        return draft(text);
    if (which == QLatin1String("existing"))
        return existing(text);
    throw json::DecodeError("unknown end");
}

QJsonObject GraphReview::toJson() const {
    QJsonArray nodeArray;
    for (const Node& n : nodes) {
        QJsonArray matchArray;
        for (const Match& match : n.matches) {
            QJsonObject m{{QStringLiteral("id"), match.id}};
            if (match.score)
                m.insert(QStringLiteral("score"), shortestDouble(*match.score));
            matchArray.append(m);
        }
        QJsonObject object{{QStringLiteral("id"), n.id},
                           {QStringLiteral("type"), json::uuidText(n.type)},
                           {QStringLiteral("properties"), propertiesToJson(n.properties)},
                           {QStringLiteral("include"), n.include},
                           {QStringLiteral("matches"), matchArray}};
        json::putOptional(object, QStringLiteral("target"), n.target);
        nodeArray.append(object);
    }
    QJsonArray relArray;
    for (const Relationship& rel : relationships)
        relArray.append(QJsonObject{{QStringLiteral("id"), rel.id},
                                    {QStringLiteral("type"), json::uuidText(rel.type)},
                                    {QStringLiteral("from"), rel.from.toJson()},
                                    {QStringLiteral("to"), rel.to.toJson()},
                                    {QStringLiteral("properties"), propertiesToJson(rel.properties)},
                                    {QStringLiteral("include"), rel.include}});
    QJsonArray changeArray;
    for (const Change& change : changes) {
        QStringList excluded(change.excluded.begin(), change.excluded.end());
        excluded.sort();
        QJsonObject object{
            {QStringLiteral("id"), change.id},
            {QStringLiteral("action"),
             change.action == Change::Action::Remove ? QStringLiteral("remove") : QStringLiteral("update")},
            {QStringLiteral("summary"), change.summary},
            {QStringLiteral("query"), change.query},
            {QStringLiteral("properties"), DraftProperties::toJson(change.properties)},
            {QStringLiteral("nodes"), QJsonArray::fromStringList(change.nodes)},
            {QStringLiteral("relationships"), QJsonArray::fromStringList(change.relationships)},
            {QStringLiteral("excluded"), QJsonArray::fromStringList(excluded)},
            {QStringLiteral("include"), change.include},
            {QStringLiteral("truncated"), change.truncated}};
        json::putOptional(object, QStringLiteral("problem"), change.problem);
        changeArray.append(object);
    }
    return QJsonObject{{QStringLiteral("nodes"), nodeArray},
                       {QStringLiteral("relationships"), relArray},
                       {QStringLiteral("changes"), changeArray},
                       {QStringLiteral("skipped"), QJsonArray::fromStringList(skipped)},
                       {QStringLiteral("summary"), summary}};
}

GraphReview GraphReview::fromJson(const QJsonObject& object) {
    GraphReview review;
    const QJsonArray nodeArray = json::requireArray(object, QStringLiteral("nodes"));
    for (qsizetype i = 0; i < nodeArray.size(); ++i) {
        const QJsonObject o = objectAt(nodeArray, i);
        Node n;
        n.id = json::requireString(o, QStringLiteral("id"));
        n.type = json::requireUuid(o, QStringLiteral("type"));
        n.properties = propertiesFromJson(json::requireObject(o, QStringLiteral("properties")));
        n.include = json::requireBool(o, QStringLiteral("include"));
        n.target = json::optionalString(o, QStringLiteral("target"));
        const QJsonArray matchArray = json::requireArray(o, QStringLiteral("matches"));
        for (qsizetype j = 0; j < matchArray.size(); ++j) {
            const QJsonObject m = objectAt(matchArray, j);
            auto score = json::optionalDouble(m, QStringLiteral("score"));
            n.matches.append({json::requireString(m, QStringLiteral("id")),
                              score ? std::optional<float>(float(*score)) : std::nullopt});
        }
        review.nodes.append(n);
    }
    const QJsonArray relArray = json::requireArray(object, QStringLiteral("relationships"));
    for (qsizetype i = 0; i < relArray.size(); ++i) {
        const QJsonObject o = objectAt(relArray, i);
        Relationship rel;
        rel.id = requireInteger(o, QStringLiteral("id"));
        rel.type = json::requireUuid(o, QStringLiteral("type"));
        rel.from = End::fromJson(json::requireObject(o, QStringLiteral("from")));
        rel.to = End::fromJson(json::requireObject(o, QStringLiteral("to")));
        rel.properties = propertiesFromJson(json::requireObject(o, QStringLiteral("properties")));
        rel.include = json::requireBool(o, QStringLiteral("include"));
        review.relationships.append(rel);
    }
    if (auto changeArray = json::optionalArray(object, QStringLiteral("changes"))) {
        for (qsizetype i = 0; i < changeArray->size(); ++i) {
            const QJsonObject o = objectAt(*changeArray, i);
            Change change;
            change.id = requireInteger(o, QStringLiteral("id"));
            const QString action = json::requireString(o, QStringLiteral("action"));
            if (action == QLatin1String("remove"))
                change.action = Change::Action::Remove;
            else if (action == QLatin1String("update"))
                change.action = Change::Action::Update;
            else
                throw json::DecodeError("unknown action");
            change.summary = json::requireString(o, QStringLiteral("summary"));
            change.query = json::requireString(o, QStringLiteral("query"));
            change.properties =
                DraftProperties::fromJson(json::requireArray(o, QStringLiteral("properties")));
            change.nodes = stringsFromJson(json::requireArray(o, QStringLiteral("nodes")));
            change.relationships = stringsFromJson(json::requireArray(o, QStringLiteral("relationships")));
            const QStringList excluded = stringsFromJson(json::requireArray(o, QStringLiteral("excluded")));
            change.excluded = QSet<QString>(excluded.begin(), excluded.end());
            change.include = json::requireBool(o, QStringLiteral("include"));
            change.problem = json::optionalString(o, QStringLiteral("problem"));
            change.truncated = json::requireBool(o, QStringLiteral("truncated"));
            review.changes.append(change);
        }
    }
    review.skipped = stringsFromJson(json::requireArray(object, QStringLiteral("skipped")));
    review.summary = json::requireString(object, QStringLiteral("summary"));
    return review;
}

} // namespace corvantis

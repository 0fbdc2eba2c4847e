#include "kit/mcp/MCPDraftReading.h"

#include "kit/mcp/CorvantisMCP.h"

#include <QJsonArray>

namespace corvantis::CorvantisMCP {

namespace {

[[noreturn]] void misfit() {
    throw DraftFormatError(QStringLiteral("the draft didn't match propose_changes's format"));
}

QString textOf(const QJsonObject& object, const QString& key) {
    return text(object.value(key)).value_or(QString());
}

// A list that may be missing; anything but a list of objects fails through `fail`.
template <typename Fail>
QList<QJsonObject> objects(const QJsonObject& arguments, const QString& key, Fail fail) {
    const QJsonValue value = arguments.value(key);
    QList<QJsonObject> out;
    if (value.isUndefined() || value.isNull())
        return out;
    if (!value.isArray())
        fail();
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isObject())
            fail();
        out << item.toObject();
    }
    return out;
}

QJsonArray draftProperties(const QJsonValue& value) {
    QJsonArray out;
    auto add = [&](const QJsonValue& name, const QJsonValue& given) {
        const std::optional<QString> key = text(name);
        const std::optional<QString> read = text(given);
        if (key && read)
            out.append(QJsonObject{{QStringLiteral("name"), *key}, {QStringLiteral("value"), *read}});
    };
    if (value.isUndefined() || value.isNull())
        return out;
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            add(it.key(), it.value());
        return out;
    }
    if (!value.isArray())
        misfit();
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isObject())
            misfit();
        add(item.toObject().value(QStringLiteral("name")), item.toObject().value(QStringLiteral("value")));
    }
    return out;
}

QJsonArray shapeProperties(const QJsonValue& value) {
    QJsonArray out;
    auto add = [&](const QJsonValue& name, const QJsonValue& kindValue) {
        const QString kind = text(kindValue).value_or(QString()).trimmed().toLower();
        static const QStringList kinds{QStringLiteral("text"), QStringLiteral("number"),
                                       QStringLiteral("link"), QStringLiteral("boolean")};
        if (!kinds.contains(kind))
            throw DraftFormatError(
                QStringLiteral("a property's kind must be one of text, number, link or boolean, "
                               "not “%1”")
                    .arg(text(kindValue).value_or(QString())));
        out.append(QJsonObject{{QStringLiteral("name"), text(name).value_or(QString())},
                               {QStringLiteral("kind"), kind}});
    };
    auto fail = [] {
        throw DraftFormatError(QStringLiteral("the additions didn't match design_shape's format"));
    };
    if (value.isUndefined() || value.isNull())
        return out;
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            add(it.key(), it.value());
        return out;
    }
    if (!value.isArray())
        fail();
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isObject())
            fail();
        add(item.toObject().value(QStringLiteral("name")), item.toObject().value(QStringLiteral("kind")));
    }
    return out;
}

} // namespace

QJsonObject graphDraft(const QJsonObject& arguments) {
    QJsonArray nodes, rels, changes;
    for (const QJsonObject& node : objects(arguments, QStringLiteral("nodes"), misfit))
        nodes.append(QJsonObject{
            {QStringLiteral("ref"), textOf(node, QStringLiteral("ref"))},
            {QStringLiteral("type"), textOf(node, QStringLiteral("type"))},
            {QStringLiteral("properties"), draftProperties(node.value(QStringLiteral("properties")))}});
    for (const QJsonObject& rel : objects(arguments, QStringLiteral("relationships"), misfit))
        rels.append(QJsonObject{
            {QStringLiteral("type"), textOf(rel, QStringLiteral("type"))},
            {QStringLiteral("from"), textOf(rel, QStringLiteral("from"))},
            {QStringLiteral("to"), textOf(rel, QStringLiteral("to"))},
            {QStringLiteral("properties"), draftProperties(rel.value(QStringLiteral("properties")))}});
    for (const QJsonObject& change : objects(arguments, QStringLiteral("changes"), misfit))
        changes.append(QJsonObject{
            {QStringLiteral("action"), textOf(change, QStringLiteral("action"))},
            {QStringLiteral("description"), textOf(change, QStringLiteral("description"))},
            {QStringLiteral("query"), textOf(change, QStringLiteral("query"))},
            {QStringLiteral("properties"), draftProperties(change.value(QStringLiteral("properties")))}});
    return QJsonObject{{QStringLiteral("nodes"), nodes},
                       {QStringLiteral("relationships"), rels},
                       {QStringLiteral("changes"), changes},
                       {QStringLiteral("summary"), textOf(arguments, QStringLiteral("summary"))}};
}

QJsonObject shapeDraft(const QJsonObject& arguments) {
    auto fail = [] {
        throw DraftFormatError(QStringLiteral("the additions didn't match design_shape's format"));
    };
    QJsonArray types, rels;
    for (const QJsonObject& type : objects(arguments, QStringLiteral("types"), fail))
        types.append(QJsonObject{
            {QStringLiteral("name"), textOf(type, QStringLiteral("name"))},
            {QStringLiteral("title"), textOf(type, QStringLiteral("title"))},
            {QStringLiteral("properties"), shapeProperties(type.value(QStringLiteral("properties")))}});
    for (const QJsonObject& rel : objects(arguments, QStringLiteral("relationships"), fail))
        rels.append(QJsonObject{
            {QStringLiteral("name"), textOf(rel, QStringLiteral("name"))},
            {QStringLiteral("from"), textOf(rel, QStringLiteral("from"))},
            {QStringLiteral("to"), textOf(rel, QStringLiteral("to"))},
            {QStringLiteral("properties"), shapeProperties(rel.value(QStringLiteral("properties")))}});
    return QJsonObject{{QStringLiteral("types"), types},
                       {QStringLiteral("relationships"), rels},
                       {QStringLiteral("summary"), textOf(arguments, QStringLiteral("summary"))}};
}

bool isEmptyGraphDraft(const QJsonObject& draft) {
    return draft.value(QStringLiteral("nodes")).toArray().isEmpty() &&
           draft.value(QStringLiteral("relationships")).toArray().isEmpty() &&
           draft.value(QStringLiteral("changes")).toArray().isEmpty();
}

bool isEmptyShapeDraft(const QJsonObject& draft) {
    return draft.value(QStringLiteral("types")).toArray().isEmpty() &&
           draft.value(QStringLiteral("relationships")).toArray().isEmpty();
}

} // namespace corvantis::CorvantisMCP

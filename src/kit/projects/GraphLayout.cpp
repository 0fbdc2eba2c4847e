#include "kit/projects/GraphLayout.h"

#include "kit/support/Json.h"

#include <QJsonArray>
#include <algorithm>

namespace corvantis {

namespace {

// Sets are written sorted, so that the same layout always gives the same file.
QJsonArray idArray(const QSet<QString>& ids) {
    QStringList sorted(ids.begin(), ids.end());
    std::sort(sorted.begin(), sorted.end());
    return QJsonArray::fromStringList(sorted);
}

QSet<QString> idSet(const QJsonArray& array) {
    QSet<QString> ids;
    for (const auto& value : array) {
        if (!value.isString())
            throw json::DecodeError("a set of ids holds something else than text");
        ids.insert(value.toString());
    }
    return ids;
}

} // namespace

QJsonObject GraphLayout::toJson() const {
    QJsonObject points;
    for (auto it = positions.begin(); it != positions.end(); ++it)
        points.insert(it.key(), QJsonObject{{"x", it->x}, {"y", it->y}});
    QJsonObject json{{"positions", points}, {"pinned", idArray(pinned)}};
    if (shown)
        json.insert("shown", idArray(*shown));
    if (parents) {
        QJsonObject map;
        for (auto it = parents->begin(); it != parents->end(); ++it)
            map.insert(it.key(), it.value());
        json.insert("parents", map);
    }
    return json;
}

GraphLayout GraphLayout::fromJson(const QJsonObject& json) {
    GraphLayout layout;
    const QJsonObject points = json::requireObject(json, "positions");
    for (auto it = points.begin(); it != points.end(); ++it) {
        if (!it->isObject())
            throw json::DecodeError("a position is not an object");
        QJsonObject point = it->toObject();
        layout.positions.insert(it.key(), {json::requireDouble(point, "x"), json::requireDouble(point, "y")});
    }
    layout.pinned = idSet(json::requireArray(json, "pinned"));
    if (auto shown = json::optionalArray(json, "shown"))
        layout.shown = idSet(*shown);
    if (auto parents = json::optionalObject(json, "parents")) {
        QMap<QString, QString> map;
        for (auto it = parents->begin(); it != parents->end(); ++it) {
            if (!it->isString())
                throw json::DecodeError("a parent is not an id");
            map.insert(it.key(), it->toString());
        }
        layout.parents = map;
    }
    return layout;
}

} // namespace corvantis

#include "kit/projects/ProjectExport.h"

#include "kit/store/GraphStoreError.h"
#include "kit/support/Json.h"

#include <QJsonArray>

namespace corvantis {

QString ProjectExport::foreignFileMessage() {
    return QStringLiteral("This file isn't a Corvantis project export.");
}

QByteArray ProjectExport::encode() const {
    QJsonArray nodeArray;
    for (const NodeRecord& node : nodes)
        nodeArray.append(node.toJson());
    QJsonArray relArray;
    for (const RelRecord& rel : relationships)
        relArray.append(rel.toJson());
    QJsonObject object{{"format", QString::fromLatin1(formatName)},
                       {"version", version},
                       {"project", project.toJson()},
                       {"nodes", nodeArray},
                       {"relationships", relArray},
                       {"layout", layout.toJson()}};
    if (notes)
        object.insert("notes", notes->toJson());
    if (attachments && !attachments->isEmpty()) {
        QJsonObject files;
        for (auto it = attachments->cbegin(); it != attachments->cend(); ++it)
            files.insert(it.key(), QString::fromLatin1(it.value().toBase64()));
        object.insert("attachments", files);
    }
    return json::encode(object);
}

ProjectExport ProjectExport::decode(const QByteArray& data) {
    try {
        const QJsonObject object = json::decodeObject(data);
        if (json::requireString(object, "format") != QLatin1String(formatName))
            throw json::DecodeError("another format");
        ProjectExport result;
        result.version = object.value("version").toInt(1);
        result.project = Project::fromJson(json::requireObject(object, "project"));
        for (const QJsonValue& value : json::requireArray(object, "nodes")) {
            if (!value.isObject())
                throw json::DecodeError("a node is not an object");
            result.nodes.append(NodeRecord::fromJson(value.toObject()));
        }
        for (const QJsonValue& value : json::requireArray(object, "relationships")) {
            if (!value.isObject())
                throw json::DecodeError("a relationship is not an object");
            result.relationships.append(RelRecord::fromJson(value.toObject()));
        }
        result.layout = GraphLayout::fromJson(json::requireObject(object, "layout"));
        if (auto notes = json::optionalObject(object, "notes")) {
            result.notes = NoteBook::fromJson(*notes);
            result.notes->repair();
        }
        if (auto files = json::optionalObject(object, "attachments")) {
            QMap<QString, QByteArray> decoded;
            for (auto it = files->constBegin(); it != files->constEnd(); ++it) {
                if (!it.value().isString())
                    throw json::DecodeError("an attachment is not base64 text");
                auto bytes = QByteArray::fromBase64Encoding(it.value().toString().toLatin1(),
                                                            QByteArray::AbortOnBase64DecodingErrors);
                if (!bytes)
                    throw json::DecodeError("an attachment is not base64 text");
                decoded.insert(it.key(), *bytes);
            }
            result.attachments = decoded;
        }
        return result;
    } catch (const json::DecodeError&) {
        throw GraphStoreError(GraphStoreError::Kind::Constraint, foreignFileMessage());
    }
}

} // namespace corvantis

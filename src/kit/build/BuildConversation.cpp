#include "kit/build/BuildConversation.h"

#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <algorithm>

namespace corvantis {

namespace {

const QStringList turnStatuses{QStringLiteral("running"), QStringLiteral("done"), QStringLiteral("failed"),
                               QStringLiteral("stopped")};
const QStringList stepStatuses{QStringLiteral("working"), QStringLiteral("done"), QStringLiteral("failed")};

void putDate(QJsonObject& object, const QString& key, const std::optional<QDateTime>& date) {
    if (date)
        object.insert(key, json::dateText(*date));
}

std::optional<QDateTime> optionalDate(const QJsonObject& object, const QString& key) {
    auto text = json::optionalString(object, key);
    if (!text)
        return std::nullopt;
    auto date = json::parseDate(*text);
    if (!date)
        throw json::DecodeError("unreadable date");
    return date;
}

std::optional<qint64> optionalCount(const QJsonObject& object, const QString& key) {
    auto value = json::optionalDouble(object, key);
    return value ? std::optional<qint64>(static_cast<qint64>(*value)) : std::nullopt;
}

qint64 requireCount(const QJsonObject& object, const QString& key) {
    return static_cast<qint64>(json::requireDouble(object, key));
}

template <typename T> QList<T> listFrom(const QJsonArray& array) {
    QList<T> list;
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw json::DecodeError("expected an object in the list");
        list.append(T::fromJson(value.toObject()));
    }
    return list;
}

template <typename T> QJsonArray listTo(const QList<T>& list) {
    QJsonArray array;
    for (const T& item : list)
        array.append(item.toJson());
    return array;
}

QString conversationFile(const QString& projectFolder, const QUuid& id) {
    return BuildHistory::folder(projectFolder) + QStringLiteral("/") + json::uuidText(id) +
           QStringLiteral(".json");
}

QString indexFile(const QString& projectFolder) {
    return BuildHistory::folder(projectFolder) + QStringLiteral("/index.json");
}

void sortNewestFirst(QList<BuildConversation::Summary>& list) {
    std::stable_sort(list.begin(), list.end(),
                     [](const auto& a, const auto& b) { return a.updated > b.updated; });
}

void writeIndex(const QList<BuildConversation::Summary>& list, const QString& projectFolder) {
    QJsonArray array;
    for (const auto& summary : list)
        array.append(summary.toJson());
    writeFileAtomically(indexFile(projectFolder),
                        json::encode(QJsonObject{{QStringLiteral("conversations"), array}}));
}

std::optional<QList<BuildConversation::Summary>> readIndex(const QString& projectFolder) {
    try {
        const QJsonObject object = json::decodeObject(readFile(indexFile(projectFolder)));
        return listFrom<BuildConversation::Summary>(
            json::requireArray(object, QStringLiteral("conversations")));
    } catch (const json::DecodeError&) {
        return std::nullopt;
    } catch (const FileError&) {
        return std::nullopt;
    }
}

} // namespace

QString BuildKinds::id(BuildKind kind) {
    return kind == BuildKind::Graph ? QStringLiteral("graph") : QStringLiteral("shape");
}

std::optional<BuildKind> BuildKinds::fromId(const QString& id) {
    if (id == QLatin1String("graph"))
        return BuildKind::Graph;
    if (id == QLatin1String("shape"))
        return BuildKind::Shape;
    return std::nullopt;
}

QString statusId(BuildTurnRecord::Status status) {
    return turnStatuses.at(int(status));
}

// -- Steps and attachments -----------------------------------------------------------------------------

QJsonObject BuildStep::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("title"), title},
                       {QStringLiteral("detail"), detail},
                       {QStringLiteral("status"), stepStatuses.at(int(status))},
                       {QStringLiteral("started"), json::dateText(started)},
                       {QStringLiteral("thinks"), thinks}};
    putDate(object, QStringLiteral("finished"), finished);
    return object;
}

BuildStep BuildStep::fromJson(const QJsonObject& object) {
    BuildStep step;
    step.id = json::requireUuid(object, QStringLiteral("id"));
    step.title = json::requireString(object, QStringLiteral("title"));
    step.detail = json::requireString(object, QStringLiteral("detail"));
    const int status = stepStatuses.indexOf(json::requireString(object, QStringLiteral("status")));
    if (status < 0)
        throw json::DecodeError("unknown step status");
    step.status = Status(status);
    step.started = json::requireDate(object, QStringLiteral("started"));
    step.finished = optionalDate(object, QStringLiteral("finished"));
    step.thinks = json::requireBool(object, QStringLiteral("thinks"));
    return step;
}

QJsonObject BuildAttachmentRecord::toJson() const {
    QJsonObject object{{QStringLiteral("title"), title}};
    if (file)
        object.insert(QStringLiteral("file"), file->toString(QUrl::FullyEncoded));
    if (thumbnail)
        object.insert(QStringLiteral("thumbnail"), QString::fromLatin1(thumbnail->toBase64()));
    return object;
}

BuildAttachmentRecord BuildAttachmentRecord::fromJson(const QJsonObject& object) {
    BuildAttachmentRecord record;
    record.title = json::requireString(object, QStringLiteral("title"));
    if (auto file = json::optionalString(object, QStringLiteral("file")))
        record.file = QUrl(*file);
    if (auto thumbnail = json::optionalString(object, QStringLiteral("thumbnail")))
        record.thumbnail = QByteArray::fromBase64(thumbnail->toLatin1());
    return record;
}

// -- Turns ---------------------------------------------------------------------------------------------

void BuildTurnRecord::settle() {
    if (status != Status::Running)
        return;
    status = Status::Stopped;
    if (!finished) {
        std::optional<QDateTime> latest;
        for (const BuildStep& step : std::as_const(steps))
            if (step.finished && (!latest || *step.finished > *latest))
                latest = step.finished;
        finished = latest.value_or(started);
    }
    for (BuildStep& step : steps)
        if (step.status == BuildStep::Status::Working) {
            step.status = BuildStep::Status::Failed;
            step.finished = finished;
        }
    if (thinkingStarted && !thinkingFinished)
        thinkingFinished = finished;
}

QJsonObject BuildTurnRecord::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("text"), text},
                       {QStringLiteral("attachments"), listTo(attachments)},
                       {QStringLiteral("model"), model},
                       {QStringLiteral("effort"), effort.id()},
                       {QStringLiteral("started"), json::dateText(started)},
                       {QStringLiteral("status"), statusId(status)},
                       {QStringLiteral("steps"), listTo(steps)},
                       {QStringLiteral("thinking"), thinking},
                       {QStringLiteral("summary"), summary},
                       {QStringLiteral("discarded"), discarded},
                       {QStringLiteral("revised"), revised},
                       {QStringLiteral("undone"), undone}};
    putDate(object, QStringLiteral("finished"), finished);
    putDate(object, QStringLiteral("thinkingStarted"), thinkingStarted);
    putDate(object, QStringLiteral("thinkingFinished"), thinkingFinished);
    json::putOptional(object, QStringLiteral("error"), error);
    if (message)
        object.insert(QStringLiteral("message"), message->toJson());
    if (draftNodes)
        object.insert(QStringLiteral("draftNodes"), *draftNodes);
    if (draftRelationships)
        object.insert(QStringLiteral("draftRelationships"), *draftRelationships);
    if (draftChanges)
        object.insert(QStringLiteral("draftChanges"), *draftChanges);
    if (added)
        object.insert(QStringLiteral("added"), added->toJson());
    if (shape)
        object.insert(QStringLiteral("shape"), shape->toJson());
    json::putOptional(object, QStringLiteral("source"), source);
    return object;
}

BuildTurnRecord BuildTurnRecord::fromJson(const QJsonObject& object) {
    BuildTurnRecord turn;
    turn.id = json::requireUuid(object, QStringLiteral("id"));
    turn.text = json::requireString(object, QStringLiteral("text"));
    turn.attachments =
        listFrom<BuildAttachmentRecord>(json::requireArray(object, QStringLiteral("attachments")));
    turn.model = json::requireString(object, QStringLiteral("model"));
    auto effort = AIEffort::fromID(json::requireString(object, QStringLiteral("effort")));
    if (!effort)
        throw json::DecodeError("unknown effort");
    turn.effort = *effort;
    turn.started = json::requireDate(object, QStringLiteral("started"));
    turn.finished = optionalDate(object, QStringLiteral("finished"));
    const int status = turnStatuses.indexOf(json::requireString(object, QStringLiteral("status")));
    if (status < 0)
        throw json::DecodeError("unknown turn status");
    turn.status = Status(status);
    turn.steps = listFrom<BuildStep>(json::requireArray(object, QStringLiteral("steps")));
    turn.thinking = json::requireString(object, QStringLiteral("thinking"));
    turn.thinkingStarted = optionalDate(object, QStringLiteral("thinkingStarted"));
    turn.thinkingFinished = optionalDate(object, QStringLiteral("thinkingFinished"));
    turn.summary = json::requireString(object, QStringLiteral("summary"));
    turn.error = json::optionalString(object, QStringLiteral("error"));
    if (auto message = json::optionalObject(object, QStringLiteral("message")))
        turn.message = BuildMessage::fromJson(*message);
    turn.draftNodes = optionalCount(object, QStringLiteral("draftNodes"));
    turn.draftRelationships = optionalCount(object, QStringLiteral("draftRelationships"));
    turn.draftChanges = optionalCount(object, QStringLiteral("draftChanges"));
    if (auto added = json::optionalObject(object, QStringLiteral("added")))
        turn.added = GraphAdded::fromJson(*added);
    turn.discarded = json::requireBool(object, QStringLiteral("discarded"));
    turn.revised = json::requireBool(object, QStringLiteral("revised"));
    if (auto shape = json::optionalObject(object, QStringLiteral("shape")))
        turn.shape = ShapeMergeResult::fromJson(*shape);
    turn.undone = json::requireBool(object, QStringLiteral("undone"));
    turn.source = json::optionalString(object, QStringLiteral("source"));
    return turn;
}

// -- Conversations -------------------------------------------------------------------------------------

QJsonObject BuildConversation::Summary::toJson() const {
    return QJsonObject{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("kind"), BuildKinds::id(kind)},
                       {QStringLiteral("title"), title},
                       {QStringLiteral("created"), json::dateText(created)},
                       {QStringLiteral("updated"), json::dateText(updated)},
                       {QStringLiteral("messages"), messages},
                       {QStringLiteral("nodesAdded"), nodesAdded},
                       {QStringLiteral("relationshipsAdded"), relationshipsAdded},
                       {QStringLiteral("typesAdded"), typesAdded},
                       {QStringLiteral("propertiesAdded"), propertiesAdded},
                       {QStringLiteral("hasDraft"), hasDraft}};
}

BuildConversation::Summary BuildConversation::Summary::fromJson(const QJsonObject& object) {
    Summary summary;
    summary.id = json::requireUuid(object, QStringLiteral("id"));
    auto kind = BuildKinds::fromId(json::requireString(object, QStringLiteral("kind")));
    if (!kind)
        throw json::DecodeError("unknown kind");
    summary.kind = *kind;
    summary.title = json::requireString(object, QStringLiteral("title"));
    summary.created = json::requireDate(object, QStringLiteral("created"));
    summary.updated = json::requireDate(object, QStringLiteral("updated"));
    summary.messages = requireCount(object, QStringLiteral("messages"));
    summary.nodesAdded = requireCount(object, QStringLiteral("nodesAdded"));
    summary.relationshipsAdded = requireCount(object, QStringLiteral("relationshipsAdded"));
    summary.typesAdded = requireCount(object, QStringLiteral("typesAdded"));
    summary.propertiesAdded = requireCount(object, QStringLiteral("propertiesAdded"));
    summary.hasDraft = json::requireBool(object, QStringLiteral("hasDraft"));
    return summary;
}

QString BuildConversation::title(const BuildTurnRecord* first) {
    if (!first)
        return QStringLiteral("New conversation");
    const QString line = first->text.section(QLatin1Char('\n'), 0, 0).trimmed();
    if (!line.isEmpty())
        return line.size() <= 120 ? line : line.left(119) + QStringLiteral("…");
    if (!first->attachments.isEmpty())
        return first->attachments.first().title;
    return QStringLiteral("Untitled");
}

BuildConversation::Summary BuildConversation::summary() const {
    Summary row;
    row.id = id;
    row.kind = kind;
    row.title = title(turns.isEmpty() ? nullptr : &turns.first());
    row.created = created;
    row.updated = updated;
    row.messages = turns.size();
    for (const BuildTurnRecord& turn : turns) {
        if (turn.undone)
            continue;
        if (turn.added) {
            row.nodesAdded += turn.added->nodes;
            row.relationshipsAdded += turn.added->relationships;
        }
        if (turn.shape) {
            row.typesAdded += turn.shape->types;
            row.propertiesAdded += turn.shape->properties;
            row.relationshipsAdded += turn.shape->relationships;
        }
    }
    row.hasDraft = review && !review->isEmpty();
    return row;
}

QJsonObject BuildConversation::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("kind"), BuildKinds::id(kind)},
                       {QStringLiteral("created"), json::dateText(created)},
                       {QStringLiteral("updated"), json::dateText(updated)},
                       {QStringLiteral("turns"), listTo(turns)}};
    if (review)
        object.insert(QStringLiteral("review"), review->toJson());
    return object;
}

BuildConversation BuildConversation::fromJson(const QJsonObject& object) {
    BuildConversation conversation;
    conversation.id = json::requireUuid(object, QStringLiteral("id"));
    auto kind = BuildKinds::fromId(json::requireString(object, QStringLiteral("kind")));
    if (!kind)
        throw json::DecodeError("unknown kind");
    conversation.kind = *kind;
    conversation.created = json::requireDate(object, QStringLiteral("created"));
    conversation.updated = json::requireDate(object, QStringLiteral("updated"));
    conversation.turns = listFrom<BuildTurnRecord>(json::requireArray(object, QStringLiteral("turns")));
    if (auto review = json::optionalObject(object, QStringLiteral("review")))
        conversation.review = GraphReview::fromJson(*review);
    return conversation;
}

// -- Files ---------------------------------------------------------------------------------------------

namespace BuildHistory {

QString folder(const QString& projectFolder) {
    return projectFolder + QStringLiteral("/conversations");
}

std::optional<BuildConversation> conversation(const QUuid& id, const QString& projectFolder) {
    try {
        BuildConversation loaded =
            BuildConversation::fromJson(json::decodeObject(readFile(conversationFile(projectFolder, id))));
        for (BuildTurnRecord& turn : loaded.turns)
            turn.settle();
        return loaded;
    } catch (const json::DecodeError&) {
        return std::nullopt;
    } catch (const FileError&) {
        return std::nullopt;
    }
}

QList<BuildConversation::Summary> conversations(const QString& projectFolder) {
    if (auto index = readIndex(projectFolder)) {
        sortNewestFirst(*index);
        return *index;
    }
    QList<BuildConversation::Summary> rebuilt;
    const QDir dir(folder(projectFolder));
    for (const QString& name : dir.entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name)) {
        if (name == QLatin1String("index.json"))
            continue;
        auto id = json::parseUuid(name.chopped(5));
        if (!id)
            continue;
        if (auto loaded = conversation(*id, projectFolder))
            rebuilt.append(loaded->summary());
    }
    sortNewestFirst(rebuilt);
    if (dir.exists()) {
        try {
            writeIndex(rebuilt, projectFolder);
        } catch (const FileError&) {
            // The listing stands without its index; the next listing tries again.
        }
    }
    return rebuilt;
}

void save(const BuildConversation& conversation, const QString& projectFolder) {
    writeFileAtomically(conversationFile(projectFolder, conversation.id),
                        json::encode(conversation.toJson()));
    QList<BuildConversation::Summary> list = conversations(projectFolder);
    list.removeIf([&](const auto& row) { return row.id == conversation.id; });
    list.append(conversation.summary());
    sortNewestFirst(list);
    writeIndex(list, projectFolder);
}

void remove(const QUuid& id, const QString& projectFolder) {
    const QString path = conversationFile(projectFolder, id);
    if (QFile::exists(path) && !QFile::remove(path))
        throw FileError(QStringLiteral("The conversation couldn't be deleted."));
    QList<BuildConversation::Summary> list = conversations(projectFolder);
    list.removeIf([&](const auto& row) { return row.id == id; });
    writeIndex(list, projectFolder);
}

} // namespace BuildHistory

} // namespace corvantis

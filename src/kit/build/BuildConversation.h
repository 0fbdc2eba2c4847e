#pragma once

#include "kit/ai/AIEffort.h"
#include "kit/build/BuildMessage.h"
#include "kit/build/GraphReview.h"
#include "kit/build/ShapeDesigner.h"
#include "kit/graph/GraphAdded.h"

#include <QDateTime>
#include <QJsonObject>
#include <QUrl>
#include <QUuid>
#include <optional>

namespace corvantis {

// Whether a conversation fills the graph or designs the shape.
enum class BuildKind { Graph, Shape };

namespace BuildKinds {
QString id(BuildKind kind); // "graph", "shape"
std::optional<BuildKind> fromId(const QString& id);
} // namespace BuildKinds

// One line of a turn's progress.
struct BuildStep {
    enum class Status { Working, Done, Failed };
    QUuid id;
    QString title;
    QString detail;
    Status status = Status::Working;
    QDateTime started;
    std::optional<QDateTime> finished;
    bool thinks = false; // the model's thinking shows under this step

    QJsonObject toJson() const;
    static BuildStep fromJson(const QJsonObject& json);
    bool operator==(const BuildStep& other) const = default;
};

struct BuildAttachmentRecord {
    QString title;
    std::optional<QUrl> file;
    std::optional<QByteArray> thumbnail;
    QJsonObject toJson() const;
    static BuildAttachmentRecord fromJson(const QJsonObject& json);
    bool operator==(const BuildAttachmentRecord& other) const = default;
};

// A turn as it is saved.
struct BuildTurnRecord {
    enum class Status { Running, Done, Failed, Stopped };
    QUuid id;
    QString text;
    QList<BuildAttachmentRecord> attachments;
    QString model;
    AIEffort effort = AIEffort::medium;
    QDateTime started;
    std::optional<QDateTime> finished;
    Status status = Status::Running;
    QList<BuildStep> steps;
    QString thinking;
    std::optional<QDateTime> thinkingStarted;
    std::optional<QDateTime> thinkingFinished;
    QString summary;
    std::optional<QString> error;
    std::optional<BuildMessage> message;
    std::optional<qint64> draftNodes;
    std::optional<qint64> draftRelationships;
    std::optional<qint64> draftChanges;
    std::optional<GraphAdded> added;
    bool discarded = false;
    bool revised = false;
    std::optional<ShapeMergeResult> shape;
    bool undone = false;
    std::optional<QString> source; // the connected app a received turn came from

    // A turn left running by a crash: stopped, its working steps failed, its times closed.
    void settle();

    QJsonObject toJson() const;
    static BuildTurnRecord fromJson(const QJsonObject& json);
    bool operator==(const BuildTurnRecord& other) const = default;
};

QString statusId(BuildTurnRecord::Status status);

struct BuildConversation {
    // One row of the history list.
    struct Summary {
        QUuid id;
        BuildKind kind = BuildKind::Graph;
        QString title;
        QDateTime created;
        QDateTime updated;
        qint64 messages = 0;
        qint64 nodesAdded = 0;
        qint64 relationshipsAdded = 0;
        qint64 typesAdded = 0;
        qint64 propertiesAdded = 0;
        bool hasDraft = false;
        QJsonObject toJson() const;
        static Summary fromJson(const QJsonObject& json);
        bool operator==(const Summary& other) const = default;
    };

    QUuid id;
    BuildKind kind = BuildKind::Graph;
    QDateTime created;
    QDateTime updated;
    QList<BuildTurnRecord> turns;
    std::optional<GraphReview> review;

    Summary summary() const;
    static QString title(const BuildTurnRecord* first);

    QJsonObject toJson() const;
    static BuildConversation fromJson(const QJsonObject& json);
    bool operator==(const BuildConversation& other) const = default;
};

// The conversations of one project, in its folder "conversations": one file per conversation and an
// index of their summaries that heals itself from the files when lost.
namespace BuildHistory {

QString folder(const QString& projectFolder);
// Newest first; rebuilds a missing or unreadable index from the files. Never fails.
QList<BuildConversation::Summary> conversations(const QString& projectFolder);
// None when the file is missing or doesn't decode; every turn settled.
std::optional<BuildConversation> conversation(const QUuid& id, const QString& projectFolder);
// Fails with FileError.
void save(const BuildConversation& conversation, const QString& projectFolder);
// Fails with FileError; a missing file is no failure.
void remove(const QUuid& id, const QString& projectFolder);

} // namespace BuildHistory

} // namespace corvantis

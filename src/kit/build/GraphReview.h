#pragma once

#include "kit/build/GraphDraft.h"
#include "kit/graph/GraphPlan.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"
#include "kit/schema/QueryOutput.h"

#include <QHash>
#include <QJsonObject>
#include <QSet>
#include <QUuid>
#include <optional>
#include <variant>

namespace corvantis {

// A draft checked against the shape and the graph: what the person looks at, ticks and edits before
// anything is written. Saved with the conversation; its ids are stable for its life.
struct GraphReview {
    // One candidate existing node. Without a score it is a same-name match.
    struct Match {
        QString id;
        std::optional<float> score;
        bool isSameName() const { return !score.has_value(); }
        bool operator==(const Match& other) const = default;
    };

    struct Node {
        QString id; // the draft's ref
        QUuid type;
        PropertyMap properties; // by column name
        bool include = true;
        std::optional<QString> target; // the existing node this one is to be
        QList<Match> matches;
        bool operator==(const Node& other) const = default;
    };

    // One end of a drafted relationship: a node of the draft, or a node already in the graph.
    struct End {
        enum class Kind { Draft, Existing };
        Kind kind = Kind::Draft;
        QString value; // the ref or the id
        static End draft(const QString& ref) { return {Kind::Draft, ref}; }
        static End existing(const QString& id) { return {Kind::Existing, id}; }
        bool isDraft() const { return kind == Kind::Draft; }
        QJsonObject toJson() const;
        // Exactly one key, "draft" or "existing", holding {"_0": text}. Fails with json::DecodeError.
        static End fromJson(const QJsonObject& json);
        bool operator==(const End& other) const = default;
    };

    struct Relationship {
        qint64 id = 0; // its place in the review
        QUuid type;
        End from;
        End to;
        PropertyMap properties;
        bool include = true;
        bool operator==(const Relationship& other) const = default;
    };

    struct Change {
        enum class Action { Remove, Update };
        qint64 id = 0;
        Action action = Action::Remove;
        QString summary;
        QString query;
        QList<GraphDraft::Property> properties;
        QStringList nodes;
        QStringList relationships;
        QSet<QString> excluded;
        bool include = true;
        std::optional<QString> problem;
        bool truncated = false;

        QStringList found() const { return nodes + relationships; }
        QStringList kept() const;
        QStringList keptNodes() const;
        // Takes what a query returned: ids of the nodes and relationships found, in order, each once;
        // ids of records no longer in the graph are dropped.
        void take(const QueryOutput& output, const QHash<QString, NodeRecord>& nodes,
                  const QHash<QString, RelRecord>& rels);
        bool operator==(const Change& other) const = default;
    };

    // Why a ticked relationship can't be added.
    struct Blocker {
        enum class Kind { NodeLeftOut, NodeRemoved, AlreadyInGraph };
        Kind kind = Kind::NodeLeftOut;
        QString name; // of the node left out
        // "a node is left out", "a node is being removed", "already in your graph"
        QString text() const;
        bool operator==(const Blocker& other) const = default;
    };

    QList<Node> nodes;
    QList<Relationship> relationships;
    QList<Change> changes;
    QStringList skipped;
    QString summary;

    bool isEmpty() const { return nodes.isEmpty() && relationships.isEmpty() && changes.isEmpty(); }
    const Node* node(const QString& ref) const;
    Node* node(const QString& ref);

    QSet<QString> removing() const;
    QSet<QString> removingRelationships(const QList<RelRecord>& rels) const;
    static QSet<QString> keys(const QList<RelRecord>& rels);
    QSet<QString> keysAfterRemoving(const QList<RelRecord>& rels) const;
    // The one identity of a relationship in Build: the three parts joined by U+001F.
    static QString key(const QString& label, const QString& from, const QString& to);
    // The identity an end will have once applied, or none.
    std::optional<QString> key(const End& end) const;
    qint64 includedCount() const;
    bool isUntitled(const Node& node, const GraphSchema& schema) const;
    // Whether any included new node is untitled.
    bool hasUntitled(const GraphSchema& schema) const;

    // Adds the hits as matches of the node, best first; preselects the best when it reaches `preselectAbove`.
    void suggest(const QList<QPair<QString, float>>& hits, const QString& ref, float preselectAbove);
    // Keeps the person's decisions on `previous` across a revision.
    void carryOver(const GraphReview& previous, const GraphSchema& schema);
    std::optional<Blocker> blocker(const Relationship& relationship, const GraphSchema& schema,
                                   const QSet<QString>& existing) const;
    // What applying comes to against the graph as it stands now.
    GraphPlan plan(const GraphSchema& schema, const QHash<QString, NodeRecord>& existing,
                   const QList<RelRecord>& rels) const;
    // Drops what the graph no longer has, after a reopening.
    void forgetMissing(const QSet<QString>& existing, const std::optional<QSet<QString>>& relationships);
    // The open draft as the model is told it when the person asks for a revision.
    QString describe(const GraphSchema& schema, const QHash<QString, NodeRecord>& existing) const;

    QJsonObject toJson() const;
    static GraphReview fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const GraphReview& other) const = default;
};

} // namespace corvantis

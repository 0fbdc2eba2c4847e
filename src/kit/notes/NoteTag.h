#pragma once

#include <QList>
#include <QPair>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <optional>

namespace corvantis {

// A tag as typed: an id, the relationships to walk from it, and a property to read.
struct TagToken {
    struct Hop {
        bool outgoing = true;
        QString name; // a relationship type's database name; empty: any relationship
        bool operator==(const Hop& other) const = default;
    };
    QString id;
    QList<Hop> hops;
    std::optional<QString> property;

    // The tag's text: "@" + id, the hops, ":" + property.
    QString text() const;
    bool operator==(const TagToken& other) const = default;
};

// What a tag resolves to in the graph, for a card, a pill or a printed page.
struct NoteTag {
    enum class Kind { Node, Rel };

    QString id;
    Kind kind = Kind::Node;
    QString type;  // the node type's or relationship type's name
    QString color; // a palette name of the shape
    QString title;
    std::optional<QString> property;
    std::optional<QString> value;
    QList<QPair<QString, QString>> details; // name, display text
    // The web links among the values shown (of link properties, as usable URLs), for preview cards.
    QStringList links;
    bool missing = false;
    // A sentence shown instead of a value ("Can't find …", "… has no …").
    std::optional<QString> problem;
    std::optional<QString> via;            // the walked path as text
    std::optional<QList<NoteTag>> members; // the nodes a walk reached

    // The tag as flat text, for copying and export.
    QString plain() const;

    // The tag grammar: group 1 the id, group 2 the hops, group 3 the property.
    static const QRegularExpression& pattern();
    // One hop: group 1 the arrow, group 2 the name.
    static const QRegularExpression& hop();
    // The token of a match of `pattern`.
    static TagToken token(const QRegularExpressionMatch& match);
    static QList<TagToken::Hop> hops(const QString& text);

    struct Found {
        int start = 0;
        int length = 0;
        TagToken token;
    };
    // Every tag of a text, in order.
    static QList<Found> find(const QString& text);
};

} // namespace corvantis

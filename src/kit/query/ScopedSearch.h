#pragma once

#include "kit/query/TextRange.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace corvantis {

// The search syntax that says where to look: "dune ::Book:title, Film:: arrakis, spice". Text between
// two "::" markers names types and their properties; the terms after it are searched there, the terms
// before any scope in the default places. Positions are UTF-16 code units of `text`, so that ranges go
// straight to the field for colouring and completion. Parsing never fails; ScopeVocabulary judges names.
class ScopedSearch {
public:
    struct Name {
        QString text;
        TextRange range;
        friend bool operator==(const Name&, const Name&) = default;
    };

    // A type (the owner) and, optionally, some of its properties: "Book:title:author".
    struct Target {
        Name owner;
        QList<Name> properties;
        friend bool operator==(const Target&, const Target&) = default;
    };

    struct Scope {
        TextRange range; // from the opening "::" to after the closing one, or to the end of the text
        TextRange inner; // between the markers
        bool closed = false;
        QList<Target> targets;
        QList<TextRange> separators; // each "," and ":" inside `inner`
        friend bool operator==(const Scope&, const Scope&) = default;
    };

    struct Segment {
        std::optional<Scope> scope; // absent for the terms before the first scope
        QStringList terms;          // unescaped and trimmed
        TextRange termsRange;
        TextRange range;
        QList<TextRange> commas;
        friend bool operator==(const Segment&, const Segment&) = default;
    };

    // What the caret is completing inside a scope: a type, or a property of `owner`.
    struct Completion {
        std::optional<QString> owner;
        QString partial;
        TextRange replace;
        Scope scope;
        friend bool operator==(const Completion&, const Completion&) = default;
    };

    explicit ScopedSearch(const QString& text = QString());

    const QString& text() const { return m_text; }
    const QList<Segment>& segments() const { return m_segments; }

    // The first segment whose range holds the position, both ends inclusive.
    std::optional<Segment> segment(qsizetype position) const;
    bool startsWithScope() const;
    std::optional<Completion> completion(qsizetype position) const;

    // Tab, line feed, carriage return, space and no-break space.
    static bool isBlank(QChar unit);

private:
    void closeSegment(const std::optional<Scope>& scope, qsizetype start, qsizetype at);
    Scope parseScope(qsizetype open) const;

    QString m_text;
    QList<Segment> m_segments;
};

} // namespace corvantis

#pragma once

#include "kit/query/ScopedSearch.h"
#include "kit/query/TextRange.h"
#include "kit/schema/GraphSchema.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUuid>

namespace corvantis {

// Binds the names of a scoped search to the open project's shape: which properties to look in, or
// what to underline in the field. Built from the properties the present search mode may look in.
class ScopeVocabulary {
public:
    struct Property {
        QUuid id;
        QString name;
        QString column;
    };

    // A type with searchable properties.
    struct Owner {
        QUuid id;
        QString name;
        QString table;
        bool isNode = true;
        QList<Property> properties;
    };

    struct Problem {
        TextRange range;
        QString message;
        friend bool operator==(const Problem&, const Problem&) = default;
    };

    // Terms to search for in a set of properties.
    struct Part {
        QSet<QUuid> properties;
        QStringList terms;
        friend bool operator==(const Part&, const Part&) = default;
    };

    struct Resolution {
        QSet<QUuid> ids;
        QList<Problem> problems;
    };

    struct Plan {
        QList<Part> parts;
        QList<Problem> problems;
    };

    // `emptyReason` ends the sentence about a known type with nothing to search, e.g. "has no text to
    // search".
    ScopeVocabulary(const QList<EmbeddedProperty>& properties, const GraphSchema& schema,
                    const QString& emptyReason);

    const QList<Owner>& owners() const { return m_owners; }
    // The names of the shape's other types: known, but with nothing to search.
    const QStringList& others() const { return m_others; }
    const QString& emptyReason() const { return m_emptyReason; }

    // By loose name first, over every owner, then by loose table name.
    const Owner* owner(const QString& named) const;
    // By loose name first, then by loose column name.
    const Property* property(const QString& name, const Owner& of) const;
    // "*" or "all", unless a type is really called so.
    bool isAll(const QString& name) const;
    QSet<QUuid> allIDs() const;

    Resolution resolve(const ScopedSearch::Scope& scope) const;
    // The scope text that names a set of ids: "All", or "Book, Film:title".
    QString scopeText(const QSet<QUuid>& ids) const;
    // Each segment with terms becomes a part; segments without a scope search `fallback`.
    Plan plan(const ScopedSearch& search, const QSet<QUuid>& fallback) const;

private:
    QList<Owner> m_owners;
    QStringList m_others;
    QString m_emptyReason;
};

} // namespace corvantis

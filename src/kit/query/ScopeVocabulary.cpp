#include "kit/query/ScopeVocabulary.h"

#include "kit/query/LooseQuery.h"

namespace corvantis {

ScopeVocabulary::ScopeVocabulary(const QList<EmbeddedProperty>& properties, const GraphSchema& schema,
                                 const QString& emptyReason)
    : m_emptyReason(emptyReason) {
    for (const EmbeddedProperty& embedded : properties) {
        auto owner = std::find_if(m_owners.begin(), m_owners.end(),
                                  [&](const Owner& candidate) { return candidate.id == embedded.ownerID; });
        if (owner == m_owners.end()) {
            m_owners.append(Owner{embedded.ownerID, embedded.ownerName, embedded.table, embedded.isNode, {}});
            owner = m_owners.end() - 1;
        }
        owner->properties.append(
            Property{embedded.property.id, embedded.property.name, embedded.property.column()});
    }
    auto isOwner = [&](const QUuid& id) {
        return std::any_of(m_owners.begin(), m_owners.end(),
                           [&](const Owner& owner) { return owner.id == id; });
    };
    for (const NodeType& type : schema.nodeTypes) {
        if (!isOwner(type.id))
            m_others.append(type.name);
    }
    for (const RelType& type : schema.relTypes) {
        if (!isOwner(type.id))
            m_others.append(type.name);
    }
}

const ScopeVocabulary::Owner* ScopeVocabulary::owner(const QString& named) const {
    const QString key = LooseQuery::key(named);
    if (key.isEmpty())
        return nullptr;
    for (const Owner& owner : m_owners) {
        if (LooseQuery::key(owner.name) == key)
            return &owner;
    }
    for (const Owner& owner : m_owners) {
        if (LooseQuery::key(owner.table) == key)
            return &owner;
    }
    return nullptr;
}

const ScopeVocabulary::Property* ScopeVocabulary::property(const QString& name, const Owner& of) const {
    const QString key = LooseQuery::key(name);
    if (key.isEmpty())
        return nullptr;
    for (const Property& property : of.properties) {
        if (LooseQuery::key(property.name) == key)
            return &property;
    }
    for (const Property& property : of.properties) {
        if (LooseQuery::key(property.column) == key)
            return &property;
    }
    return nullptr;
}

bool ScopeVocabulary::isAll(const QString& name) const {
    const bool spellsAll =
        name.trimmed() == QLatin1String("*") || LooseQuery::key(name) == QLatin1String("all");
    return spellsAll && owner(name) == nullptr;
}

QSet<QUuid> ScopeVocabulary::allIDs() const {
    QSet<QUuid> ids;
    for (const Owner& owner : m_owners) {
        for (const Property& property : owner.properties)
            ids.insert(property.id);
    }
    return ids;
}

ScopeVocabulary::Resolution ScopeVocabulary::resolve(const ScopedSearch::Scope& scope) const {
    Resolution result;
    if (!scope.closed)
        result.problems.append(Problem{scope.range, QStringLiteral("Close the scope with ::")});
    if (scope.targets.isEmpty()) {
        if (scope.closed)
            result.problems.append(Problem{scope.range, QStringLiteral("Name a type between the ::")});
        return result;
    }
    for (const ScopedSearch::Target& target : scope.targets) {
        const QString& name = target.owner.text;
        if (isAll(name)) {
            result.ids.unite(allIDs());
            continue;
        }
        if (const Owner* owner = this->owner(name)) {
            QList<ScopedSearch::Name> named;
            for (const ScopedSearch::Name& property : target.properties) {
                if (!property.text.isEmpty())
                    named.append(property);
            }
            if (named.isEmpty()) {
                for (const Property& property : owner->properties)
                    result.ids.insert(property.id);
                continue;
            }
            for (const ScopedSearch::Name& wanted : named) {
                if (const Property* property = this->property(wanted.text, *owner))
                    result.ids.insert(property->id);
                else
                    result.problems.append(Problem{
                        wanted.range,
                        QStringLiteral("%1 has no \u201c%2\u201d to search").arg(owner->name, wanted.text)});
            }
            continue;
        }
        const QString key = LooseQuery::key(name);
        const bool known = std::any_of(m_others.begin(), m_others.end(),
                                       [&](const QString& other) { return LooseQuery::key(other) == key; });
        if (known)
            result.problems.append(
                Problem{target.owner.range, QStringLiteral("\u201c%1\u201d %2").arg(name, m_emptyReason)});
        else
            result.problems.append(
                Problem{target.owner.range, QStringLiteral("No type called \u201c%1\u201d").arg(name)});
    }
    return result;
}

QString ScopeVocabulary::scopeText(const QSet<QUuid>& ids) const {
    const QSet<QUuid> all = allIDs();
    if (!all.isEmpty() && ids.contains(all))
        return QStringLiteral("All");
    QStringList pieces;
    for (const Owner& owner : m_owners) {
        QStringList names;
        for (const Property& property : owner.properties) {
            if (ids.contains(property.id))
                names.append(property.name);
        }
        if (names.isEmpty())
            continue;
        if (names.size() == owner.properties.size())
            pieces.append(owner.name);
        else
            pieces.append(owner.name + QLatin1Char(':') + names.join(QLatin1Char(':')));
    }
    return pieces.join(QStringLiteral(", "));
}

ScopeVocabulary::Plan ScopeVocabulary::plan(const ScopedSearch& search, const QSet<QUuid>& fallback) const {
    Plan result;
    for (const ScopedSearch::Segment& segment : search.segments()) {
        QSet<QUuid> ids = fallback;
        if (segment.scope) {
            Resolution resolution = resolve(*segment.scope);
            result.problems += resolution.problems;
            ids = resolution.ids;
        }
        if (!segment.terms.isEmpty() && !ids.isEmpty())
            result.parts.append(Part{ids, segment.terms});
    }
    return result;
}

} // namespace corvantis

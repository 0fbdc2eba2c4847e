#include "kit/notes/TagGraph.h"

#include "kit/links/LinkURL.h"
#include "kit/notes/NoteCommand.h"
#include "kit/query/LooseQuery.h"

#include <QSet>
#include <algorithm>

namespace corvantis {

TagGraph::TagGraph(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
                   const QHash<QString, RelRecord>& rels)
    : m_schema(schema)
    , m_nodes(nodes)
    , m_rels(rels) {
    for (const RelRecord& rel : rels) {
        m_connections[rel.from] << &rel;
        if (rel.to != rel.from)
            m_connections[rel.to] << &rel;
    }
    // Hash order is arbitrary: a walk lists its ends in a fixed order.
    for (auto& list : m_connections)
        std::sort(list.begin(), list.end(),
                  [](const RelRecord* a, const RelRecord* b) { return a->id < b->id; });
}

const NodeType* TagGraph::nodeType(const NodeRecord& node) const {
    return m_schema.nodeTypeForTable(node.label);
}

const RelType* TagGraph::relType(const RelRecord& rel) const {
    return m_schema.relTypeForTable(rel.label);
}

QString TagGraph::titleOf(const QString& nodeId) const {
    const auto it = m_nodes.constFind(nodeId);
    return it == m_nodes.cend() ? nodeId : it->title(nodeType(*it));
}

QStringList TagGraph::step(const QStringList& from, const TagToken::Hop& hop) const {
    QStringList reached;
    QSet<QString> seen;
    for (const QString& id : from) {
        for (const RelRecord* rel : m_connections.value(id)) {
            const bool isFrom = rel->from == id;
            const bool isTo = rel->to == id;
            if (hop.outgoing ? !isFrom : !isTo)
                continue;
            if (!hop.name.isEmpty() && rel->label != hop.name)
                continue;
            const QString other = hop.outgoing ? rel->to : rel->from;
            if (!seen.contains(other)) {
                seen.insert(other);
                reached << other;
            }
        }
    }
    return reached;
}

QStringList TagGraph::walk(const TagToken& token) const {
    if (!m_nodes.contains(token.id))
        return {};
    QStringList ids{token.id};
    for (const TagToken::Hop& hop : token.hops)
        ids = step(ids, hop);
    return ids;
}

void TagGraph::readProperty(NoteTag& tag, const QList<PropertyDef>& properties, const PropertyMap& values,
                            const QString& typeName, const QString& property) const {
    tag.property = property;
    const PropertyDef* found = nullptr;
    for (const PropertyDef& def : properties)
        if (def.name == property)
            found = &def;
    if (!found) {
        const QString key = LooseQuery::key(property);
        for (const PropertyDef& def : properties)
            if (LooseQuery::key(def.name) == key || LooseQuery::key(def.column()) == key) {
                found = &def;
                break;
            }
    }
    if (!found) {
        tag.problem = typeName.isEmpty() ? QStringLiteral("Can't find %1").arg(property)
                                         : QStringLiteral("%1 has no %2").arg(typeName, property);
        return;
    }
    tag.property = found->name;
    tag.value = values.value(found->column()).displayText();
    // Reading one property shows that value alone, so only its link is previewed.
    tag.links.clear();
    if (found->kind == PropertyKind::Link)
        if (const auto text = values.value(found->column()).stringValue())
            if (const auto url = LinkURL::normalize(*text))
                tag.links << url->toString();
}

NoteTag TagGraph::noteTag(const QString& id, const std::optional<QString>& property) const {
    NoteTag tag;
    tag.id = id;
    if (const auto node = m_nodes.constFind(id); node != m_nodes.cend()) {
        const NodeType* type = nodeType(*node);
        tag.kind = NoteTag::Kind::Node;
        tag.type = type ? type->name : node->label;
        tag.color = type ? type->color : QString();
        tag.title = node->title(type);
        if (type) {
            for (const PropertyDef& def : type->properties) {
                const GraphValue value = node->properties.value(def.column());
                if (!value.isNull() && !value.displayText().isEmpty())
                    tag.details << qMakePair(def.name, value.displayText());
                if (const auto text = value.stringValue(); text && def.kind == PropertyKind::Link)
                    if (const auto url = LinkURL::normalize(*text))
                        tag.links << url->toString();
            }
        }
        if (property)
            readProperty(tag, type ? type->properties : QList<PropertyDef>(), node->properties, tag.type,
                         *property);
        return tag;
    }
    if (const auto rel = m_rels.constFind(id); rel != m_rels.cend()) {
        const RelType* type = relType(*rel);
        tag.kind = NoteTag::Kind::Rel;
        tag.type = type ? type->name : rel->label;
        tag.title = titleOf(rel->from) + " " + tag.type + " " + titleOf(rel->to);
        if (const auto from = m_nodes.constFind(rel->from); from != m_nodes.cend())
            if (const NodeType* fromType = nodeType(*from))
                tag.color = fromType->color;
        if (type) {
            for (const PropertyDef& def : type->properties) {
                const GraphValue value = rel->properties.value(def.column());
                if (!value.isNull() && !value.displayText().isEmpty())
                    tag.details << qMakePair(def.name, value.displayText());
                if (const auto text = value.stringValue(); text && def.kind == PropertyKind::Link)
                    if (const auto url = LinkURL::normalize(*text))
                        tag.links << url->toString();
            }
        }
        if (property)
            readProperty(tag, type ? type->properties : QList<PropertyDef>(), rel->properties, tag.type,
                         *property);
        return tag;
    }
    tag.missing = true;
    tag.title = QStringLiteral("Nothing with this ID");
    return tag;
}

NoteTag TagGraph::noteTag(const TagToken& token) const {
    if (token.hops.isEmpty())
        return noteTag(token.id, token.property);
    if (!m_nodes.contains(token.id)) {
        NoteTag tag;
        tag.id = token.id;
        tag.missing = true;
        tag.title = QStringLiteral("Nothing with this ID");
        return tag;
    }
    NoteTag tag = noteTag(token.id);
    QString via = tag.title;
    for (const TagToken::Hop& hop : token.hops) {
        via += hop.outgoing ? QStringLiteral(" → ") : QStringLiteral(" ← ");
        // The type's own name where the shape knows it; the stored name keeps the tag valid after a rename.
        const RelType* type = hop.name.isEmpty() ? nullptr : m_schema.relTypeForTable(hop.name);
        via += hop.name.isEmpty() ? QStringLiteral("all")
               : type             ? type->name
                                  : QString(hop.name).replace('_', ' ');
    }
    tag.via = via;
    tag.details.clear();
    tag.links.clear();
    QList<NoteTag> members;
    for (const QString& id : walk(token))
        members << noteTag(id, token.property);
    tag.members = members;
    tag.property = token.property;
    return tag;
}

TagChoice TagGraph::relChoice(const RelRecord& rel, bool outgoing) const {
    const RelType* type = relType(rel);
    const QString other = outgoing ? rel.to : rel.from;
    TagChoice choice;
    choice.id = rel.id;
    choice.title = titleOf(other);
    choice.detail = "relationship · " + (type ? type->name : rel.label);
    if (const auto node = m_nodes.constFind(other); node != m_nodes.cend())
        if (const NodeType* nodeTypeOf = nodeType(*node))
            choice.color = nodeTypeOf->color;
    choice.isRel = true;
    choice.insert = (outgoing ? "->" : "<-") + rel.label;
    choice.whole = true;
    return choice;
}

TagGraph::Choices TagGraph::choices(const TagQuery& query, int limit, const QStringList& recent,
                                    const QList<NoteItem>& notes, const QString& exceptNote) const {
    QList<TagChoice> rows;
    const LooseQuery loose(query.text);
    switch (query.stage) {
    case TagQuery::Stage::record: {
        struct Ranked {
            int rank;
            QString title;
            TagChoice choice;
        };
        QList<Ranked> ranked;
        const QSet<QString> recentSet(recent.begin(), recent.end());
        for (const NodeRecord& node : m_nodes) {
            const NodeType* type = nodeType(node);
            const QString title = node.title(type);
            const QString key = LooseQuery::key(title);
            int rank = 0;
            if (loose.isEmpty()) {
                rank = recentSet.contains(node.id) ? 0 : 1;
            } else if (!loose.matches(key)) {
                continue;
            } else {
                rank = loose.isExact(key) ? 0 : (key.startsWith(loose.whole()) ? 1 : 2);
            }
            TagChoice choice{node.id,
                             title,
                             type ? type->name : node.label,
                             type ? type->color : QString(),
                             false,
                             "@" + node.id,
                             false,
                             std::nullopt};
            ranked << Ranked{rank, title, choice};
        }
        std::sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) {
            if (a.rank != b.rank)
                return a.rank < b.rank;
            const int order = QString::localeAwareCompare(a.title, b.title);
            return order != 0 ? order < 0 : a.choice.id < b.choice.id;
        });
        for (const Ranked& r : ranked)
            rows << r.choice;
        break;
    }
    case TagQuery::Stage::hop: {
        const QStringList reached = walk(query.from);
        QMap<QString, int> names;
        QList<const RelRecord*> single;
        for (const QString& id : reached) {
            for (const RelRecord* rel : m_connections.value(id)) {
                if (query.outgoing ? rel->from != id : rel->to != id)
                    continue;
                ++names[rel->label];
                single << rel;
            }
        }
        for (auto it = names.cbegin(); it != names.cend(); ++it) {
            const RelType* type = m_schema.relTypeForTable(it.key());
            const QString name = type ? type->name : it.key();
            if (!loose.isEmpty() && !loose.matches(LooseQuery::key(name)) &&
                !loose.matches(LooseQuery::key(it.key())))
                continue;
            TagChoice choice;
            choice.id = it.key();
            choice.title = name;
            choice.detail = it.value() == 1 ? QStringLiteral("1 relationship")
                                            : QStringLiteral("%1 relationships").arg(it.value());
            choice.isRel = true;
            choice.insert = (query.outgoing ? "->" : "<-") + it.key();
            choice.symbol = query.outgoing ? QStringLiteral("→") : QStringLiteral("←");
            rows << choice;
        }
        for (const RelRecord* rel : single) {
            TagChoice choice = relChoice(*rel, query.outgoing);
            if (loose.isEmpty() || loose.matches(LooseQuery::key(choice.title)))
                rows << choice;
        }
        break;
    }
    case TagQuery::Stage::property: {
        const QStringList reached = walk(query.from);
        const NodeType* type = nullptr;
        if (!reached.isEmpty())
            if (const auto node = m_nodes.constFind(reached.first()); node != m_nodes.cend())
                type = nodeType(*node);
        if (type) {
            for (const PropertyDef& def : type->properties) {
                if (!loose.isEmpty() && !loose.matches(LooseQuery::key(def.name)))
                    continue;
                TagChoice choice;
                choice.id = def.id.toString(QUuid::WithoutBraces);
                choice.title = def.name;
                choice.detail = type->name;
                choice.color = type->color;
                choice.insert = ":" + QString(def.name).replace(
                                          QRegularExpression(QStringLiteral("[^\\p{L}\\p{M}\\p{N}_]")), "_");
                choice.whole = true;
                rows << choice;
            }
        }
        break;
    }
    case TagQuery::Stage::note: {
        for (const NoteItem& note : notes) {
            if (note.isFolder || note.id == exceptNote)
                continue;
            if (!loose.isEmpty() && !loose.matches(LooseQuery::key(note.title)))
                continue;
            rows << TagChoice{note.id,   note.title,  QStringLiteral("Note"),
                              QString(), false,       "[[" + note.title + "]]",
                              true,      std::nullopt};
        }
        break;
    }
    case TagQuery::Stage::command: {
        for (NoteCommand command : NoteCommands::matching(query.text))
            rows << TagChoice{NoteCommands::rawValue(command),
                              NoteCommands::title(command),
                              QString(),
                              QString(),
                              false,
                              QString(),
                              true,
                              std::nullopt};
        break;
    }
    }
    Choices result;
    if (limit >= 0 && rows.size() > limit) {
        result.more = rows.size() - limit;
        rows.resize(limit);
    }
    result.rows = rows;
    return result;
}

} // namespace corvantis

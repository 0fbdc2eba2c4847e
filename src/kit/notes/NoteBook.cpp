#include "kit/notes/NoteBook.h"

#include "kit/support/Json.h"

#include <QHash>
#include <QJsonArray>
#include <algorithm>
#include <functional>
#include <utility>

namespace corvantis {

int NoteBook::indexOf(const QString& id) const {
    for (int i = 0; i < items.size(); ++i)
        if (items[i].id == id)
            return i;
    return -1;
}

const NoteItem* NoteBook::item(const QString& id) const {
    const int index = indexOf(id);
    return index < 0 ? nullptr : &items[index];
}

NoteItem* NoteBook::item(const QString& id) {
    const int index = indexOf(id);
    return index < 0 ? nullptr : &items[index];
}

QList<NoteItem> NoteBook::children(const std::optional<QString>& parent) const {
    QList<NoteItem> found;
    for (const NoteItem& item : items)
        if (item.parent == parent)
            found << item;
    return found;
}

QList<NoteItem> NoteBook::pinned() const {
    QList<NoteItem> found;
    for (const NoteItem& item : items)
        if (!item.isFolder && item.pinnedAt)
            found << item;
    std::stable_sort(found.begin(), found.end(), [](const NoteItem& a, const NoteItem& b) {
        return a.pinnedAt.value_or(QDateTime()) < b.pinnedAt.value_or(QDateTime());
    });
    return found;
}

void NoteBook::setPinned(const QString& id, bool on, const QDateTime& now) {
    NoteItem* found = item(id);
    if (!found || found->isFolder || found->isPinned() == on)
        return;
    if (on)
        found->pinnedAt = now;
    else
        found->pinnedAt.reset();
}

QSet<QString> NoteBook::descendants(const QSet<QString>& ids) const {
    QHash<QString, QStringList> byParent;
    for (const NoteItem& item : items)
        if (item.parent)
            byParent[*item.parent] << item.id;
    QSet<QString> found;
    QStringList pending(ids.begin(), ids.end());
    while (!pending.isEmpty()) {
        const QString next = pending.takeLast();
        for (const QString& child : byParent.value(next)) {
            if (!found.contains(child) && !ids.contains(child)) {
                found.insert(child);
                pending << child;
            }
        }
    }
    return found;
}

QList<NoteItem> NoteBook::notes(const QString& under) const {
    const NoteItem* start = item(under);
    if (!start)
        return {};
    if (!start->isFolder)
        return {*start};
    QList<NoteItem> found;
    QSet<QString> seen{under};
    // Depth first in list order; `seen` keeps a cycle from looping.
    std::function<void(const QString&)> walk = [&](const QString& parent) {
        for (const NoteItem& child : children(parent)) {
            if (seen.contains(child.id))
                continue;
            seen.insert(child.id);
            if (child.isFolder)
                walk(child.id);
            else
                found << child;
        }
    };
    walk(under);
    return found;
}

QStringList NoteBook::ancestors(const QString& id) const {
    QStringList found;
    const NoteItem* current = item(id);
    while (current && current->parent && !found.contains(*current->parent) && *current->parent != id) {
        found << *current->parent;
        current = item(*current->parent);
    }
    return found;
}

QString NoteBook::markdown(const QString& id) const {
    QStringList parts;
    for (const NoteItem& note : notes(id)) {
        const QString title = note.title.trimmed().isEmpty() ? QStringLiteral("Untitled") : note.title;
        parts << title + "\n" + note.body;
    }
    return parts.join("\n\n");
}

void NoteBook::collectRows(const std::optional<QString>& parent, int depth,
                           const std::optional<QString>& collapsing, QList<NoteRow>& into) const {
    for (const NoteItem& item : items) {
        if (item.parent != parent)
            continue;
        into << NoteRow{item, depth};
        if (item.isFolder && item.expanded && item.id != collapsing && depth < maxDepth)
            collectRows(item.id, depth + 1, collapsing, into);
    }
}

QList<NoteRow> NoteBook::rows(const std::optional<QString>& collapsing) const {
    QList<NoteRow> found;
    collectRows(std::nullopt, 0, collapsing, found);
    return found;
}

void NoteBook::repair() {
    QSet<QString> ids;
    for (const NoteItem& item : items)
        ids.insert(item.id);
    for (NoteItem& item : items)
        if (item.parent && !ids.contains(*item.parent))
            item.parent.reset();
    // A parent cycle would hide its members from the list: the first member found goes to the top.
    for (NoteItem& item : items) {
        QSet<QString> chain{item.id};
        const NoteItem* current = &item;
        while (current->parent) {
            if (chain.contains(*current->parent)) {
                item.parent.reset();
                break;
            }
            chain.insert(*current->parent);
            current = this->item(*current->parent);
        }
    }
    QStringList kept;
    for (const QString& tab : tabs) {
        const NoteItem* found = item(tab);
        if (found && !found->isFolder && !kept.contains(tab))
            kept << tab;
    }
    tabs = kept;
    if (activeTab && !tabs.contains(*activeTab)) {
        if (tabs.isEmpty())
            activeTab.reset();
        else
            activeTab = tabs.last();
    }
}

void NoteBook::add(const NoteItem& item) {
    items << item;
}

bool NoteBook::move(const QString& id, const std::optional<QString>& into, int index) {
    const int from = indexOf(id);
    if (from < 0)
        return false;
    if (into) {
        const NoteItem* parent = item(*into);
        if (*into == id || !parent || !parent->isFolder || descendants({id}).contains(*into))
            return false;
    }
    NoteItem moving = items.takeAt(from);
    moving.parent = into;
    QList<int> siblings;
    for (int i = 0; i < items.size(); ++i)
        if (items[i].parent == into)
            siblings << i;
    if (index >= 0 && index < siblings.size())
        items.insert(siblings[index], moving);
    else if (!siblings.isEmpty())
        items.insert(siblings.last() + 1, moving);
    else
        items.append(moving);
    return true;
}

NoteBook::Landing NoteBook::landing(const QList<NoteRow>& rows, int slot, int depth) {
    slot = std::clamp(slot, 0, int(rows.size()));
    const NoteRow* above = slot > 0 ? &rows[slot - 1] : nullptr;
    const NoteRow* below = slot < rows.size() ? &rows[slot] : nullptr;
    const int deepest = above ? above->depth + (above->item.isFolder ? 1 : 0) : 0;
    const int shallowest = below ? below->depth : 0;
    const int d = std::min(std::max(std::min(deepest, shallowest), depth), deepest);
    Landing landing;
    if (d >= 1) {
        for (int i = slot - 1; i >= 0; --i) {
            if (rows[i].depth == d - 1) {
                landing.parent = rows[i].item.id;
                break;
            }
        }
    }
    for (int i = 0; i < slot; ++i)
        if (rows[i].item.parent == landing.parent)
            ++landing.index;
    return landing;
}

void NoteBook::remove(const QSet<QString>& ids) {
    QSet<QString> gone = descendants(ids);
    gone.unite(ids);
    for (const QString& id : QStringList(tabs))
        if (gone.contains(id))
            close(id);
    items.removeIf([&](const NoteItem& item) { return gone.contains(item.id); });
}

void NoteBook::open(const QString& id) {
    const NoteItem* found = std::as_const(*this).item(id);
    if (!found || found->isFolder)
        return;
    if (!tabs.contains(id)) {
        const int active = activeTab ? int(tabs.indexOf(*activeTab)) : -1;
        if (active >= 0)
            tabs.insert(active + 1, id);
        else
            tabs.append(id);
    }
    activeTab = id;
}

void NoteBook::close(const QString& id) {
    const int at = tabs.indexOf(id);
    if (at < 0)
        return;
    tabs.removeAt(at);
    if (activeTab != id)
        return;
    if (tabs.isEmpty())
        activeTab.reset();
    else if (at < tabs.size())
        activeTab = tabs[at];
    else
        activeTab = tabs.last();
}

QJsonObject NoteBook::toJson() const {
    QJsonArray itemArray;
    for (const NoteItem& item : items)
        itemArray.append(item.toJson());
    QJsonObject json{{"items", itemArray}, {"tabs", QJsonArray::fromStringList(tabs)}};
    json::putOptional(json, "activeTab", activeTab);
    return json;
}

NoteBook NoteBook::fromJson(const QJsonObject& json) {
    NoteBook book;
    for (const QJsonValue& value : json::requireArray(json, "items")) {
        if (!value.isObject())
            throw json::DecodeError("an item is not an object");
        book.items << NoteItem::fromJson(value.toObject());
    }
    for (const QJsonValue& value : json::requireArray(json, "tabs")) {
        const auto id = json::parseUuid(value.toString());
        if (!id)
            throw json::DecodeError("a tab is not an id");
        book.tabs << json::uuidText(*id);
    }
    if (const auto active = json::optionalUuid(json, "activeTab"))
        book.activeTab = json::uuidText(*active);
    return book;
}

} // namespace corvantis

#include "kit/graph/GraphDerived.h"

#include <string_view>
#include <unordered_map>
#include <vector>

namespace corvantis::GraphDerived {

namespace {

// Qt's string hash is seeded per process and costs far more per key than a plain one; these maps are
// keyed by the hundreds of thousands, so the texts are gathered first in standard maps and each distinct
// one goes into a QHash once.
struct ViewHash {
    size_t operator()(QStringView view) const noexcept {
        return std::hash<std::u16string_view>{}(
            std::u16string_view(view.utf16(), static_cast<size_t>(view.size())));
    }
};

// Counts records by label. Labels read from one table share one text, so most are found by the address
// of their characters; the counts of texts that are equal without sharing are joined at the end.
template <typename Records, typename LabelOf>
QHash<QString, int> countByLabel(const Records& records, LabelOf labelOf) {
    std::unordered_map<const QChar*, std::pair<const QString*, int>> byAddress;
    for (const auto& record : records) {
        const QString& label = labelOf(record);
        auto [it, added] = byAddress.try_emplace(label.constData(), &label, 0);
        it->second.second += 1;
    }
    QHash<QString, int> counts;
    for (const auto& [address, counted] : byAddress)
        counts[*counted.first] += counted.second;
    return counts;
}

// Numbers by address, in one flat table with open addressing: a lookup is a multiplication and, nearly
// always, one probe.
class AddressIndex {
public:
    explicit AddressIndex(size_t count) {
        size_t capacity = 16;
        while (capacity < count * 2)
            capacity *= 2;
        m_slots.assign(capacity, Slot{nullptr, -1});
        m_mask = capacity - 1;
    }
    void insert(const void* address, int number) {
        size_t at = slotOf(address);
        while (m_slots[at].address && m_slots[at].address != address)
            at = (at + 1) & m_mask;
        m_slots[at] = {address, number};
    }
    // The number of `address`; -1 when it has none.
    int find(const void* address) const {
        for (size_t at = slotOf(address);; at = (at + 1) & m_mask) {
            if (m_slots[at].address == address)
                return m_slots[at].number;
            if (!m_slots[at].address)
                return -1;
        }
    }

private:
    struct Slot {
        const void* address;
        int number;
    };
    size_t slotOf(const void* address) const {
        return static_cast<size_t>((reinterpret_cast<quintptr>(address) * 0x9E3779B97F4A7C15ull) >> 32) &
               m_mask;
    }
    std::vector<Slot> m_slots;
    size_t m_mask = 0;
};

} // namespace

Maps of(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels) {
    // Each node is numbered by the address of its id's characters; an end that doesn't share them is
    // looked up by its text, and an end that is no node at all is gathered apart.
    std::vector<const QString*> ids;
    ids.reserve(static_cast<size_t>(nodes.size()));
    AddressIndex byAddress(static_cast<size_t>(nodes.size()));
    for (auto it = nodes.cbegin(); it != nodes.cend(); ++it) {
        byAddress.insert(it.key().constData(), static_cast<int>(ids.size()));
        ids.push_back(&it.key());
    }
    auto numberOf = [&](const QString& end) {
        // Same characters at the same address, of the same length: the same text.
        if (int number = byAddress.find(end.constData());
            number >= 0 && ids[static_cast<size_t>(number)]->size() == end.size())
            return number;
        if (auto node = nodes.constFind(end); node != nodes.cend())
            return byAddress.find(node.key().constData());
        return -1;
    };

    // The ends are numbered in one pass and counted, so that each list is made at its full length.
    struct Numbered {
        const RelRecord* rel;
        int from;
        int to;
    };
    std::vector<Numbered> numbered;
    numbered.reserve(static_cast<size_t>(rels.size()));
    std::vector<int> counts(ids.size(), 0);
    for (const RelRecord& rel : rels) {
        const Numbered ends{&rel, numberOf(rel.from), numberOf(rel.to)};
        for (int end : {ends.from, ends.to})
            if (end >= 0)
                ++counts[static_cast<size_t>(end)];
        numbered.push_back(ends);
    }
    std::vector<QStringList> neighbours(ids.size());
    for (size_t i = 0; i < ids.size(); ++i)
        neighbours[i].reserve(counts[i]);
    std::unordered_map<QStringView, std::pair<const QString*, QStringList>, ViewHash> strays;
    auto gather = [&](int number, const QString& end, const QString& other) {
        if (number >= 0) {
            neighbours[static_cast<size_t>(number)].append(other);
            return;
        }
        auto [it, added] = strays.try_emplace(QStringView(end), &end, QStringList());
        it->second.second.append(other);
    };
    for (const Numbered& ends : numbered) {
        gather(ends.from, ends.rel->from, ends.rel->to);
        gather(ends.to, ends.rel->to, ends.rel->from);
    }

    Maps maps;
    maps.adjacency.reserve(nodes.size());
    maps.degrees.reserve(nodes.size());
    auto put = [&](const QString& id, QStringList&& list) {
        maps.degrees.emplace(id, static_cast<int>(list.size()));
        maps.adjacency.emplace(id, std::move(list));
    };
    for (size_t i = 0; i < ids.size(); ++i)
        if (!neighbours[i].isEmpty())
            put(*ids[i], std::move(neighbours[i]));
    for (auto& [end, stray] : strays)
        put(*stray.first, std::move(stray.second));
    maps.relCounts = countByLabel(rels, [](const RelRecord& rel) -> const QString& { return rel.label; });
    maps.typeCounts =
        countByLabel(nodes, [](const NodeRecord& node) -> const QString& { return node.label; });
    return maps;
}

} // namespace corvantis::GraphDerived

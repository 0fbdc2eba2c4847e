#include "kit/graph/GraphDerived.h"

#include <string_view>
#include <unordered_map>

namespace corvantis::GraphDerived {

namespace {

// Qt's string hash is seeded per process and costs far more per key than a plain one, and a QHash
// allocates as it grows; these tables hold hundreds of thousands of ids and are made again after every
// edit, so they are flat arrays of numbers with hashes of their own.
size_t textHash(QStringView text) {
    return std::hash<std::u16string_view>{}(
        std::u16string_view(text.utf16(), static_cast<size_t>(text.size())));
}

size_t addressHash(const void* address) {
    return static_cast<size_t>((reinterpret_cast<quintptr>(address) * 0x9E3779B97F4A7C15ull) >> 32);
}

size_t capacityFor(size_t count) {
    size_t capacity = 16;
    while (capacity < count * 2)
        capacity *= 2;
    return capacity;
}

// Counts records by label. Labels read from one table share one text, so records are counted by the
// address of their label's characters: the few labels of a graph are found by a glance along a short
// list, and a map by address takes the rest. The counts of texts that are equal without sharing are
// joined at the end.
class LabelCounter {
public:
    void add(const QString& label) {
        const QChar* address = label.constData();
        for (Entry& entry : m_entries) {
            if (entry.label->constData() == address && entry.label->size() == label.size()) {
                ++entry.count;
                return;
            }
            if (&entry - m_entries.data() + 1 == shortList)
                break;
        }
        if (m_entries.size() >= shortList) {
            auto [it, added] = m_byAddress.try_emplace({address, label.size()}, m_entries.size());
            if (!added) {
                ++m_entries[it->second].count;
                return;
            }
        }
        m_entries.push_back({&label, 1});
    }
    QHash<QString, int> counts() const {
        QHash<QString, int> counts;
        for (const Entry& entry : m_entries)
            counts[*entry.label] += entry.count;
        return counts;
    }

private:
    static constexpr size_t shortList = 16;
    struct Entry {
        const QString* label;
        int count;
    };
    struct KeyHash {
        size_t operator()(const std::pair<const QChar*, qsizetype>& key) const noexcept {
            return addressHash(key.first) ^ static_cast<size_t>(key.second);
        }
    };
    std::vector<Entry> m_entries; // the first `shortList` searched in turn, the others through the map
    std::unordered_map<std::pair<const QChar*, qsizetype>, size_t, KeyHash> m_byAddress;
};

} // namespace

// How far ahead of the one in hand the loops below ask the processor to fetch memory. Nearly all the
// time of making the index goes to waiting on memory: each id's characters, each relationship's ends and
// each table cell lie somewhere else, so they are asked for several steps before they are needed.
constexpr size_t ahead = 8;

inline void prefetch(const void* address) {
    __builtin_prefetch(address);
}

// Numbers ids as it is given them and fills the index's tables; the neighbours come at the end.
class IndexBuilder {
public:
    IndexBuilder(NodeIndex& index, qsizetype expected)
        : m_index(index) {
        m_index.m_ids.reserve(expected);
        resize(m_index.m_byAddress, capacityFor(static_cast<size_t>(expected)));
        resize(m_index.m_byText, capacityFor(static_cast<size_t>(expected)));
    }

    // Numbers the nodes' ids in order; each id is given once.
    void addNodes(const std::vector<const QString*>& ids) {
        const size_t count = ids.size();
        std::vector<size_t> textHashes(count);
        // First the texts' hashes, with the characters fetched ahead...
        for (size_t i = 0; i < count; ++i) {
            if (i + 2 * ahead < count)
                prefetch(ids[i + 2 * ahead]);
            if (i + ahead < count)
                prefetch(ids[i + ahead]->constData());
            textHashes[i] = textHash(*ids[i]);
        }
        // ...then the cells, with the cells fetched ahead.
        for (size_t i = 0; i < count; ++i) {
            if (i + ahead < count) {
                prefetch(&cellFor(m_index.m_byAddress, addressHash(ids[i + ahead]->constData())));
                prefetch(&cellFor(m_index.m_byText, textHashes[i + ahead]));
            }
            add(*ids[i], textHashes[i]);
        }
        m_index.m_nodeCount = m_index.size();
    }

    // The number of each relationship end, in order; an end that is no node is numbered after the nodes.
    std::vector<int> numberEnds(const std::vector<const QString*>& ends) {
        const size_t count = ends.size();
        std::vector<int> numbers(count);
        for (size_t i = 0; i < count; ++i) {
            if (i + 2 * ahead < count)
                prefetch(ends[i + 2 * ahead]);
            if (i + ahead < count)
                prefetch(&cellFor(m_index.m_byAddress, addressHash(ends[i + ahead]->constData())));
            const QString& end = *ends[i];
            int number = m_index.numberOf(end);
            numbers[i] = number >= 0 ? number : add(end, textHash(end));
        }
        return numbers;
    }

    // Lays out every number's neighbours from the ends, two to a relationship, in order.
    void finish(const std::vector<int>& ends) {
        const size_t count = static_cast<size_t>(m_index.size());
        std::vector<int>& offsets = m_index.m_offsets;
        offsets.assign(count + 1, 0);
        for (int end : ends)
            ++offsets[static_cast<size_t>(end) + 1];
        for (size_t i = 0; i < count; ++i)
            offsets[i + 1] += offsets[i];
        std::vector<int> next(offsets.begin(), offsets.end() - 1);
        m_index.m_neighbours.resize(ends.size());
        for (size_t i = 0; i + 1 < ends.size(); i += 2) {
            const int from = ends[i];
            const int to = ends[i + 1];
            m_index.m_neighbours[static_cast<size_t>(next[static_cast<size_t>(from)]++)] = to;
            m_index.m_neighbours[static_cast<size_t>(next[static_cast<size_t>(to)]++)] = from;
        }
    }

private:
    int add(const QString& id, size_t hash) {
        const int number = m_index.size();
        if (static_cast<size_t>(number + 1) * 2 > m_index.m_byText.cells.size())
            grow();
        m_index.m_ids.append(id);
        // Keyed by the index's own copy, which keeps those characters alive while the index lives.
        place(m_index.m_ids.last(), hash, number);
        return number;
    }

    template <typename Cell> static void resize(NodeIndex::Table<Cell>& table, size_t capacity) {
        table.cells.assign(capacity, Cell{});
        table.mask = capacity - 1;
    }

    template <typename Cell> static const Cell& cellFor(const NodeIndex::Table<Cell>& table, size_t hash) {
        return table.cells[hash & table.mask];
    }

    template <typename Cell> static void place(NodeIndex::Table<Cell>& table, size_t hash, const Cell& cell) {
        size_t at = hash & table.mask;
        while (table.cells[at].number >= 0)
            at = (at + 1) & table.mask;
        table.cells[at] = cell;
    }

    void place(const QString& id, size_t hash, int number) {
        place(m_index.m_byAddress, addressHash(id.constData()),
              NodeIndex::AddressCell{id.constData(), static_cast<int>(id.size()), number});
        place(m_index.m_byText, hash, NodeIndex::TextCell{static_cast<quint32>(hash >> 32), number});
    }

    void grow() {
        const size_t capacity = m_index.m_byText.cells.size() * 2;
        resize(m_index.m_byAddress, capacity);
        resize(m_index.m_byText, capacity);
        for (int number = 0; number < m_index.size(); ++number)
            place(m_index.m_ids[number], textHash(m_index.m_ids[number]), number);
    }

    NodeIndex& m_index;
};

int NodeIndex::numberOf(const QString& id) const {
    if (m_ids.isEmpty())
        return -1;
    // Same characters at the same address, of the same length: the same text.
    const QChar* address = id.constData();
    for (size_t at = addressHash(address) & m_byAddress.mask;; at = (at + 1) & m_byAddress.mask) {
        const AddressCell& cell = m_byAddress.cells[at];
        if (cell.number < 0)
            break;
        if (cell.address == address && cell.length == id.size())
            return cell.number;
    }
    const size_t hash = textHash(id);
    const auto bits = static_cast<quint32>(hash >> 32);
    for (size_t at = hash & m_byText.mask;; at = (at + 1) & m_byText.mask) {
        const TextCell& cell = m_byText.cells[at];
        if (cell.number < 0)
            return -1;
        if (cell.hash == bits && m_ids[cell.number] == id)
            return cell.number;
    }
}

int NodeIndex::degree(const QString& id) const {
    const int number = numberOf(id);
    return number < 0 ? 0 : degree(number);
}

QStringList NodeIndex::neighbourIds(const QString& id) const {
    QStringList ids;
    const int number = numberOf(id);
    if (number < 0)
        return ids;
    ids.reserve(degree(number));
    for (int neighbour : neighbours(number))
        ids.append(m_ids[neighbour]);
    return ids;
}

// Walks a hash in its order with the entry `ahead` steps on fetched in advance: a hash keeps its entries
// apart from the order of its walk.
template <typename Hash, typename Visit> void walkAhead(const Hash& hash, Visit visit) {
    auto lead = hash.cbegin();
    for (size_t i = 0; i < ahead && lead != hash.cend(); ++i)
        ++lead;
    for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
        if (lead != hash.cend()) {
            prefetch(&lead.key());
            prefetch(&lead.value());
            ++lead;
        }
        visit(it.key(), it.value());
    }
}

Maps of(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels) {
    Maps maps;
    IndexBuilder builder(maps.index, nodes.size());
    LabelCounter types;
    std::vector<const QString*> ids;
    ids.reserve(static_cast<size_t>(nodes.size()));
    walkAhead(nodes, [&](const QString& id, const NodeRecord& node) {
        ids.push_back(&id);
        types.add(node.label);
    });
    builder.addNodes(ids);

    LabelCounter relLabels;
    std::vector<const QString*> ends;
    ends.reserve(static_cast<size_t>(rels.size()) * 2);
    walkAhead(rels, [&](const QString&, const RelRecord& rel) {
        ends.push_back(&rel.from);
        ends.push_back(&rel.to);
        relLabels.add(rel.label);
    });
    builder.finish(builder.numberEnds(ends));
    maps.typeCounts = types.counts();
    maps.relCounts = relLabels.counts();
    return maps;
}

} // namespace corvantis::GraphDerived

#include "kit/graph/GraphDerived.h"

#include <QSet>
#include <algorithm>
#include <array>
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
        const qsizetype size = label.size();
        const size_t listed = std::min(m_entries.size(), shortList);
        for (size_t i = 0; i < listed; ++i) {
            Entry& entry = m_entries[i];
            if (entry.address == address && entry.size == size) {
                ++entry.count;
                return;
            }
        }
        if (m_entries.size() >= shortList) {
            auto [it, added] = m_byAddress.try_emplace({address, size}, m_entries.size());
            if (!added) {
                ++m_entries[it->second].count;
                return;
            }
        }
        m_entries.push_back({address, size, &label, 1});
    }
    QHash<QString, int> counts() const {
        QHash<QString, int> counts;
        for (const Entry& entry : m_entries)
            counts[*entry.label] += entry.count;
        return counts;
    }

private:
    static constexpr size_t shortList = 16;
    // The label's characters and length, kept beside it so that a comparison reads only the list.
    struct Entry {
        const QChar* address;
        qsizetype size;
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
constexpr size_t ahead = 16;

inline void prefetch(const void* address) {
    __builtin_prefetch(address);
}

// Numbers ids as it is given them and fills the index's tables; the neighbours come at the end.
class IndexBuilder {
public:
    // Adds to an index that is already made.
    explicit IndexBuilder(NodeIndex& index)
        : m_index(index) {}

    IndexBuilder(NodeIndex& index, qsizetype expected)
        : m_index(index) {
        m_index.m_ids.reserve(expected);
        resize(m_index.m_byAddress, capacityFor(static_cast<size_t>(expected)));
        resize(m_index.m_byText, capacityFor(static_cast<size_t>(expected)));
    }

    // Numbers the nodes' ids in order, each given once, and counts their labels. Each step works on
    // what earlier steps asked for: the entry, then the id's characters, then the table cells.
    void addNodes(const std::vector<std::pair<const QString*, const NodeRecord*>>& nodes,
                  LabelCounter& types) {
        const size_t count = nodes.size();
        std::array<size_t, 2 * ahead> textHashes{};
        auto prepare = [&](size_t at) {
            const QString& id = *nodes[at].first;
            const size_t hash = textHash(id);
            textHashes[at % textHashes.size()] = hash;
            prefetch(&cellFor(m_index.m_byAddress, addressHash(id.constData())));
            prefetch(&cellFor(m_index.m_byText, hash));
        };
        for (size_t i = 0; i < std::min(count, ahead); ++i)
            prepare(i);
        for (size_t i = 0; i < count; ++i) {
            if (i + 3 * ahead < count) {
                prefetch(nodes[i + 3 * ahead].first);
                prefetch(nodes[i + 3 * ahead].second);
            }
            if (i + 2 * ahead < count)
                prefetch(nodes[i + 2 * ahead].first->constData());
            if (i + ahead < count)
                prepare(i + ahead);
            add(*nodes[i].first, textHashes[i % textHashes.size()]);
            types.add(nodes[i].second->label);
        }
        m_index.m_nodeCount = m_index.size();
    }

    // The numbers of each relationship's two ends, in order, with the labels counted; an end that is no
    // node is numbered after the nodes.
    std::vector<int> numberEnds(const std::vector<const RelRecord*>& rels, LabelCounter& labels) {
        const size_t count = rels.size();
        std::vector<int> numbers(count * 2);
        for (size_t i = 0; i < count; ++i) {
            if (i + 2 * ahead < count) {
                prefetch(rels[i + 2 * ahead]);
                prefetch(reinterpret_cast<const char*>(rels[i + 2 * ahead]) + 64);
            }
            if (i + ahead < count) {
                const RelRecord& next = *rels[i + ahead];
                prefetch(&cellFor(m_index.m_byAddress, addressHash(next.from.constData())));
                prefetch(&cellFor(m_index.m_byAddress, addressHash(next.to.constData())));
            }
            const RelRecord& rel = *rels[i];
            labels.add(rel.label);
            numbers[2 * i] = end(rel.from);
            numbers[2 * i + 1] = end(rel.to);
        }
        return numbers;
    }

    // Lays out every number's neighbours from the ends, two to a relationship, in order.
    void finish(const std::vector<int>& ends) {
        const size_t count = static_cast<size_t>(m_index.size());
        std::vector<int> offsets(count + 1, 0);
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
        m_index.m_blocks.resize(count);
        for (size_t i = 0; i < count; ++i) {
            const int degree = offsets[i + 1] - offsets[i];
            m_index.m_blocks[i] = NodeIndex::Block{offsets[i], degree, degree};
        }
        m_index.m_holes = 0;
    }

    int end(const QString& id) {
        const int number = m_index.numberOf(id);
        return number >= 0 ? number : add(id, textHash(id));
    }

    int add(const QString& id, size_t hash) {
        const int number = m_index.size();
        if (static_cast<size_t>(number + 1) * 2 > m_index.m_byText.cells.size())
            grow();
        m_index.m_ids.append(id);
        // Keyed by the index's own copy, which keeps those characters alive while the index lives.
        place(m_index.m_ids.last(), hash, number);
        return number;
    }

private:
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

// Changes a made index in place, for `update`; the changes it is given have been checked to fit.
class IndexEditor {
public:
    explicit IndexEditor(NodeIndex& index)
        : m_index(index) {}

    // Made (even of an empty graph, it has its tables), with no ends that are no nodes.
    bool editable() const { return !m_index.m_byText.cells.empty() && m_index.size() == m_index.m_nodeCount; }

    void addNode(const QString& id) {
        IndexBuilder(m_index).end(id);
        m_index.m_blocks.push_back(NodeIndex::Block{static_cast<int>(m_index.m_neighbours.size()), 0, 0});
        ++m_index.m_nodeCount;
    }

    void link(int from, int to) {
        push(from, to);
        push(to, from);
    }

    void unlink(int from, int to) {
        drop(from, to);
        drop(to, from);
    }

    // Takes out a node without neighbours; the last number takes its place.
    void removeNode(int number) {
        Q_ASSERT(m_index.m_blocks[number].count == 0);
        const int last = m_index.size() - 1;
        eraseCells(number); // its block's places are spare already, and stay where they are
        if (number != last) {
            renumberCells(last, number);
            m_index.m_ids[number] = m_index.m_ids[last];
            m_index.m_blocks[number] = m_index.m_blocks[last];
            const auto moved = mutableNeighbours(number);
            for (int& neighbour : moved)
                if (neighbour == last)
                    neighbour = number;
            for (int neighbour : moved)
                if (neighbour != number)
                    for (int& back : mutableNeighbours(neighbour))
                        if (back == last)
                            back = number;
        }
        m_index.m_ids.removeLast();
        m_index.m_blocks.pop_back();
        --m_index.m_nodeCount;
    }

    // Lays the blocks out again without holes once they take up as much room as the neighbours.
    void compactIfSparse() {
        if (m_index.m_holes <= m_index.m_neighbours.size() / 2 + 64)
            return;
        std::vector<int> packed;
        packed.reserve(m_index.m_neighbours.size() - m_index.m_holes);
        for (NodeIndex::Block& block : m_index.m_blocks) {
            const auto from = m_index.m_neighbours.begin() + block.start;
            const int start = static_cast<int>(packed.size());
            packed.insert(packed.end(), from, from + block.count);
            block = NodeIndex::Block{start, block.count, block.count};
        }
        m_index.m_neighbours = std::move(packed);
        m_index.m_holes = 0;
    }

private:
    std::span<int> mutableNeighbours(int number) {
        const NodeIndex::Block& block = m_index.m_blocks[number];
        return {m_index.m_neighbours.data() + block.start, static_cast<size_t>(block.count)};
    }

    void push(int number, int neighbour) {
        NodeIndex::Block& block = m_index.m_blocks[number];
        std::vector<int>& all = m_index.m_neighbours;
        if (block.count == block.capacity) {
            const int capacity = std::max(4, block.count * 2);
            const size_t start = all.size();
            all.resize(start + static_cast<size_t>(capacity));
            std::copy_n(all.begin() + block.start, block.count, all.begin() + static_cast<qsizetype>(start));
            m_index.m_holes += static_cast<size_t>(capacity); // the old places, and the new spare ones
            block.start = static_cast<int>(start);
            block.capacity = capacity;
        }
        --m_index.m_holes;
        all[static_cast<size_t>(block.start + block.count)] = neighbour;
        ++block.count;
    }

    void drop(int number, int neighbour) {
        NodeIndex::Block& block = m_index.m_blocks[number];
        int* first = m_index.m_neighbours.data() + block.start;
        int* last = first + block.count - 1;
        int* found = std::find(first, last + 1, neighbour);
        Q_ASSERT(found != last + 1);
        *found = *last;
        --block.count;
        ++m_index.m_holes;
    }

    // Where the cell of `number` lies in a table, probing from its id's place.
    template <typename Cell>
    static size_t cellOf(const NodeIndex::Table<Cell>& table, size_t hash, int number) {
        size_t at = hash & table.mask;
        while (table.cells[at].number != number) {
            Q_ASSERT(table.cells[at].number >= 0);
            at = (at + 1) & table.mask;
        }
        return at;
    }

    // Empties a cell of a table with linear probing: the cells after it that would no longer be found
    // from their own place move back into the gap.
    template <typename Cell, typename Home>
    static void erase(NodeIndex::Table<Cell>& table, size_t at, const Home& home) {
        size_t gap = at;
        for (size_t i = (at + 1) & table.mask; table.cells[i].number >= 0; i = (i + 1) & table.mask) {
            const size_t own = home(table.cells[i]) & table.mask;
            const bool reachable = gap <= i ? (gap < own && own <= i) : (gap < own || own <= i);
            if (!reachable) {
                table.cells[gap] = table.cells[i];
                gap = i;
            }
        }
        table.cells[gap] = Cell{};
    }

    void eraseCells(int number) {
        const QString& id = m_index.m_ids[number];
        erase(m_index.m_byAddress, cellOf(m_index.m_byAddress, addressHash(id.constData()), number),
              [](const NodeIndex::AddressCell& cell) { return addressHash(cell.address); });
        erase(m_index.m_byText, cellOf(m_index.m_byText, textHash(id), number),
              [this](const NodeIndex::TextCell& cell) { return textHash(m_index.m_ids[cell.number]); });
    }

    void renumberCells(int from, int to) {
        const QString& id = m_index.m_ids[from];
        m_index.m_byAddress.cells[cellOf(m_index.m_byAddress, addressHash(id.constData()), from)].number = to;
        m_index.m_byText.cells[cellOf(m_index.m_byText, textHash(id), from)].number = to;
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

Maps of(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels) {
    // Where each entry lies, in the hashes' order. Walking a hash reads only its own bookkeeping; the
    // entries themselves lie elsewhere, and are fetched ahead as the builder comes to them.
    std::vector<std::pair<const QString*, const NodeRecord*>> nodeEntries;
    nodeEntries.reserve(static_cast<size_t>(nodes.size()));
    for (auto it = nodes.cbegin(); it != nodes.cend(); ++it)
        nodeEntries.push_back({&it.key(), &it.value()});
    std::vector<const RelRecord*> relEntries;
    relEntries.reserve(static_cast<size_t>(rels.size()));
    for (auto it = rels.cbegin(); it != rels.cend(); ++it)
        relEntries.push_back(&it.value());

    Maps maps;
    IndexBuilder builder(maps.index, nodes.size());
    LabelCounter types;
    builder.addNodes(nodeEntries, types);
    LabelCounter relLabels;
    builder.finish(builder.numberEnds(relEntries, relLabels));
    maps.typeCounts = types.counts();
    maps.relCounts = relLabels.counts();
    return maps;
}

namespace {

void count(QHash<QString, int>& counts, const QString& label, int by) {
    auto it = counts.find(label);
    if (it == counts.end()) {
        Q_ASSERT(by > 0);
        counts.insert(label, by);
    } else if ((*it += by) == 0) {
        counts.erase(it);
    }
}

} // namespace

bool update(Maps& maps, const Change& change) {
    NodeIndex& index = maps.index;
    IndexEditor editor(index);
    if (!editor.editable())
        return false;

    // Check that the change fits before anything moves.
    std::vector<std::pair<int, int>> removedEnds;
    removedEnds.reserve(static_cast<size_t>(change.removedRels.size()));
    QHash<int, int> endsTaken;
    for (const Change::Rel& rel : change.removedRels) {
        const int from = index.numberOf(rel.from);
        const int to = index.numberOf(rel.to);
        if (from < 0 || to < 0)
            return false;
        removedEnds.push_back({from, to});
        ++endsTaken[from];
        ++endsTaken[to];
    }
    for (auto it = endsTaken.cbegin(); it != endsTaken.cend(); ++it)
        if (it.value() > index.degree(it.key()))
            return false;
    QSet<QString> removedIds;
    std::vector<int> removedNumbers;
    for (const Change::Node& node : change.removedNodes) {
        const int number = index.numberOf(node.id);
        if (number < 0 || removedIds.contains(node.id) || index.degree(number) != endsTaken.value(number))
            return false; // unknown, or relationships would be left with an end that is no node
        removedIds.insert(node.id);
        removedNumbers.push_back(number);
    }
    QSet<QString> addedIds;
    for (const Change::Node& node : change.addedNodes) {
        if ((index.numberOf(node.id) >= 0 && !removedIds.contains(node.id)) || addedIds.contains(node.id))
            return false;
        addedIds.insert(node.id);
    }
    auto remains = [&](const QString& id) {
        return addedIds.contains(id) || (index.numberOf(id) >= 0 && !removedIds.contains(id));
    };
    for (const Change::Rel& rel : change.addedRels)
        if (!remains(rel.from) || !remains(rel.to))
            return false;

    for (const auto& [from, to] : removedEnds)
        editor.unlink(from, to);
    for (const Change::Rel& rel : change.removedRels)
        count(maps.relCounts, rel.label, -1);
    // Highest number first, so that the numbers still to be taken out are not the ones moved.
    std::sort(removedNumbers.begin(), removedNumbers.end(), std::greater<>());
    for (int number : removedNumbers)
        editor.removeNode(number);
    for (const Change::Node& node : change.removedNodes)
        count(maps.typeCounts, node.label, -1);

    for (const Change::Node& node : change.addedNodes) {
        editor.addNode(node.id);
        count(maps.typeCounts, node.label, 1);
    }
    for (const Change::Rel& rel : change.addedRels) {
        editor.link(index.numberOf(rel.from), index.numberOf(rel.to));
        count(maps.relCounts, rel.label, 1);
    }
    editor.compactIfSparse();
    return true;
}

} // namespace corvantis::GraphDerived

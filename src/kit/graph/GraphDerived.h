#pragma once

#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <span>
#include <vector>

// What an open graph derives from its records, made in one pass over each map.
namespace corvantis::GraphDerived {

// Every id of a graph by number, with each one's neighbours as numbers, so that the canvas and searches
// walk the graph without hashing texts. The nodes come first (0 up to nodeCount(), in the order of the
// node map); after them every relationship end that is no node, since such an end is counted all the
// same. A node's neighbours are the ids at the other end of each of its relationship ends, in no
// particular order: a loop stands twice, and a node without relationships has none.
//
// The index holds its own copy of every id, so the numbers it hands out stay valid for as long as it
// lives, whatever happens to the maps it was made from. An `update` may renumber: numbers are good until
// the next change of the graph.
class NodeIndex {
public:
    int size() const { return static_cast<int>(m_ids.size()); }
    int nodeCount() const { return m_nodeCount; }
    const QString& idAt(int number) const { return m_ids[number]; }
    // The number of an id, or -1. An id that shares the text of the index's copy (as the records' ids
    // and ends do) is found by the address of its characters; any other by its text.
    int numberOf(const QString& id) const;
    int degree(int number) const { return m_blocks[number].count; }
    std::span<const int> neighbours(int number) const {
        const Block& block = m_blocks[number];
        return {m_neighbours.data() + block.start, static_cast<size_t>(block.count)};
    }

    // By text: how many relationship ends an id has (0 when it is unknown), and the ids of its
    // neighbours.
    int degree(const QString& id) const;
    QStringList neighbourIds(const QString& id) const;

private:
    friend class IndexBuilder;
    friend class IndexEditor;

    // Where a number's neighbours lie in `m_neighbours`: `count` of them from `start`, with room for
    // `capacity` before the next block. Made whole, every block is full; an edit that adds a neighbour
    // to a full block moves it to the end with room to spare, leaving a hole behind.
    struct Block {
        int start = 0;
        int count = 0;
        int capacity = 0;
    };

    // Open addressing, keyed by the address of an id's characters (with its length, so that the
    // address settles the lookup without reading the id) and by a hash of its text (whose bits spare
    // most comparisons of texts); a lookup is, nearly always, one probe.
    struct AddressCell {
        const void* address = nullptr;
        int length = 0;
        int number = -1;
    };
    struct TextCell {
        quint32 hash = 0;
        int number = -1;
    };
    template <typename Cell> struct Table {
        std::vector<Cell> cells;
        size_t mask = 0;
    };

    QList<QString> m_ids;
    int m_nodeCount = 0;
    std::vector<Block> m_blocks; // size() entries
    std::vector<int> m_neighbours;
    size_t m_holes = 0; // entries of `m_neighbours` that no block holds
    Table<AddressCell> m_byAddress;
    Table<TextCell> m_byText;
};

struct Maps {
    NodeIndex index;
    QHash<QString, int> typeCounts; // node label to how many nodes bear it
    QHash<QString, int> relCounts;  // relationship label to how many relationships bear it
};

// The maps of a graph. Every relationship counts once at each end, so a loop counts twice.
Maps of(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels);

// What one edit did to the records of a graph: the records it took out, as they were, and those it put
// in. An added id is best given as the maps' own key, whose characters the index then finds by address.
struct Change {
    struct Node {
        QString id;
        QString label;
    };
    struct Rel {
        QString label;
        QString from;
        QString to;
    };
    QList<Node> removedNodes;
    QList<Rel> removedRels;
    QList<Node> addedNodes;
    QList<Rel> addedRels;
};

// Brings the maps up to date with a change of the graph they were made from, in time that grows with
// the change rather than with the graph; afterwards they equal what `of` makes of the changed graph, up
// to the order of numbers and of neighbours. Relationships are taken out first, then nodes; nodes are
// put in before relationships. Returns false and leaves the maps as they were when the change involves
// a relationship end that is no node (before or after it), or does not fit the maps: make them again
// with `of` then.
bool update(Maps& maps, const Change& change);

} // namespace corvantis::GraphDerived

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
// same. A node's neighbours are the ids at the other end of each of its relationship ends, in the order
// of the relationship map: a loop stands twice, and a node without relationships has none.
//
// The index holds its own copy of every id, so the numbers it hands out stay valid for as long as it
// lives, whatever happens to the maps it was made from.
class NodeIndex {
public:
    int size() const { return static_cast<int>(m_ids.size()); }
    int nodeCount() const { return m_nodeCount; }
    const QString& idAt(int number) const { return m_ids[number]; }
    // The number of an id, or -1. An id that shares the text of the index's copy (as the records' ids
    // and ends do) is found by the address of its characters; any other by its text.
    int numberOf(const QString& id) const;
    int degree(int number) const { return m_offsets[number + 1] - m_offsets[number]; }
    std::span<const int> neighbours(int number) const {
        return {m_neighbours.data() + m_offsets[number], static_cast<size_t>(degree(number))};
    }

    // By text: how many relationship ends an id has (0 when it is unknown), and the ids of its
    // neighbours.
    int degree(const QString& id) const;
    QStringList neighbourIds(const QString& id) const;

private:
    friend class IndexBuilder;

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
    std::vector<int> m_offsets{0}; // size() + 1 entries
    std::vector<int> m_neighbours;
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

} // namespace corvantis::GraphDerived

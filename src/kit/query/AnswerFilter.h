#pragma once

#include <QHash>
#include <QSet>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// Narrows the canvas to part of an answer without asking anything again: types shut, values of choice
// properties shut, and "connected to" a hub node.
struct AnswerFilter {
    QSet<QString> hiddenTypes;                // node tables
    QHash<QUuid, QSet<QString>> hiddenValues; // choice property -> values shut
    std::optional<QString> near;              // only the hub's neighbours and the hub itself

    // How many filters are in force.
    int count() const;
    bool isEmpty() const { return count() == 0; }
    // "2 filters" with "hidden" or "shown" for what they do ("1 filter shown" for a hub alone).
    QString title() const;

    friend bool operator==(const AnswerFilter&, const AnswerFilter&) = default;
};

} // namespace corvantis

#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace corvantis {

// The mode of the Ask bar, in menu order (Ctrl+1 .. Ctrl+5).
enum class QueryMode { Auto, Cypher, Vector, Raw, Simple };

namespace QueryModes {
const QList<QueryMode>& all();
QString id(QueryMode mode);    // "auto", "cypher", "vector", "raw", "simple"
QString title(QueryMode mode); // "Auto", "Text to Cypher", "Vector", "Raw Cypher", "Raw Text"
int key(QueryMode mode);       // 1 .. 5, the digit of its shortcut
std::optional<QueryMode> fromId(const QString& id);
} // namespace QueryModes

// How the window looks: following the system, or always light or dark.
enum class Appearance { System, Light, Dark };

namespace Appearances {
QString id(Appearance appearance); // "system", "light", "dark"
std::optional<Appearance> fromId(const QString& id);
} // namespace Appearances

} // namespace corvantis

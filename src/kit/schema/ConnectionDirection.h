#pragma once

namespace corvantis {

// Which way a connection between two node types runs, seen from one stored endpoint: along it, both
// ways, or only against it. A loop (a type to itself) runs one way or both ways.
enum class ConnectionDirection { OneWay, BothWays, OtherWay };

} // namespace corvantis

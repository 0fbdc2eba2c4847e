#pragma once

#include <QtGlobal>

namespace corvantis {

// A stretch of a QString in UTF-16 code units, the units a text field counts in.
struct TextRange {
    qsizetype location = 0;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    // Both ends inclusive: a caret just after the last unit still counts as inside.
    bool touches(qsizetype position) const { return position >= location && position <= end(); }

    static TextRange between(qsizetype start, qsizetype end) { return {start, end - start}; }
    friend bool operator==(const TextRange&, const TextRange&) = default;
};

} // namespace corvantis

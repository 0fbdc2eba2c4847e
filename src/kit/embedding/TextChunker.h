#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// Cuts a text into passages of about a thousand user-perceived characters (grapheme clusters), at
// sentence ends found by ICU's sentence iterator in the system locale. A short last sentence of one
// passage opens the next one as well.
namespace corvantis::TextChunker {

inline constexpr int target = 1000;
inline constexpr int maximum = 1400;
// A last sentence up to this long is carried over into the next passage.
inline constexpr int overlap = 220;

// Line ends made line feeds, lines trimmed, runs of empty lines made one, the whole trimmed.
QString normalize(const QString& text);
// The passages of a text, in order; none for an empty or blank text.
QStringList chunks(const QString& text);

// Where a passage stands in a text (UTF-16 units): exactly, or else with any run of whitespace in
// the passage matching any run of whitespace in the text.
struct Range {
    qsizetype start = 0;
    qsizetype length = 0;
    bool operator==(const Range& other) const = default;
};
std::optional<Range> locate(const QString& passage, const QString& text);

// The number of grapheme clusters.
int characterCount(const QString& text);
// The sentences of a paragraph, each trimmed, empty ones dropped.
QStringList sentences(const QString& paragraph);

} // namespace corvantis::TextChunker

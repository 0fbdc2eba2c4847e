#pragma once

#include <QString>
#include <string>
#include <string_view>
#include <unordered_map>

namespace corvantis::ladybug {

// Texts that repeat down one column of a result (the options of a choice, a handful of labels), each
// made once from the engine's bytes and then shared: no conversion, no allocation, and one copy held
// however many records bear it. A column whose texts keep coming new is soon no longer looked at, so
// that a column of names or notes pays only for its first rows.
class TextPool {
public:
    // The text of these UTF-8 bytes; the same text as before when they were seen before.
    QString text(std::string_view bytes);

private:
    // Looked at while no more than this many texts have been made, and while, after `sample` texts,
    // at least half of those asked for were found.
    static constexpr size_t maxTexts = 1024;
    static constexpr size_t sample = 256;

    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view bytes) const noexcept {
            return std::hash<std::string_view>{}(bytes);
        }
    };
    std::unordered_map<std::string, QString, Hash, std::equal_to<>> m_texts;
    size_t m_asked = 0;
    bool m_open = true;
};

} // namespace corvantis::ladybug

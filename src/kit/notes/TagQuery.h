#pragma once

#include "kit/notes/NoteTag.h"

#include <QString>
#include <optional>

namespace corvantis {

// What is being typed at the caret that the picker can complete.
struct TagQuery {
    enum class Stage { hop, property, record, note, command };

    Stage stage = Stage::record;
    // For `hop`: the tag so far and the direction; for `property`: the tag it reads.
    TagToken from;
    bool outgoing = true;
    int start = 0; // where the query begins in the text (the "@", "/", "[[" or arrow)
    int end = 0;   // where it ends: the caret, or past the caret for a note title
    QString text;  // what was typed so far

    // The query at the caret, looking at the caret's line only; absent when none is open.
    static std::optional<TagQuery> at(int caret, const QString& text);

    bool operator==(const TagQuery& other) const = default;
};

// One line of the picker.
struct TagChoice {
    QString id;
    QString title;
    QString detail;
    QString color; // a palette name, or empty
    bool isRel = false;
    QString insert;     // the text that replaces the query
    bool whole = false; // inserting it ends the tag
    std::optional<QString> symbol;
    bool operator==(const TagChoice& other) const = default;
};

} // namespace corvantis

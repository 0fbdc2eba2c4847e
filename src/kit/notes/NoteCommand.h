#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace corvantis {

// A command of the slash menu, in the menu's order.
enum class NoteCommand {
    media,
    drawing,
    tag,
    noteLink,
    text,
    heading1,
    heading2,
    heading3,
    bullets,
    numbers,
    todo,
    quote,
    code,
    divider,
};

// A change to a note's text: the new text and where the caret goes.
struct TextEdit {
    QString text;
    int caret = 0;
    bool operator==(const TextEdit& other) const = default;
};

namespace NoteCommands {

const QList<NoteCommand>& all();
QString rawValue(NoteCommand command); // "media", "heading1", ...
std::optional<NoteCommand> fromRawValue(const QString& raw);
QString title(NoteCommand command);
QStringList aliases(NoteCommand command);
// The block prefix of the eight commands from `text` to `quote` ("" for text); absent for the others.
std::optional<QString> prefix(NoteCommand command);

// The commands for what was typed after the slash: all for nothing; else those whose title or an
// alias begins with the text (ignoring case), then those that contain it.
QList<NoteCommand> matching(const QString& text);

// Runs a command in `text`: the range [start, end) holding the slash and what followed is removed
// first. Media and drawing only remove the range: the view opens the picker or the board.
TextEdit run(NoteCommand command, const QString& text, int start, int end);

} // namespace NoteCommands

// Typing helpers of the editor, as functions of the text.
namespace NoteTyping {

// The closing partner of an opening bracket typed by the person, or a null character.
QChar closingBracket(QChar opening);
// Return at the caret: a list item or quote goes on with its marker (a number raised, a check box
// emptied); Return on an item with nothing after its marker ends the list instead. Absent when Return
// has nothing special to do at the caret.
std::optional<TextEdit> continueBlock(const QString& text, int caret);

// What a key does while the tag picker is open.
enum class PickerKey { Accept, Close, Up, Down, None };
PickerKey pickerKey(int qtKey);

} // namespace NoteTyping

} // namespace corvantis

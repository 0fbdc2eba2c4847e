#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>

namespace corvantis {

// What a range of a note's text is, for the editor to style; the text itself stays plain Markdown.
struct StyleSpan {
    enum class Role {
        Heading, // a heading line's text; `level` 1 to 6
        Quote,   // a quote's text
        Code,    // inline code, or a line inside a fence
        Fence,   // a fence line
        Rule,    // a divider line
        Done,    // the text of a checked to-do item
        Bold,
        Italic,
        Strike,
        Highlight,  // ==marked==
        Link,       // a link's text; `data` the target
        Wiki,       // a note link's title; `data` "corvantis-note:" and the title
        BareURL,    // `data` the URL
        Tag,        // a tag of a node or relationship; `data` the tag's text
        HopMark,    // a hop inside a tag
        Mark,       // punctuation of the syntax: hash signs, stars, brackets, a link's target
        ListMarker, // `data` the glyph drawn instead
        CheckBox,   // `data` "checked" or "unchecked"
        Escape,     // the backslash of an escape
    };
    // Ranges that take no room in reading mode, ranges drawn as a glyph, ranges the caret treats whole.
    enum Flag { Hidden = 1, Glyph = 2, Atom = 4 };

    Role role = Role::Mark;
    int start = 0;
    int length = 0;
    int flags = 0;
    int level = 0;
    QString data;

    bool operator==(const StyleSpan& other) const = default;
};

// How one line is styled, and whether a fence is open after it.
struct LineStyle {
    QList<StyleSpan> spans;
    bool inFenceAfter = false;
};

// The rules that decide what is a mark in the note editor. Patterns are compiled once and work per line.
namespace MarkdownStyle {

const QRegularExpression& heading();
const QRegularExpression& fence();
const QRegularExpression& quote();
const QRegularExpression& list();
const QRegularExpression& done();
const QRegularExpression& rule();
const QRegularExpression& bold();
const QRegularExpression& italic();
const QRegularExpression& strike();
const QRegularExpression& mark();
const QRegularExpression& code();
const QRegularExpression& link();
const QRegularExpression& wiki();
const QRegularExpression& hopMark();
const QRegularExpression& bareURL();
const QRegularExpression& escape();
// Whatever a block command replaces at a line's start.
const QRegularExpression& blockPrefix();

// The spans of one line (no line end in it). `inFence` tells whether a fence is open before it. In
// `reading` mode marks take the hidden flag; `escapeAt`, the offset in the line of a backslash at the
// caret, stays visible.
LineStyle line(const QString& text, bool inFence, bool reading, int escapeAt = -1);

// The whole text, line by line; for tests and for printing.
QList<LineStyle> lines(const QString& text, bool reading);

} // namespace MarkdownStyle

} // namespace corvantis

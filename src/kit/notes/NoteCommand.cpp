#include "kit/notes/NoteCommand.h"

#include "kit/notes/MarkdownStyle.h"

#include <Qt>

namespace corvantis {

namespace NoteCommands {

namespace {

struct Entry {
    NoteCommand command;
    const char* raw;
    const char* title;
    QStringList aliases;
    std::optional<QString> prefix;
};

const QList<Entry>& table() {
    static const QList<Entry> entries{
        {NoteCommand::media,
         "media",
         "Add Picture or Video…",
         {"image", "picture", "photo", "video", "media"},
         {}},
        {NoteCommand::drawing, "drawing", "Drawing", {"sketch", "draw", "board"}, {}},
        {NoteCommand::tag, "tag", "Tag a node or relationship", {"node", "mention", "@"}, {}},
        {NoteCommand::noteLink, "noteLink", "Link to note", {"note", "wiki", "[["}, {}},
        {NoteCommand::text, "text", "Text", {"plain", "paragraph"}, QString()},
        {NoteCommand::heading1, "heading1", "Heading 1", {"h1", "title"}, QStringLiteral("# ")},
        {NoteCommand::heading2, "heading2", "Heading 2", {"h2", "subtitle"}, QStringLiteral("## ")},
        {NoteCommand::heading3, "heading3", "Heading 3", {"h3"}, QStringLiteral("### ")},
        {NoteCommand::bullets,
         "bullets",
         "Bulleted list",
         {"ul", "unordered", "bullet"},
         QStringLiteral("- ")},
        {NoteCommand::numbers,
         "numbers",
         "Numbered list",
         {"ol", "ordered", "number"},
         QStringLiteral("1. ")},
        {NoteCommand::todo, "todo", "To-do list", {"task", "checkbox", "check"}, QStringLiteral("- [ ] ")},
        {NoteCommand::quote, "quote", "Quote", {"blockquote", "citation"}, QStringLiteral("> ")},
        {NoteCommand::code, "code", "Code block", {"fence", "snippet", "pre"}, {}},
        {NoteCommand::divider, "divider", "Divider", {"rule", "line", "hr", "separator"}, {}},
    };
    return entries;
}

const Entry& entry(NoteCommand command) {
    return table()[int(command)];
}

int lineStart(const QString& text, int at) {
    return at <= 0 ? 0 : int(text.lastIndexOf('\n', at - 1)) + 1;
}

int lineEnd(const QString& text, int at) {
    const int end = text.indexOf('\n', at);
    return end < 0 ? int(text.size()) : end;
}

} // namespace

const QList<NoteCommand>& all() {
    static const QList<NoteCommand> commands = [] {
        QList<NoteCommand> list;
        for (const Entry& e : table())
            list << e.command;
        return list;
    }();
    return commands;
}

QString rawValue(NoteCommand command) {
    return QString::fromUtf8(entry(command).raw);
}

std::optional<NoteCommand> fromRawValue(const QString& raw) {
    for (const Entry& e : table())
        if (raw == QLatin1String(e.raw))
            return e.command;
    return std::nullopt;
}

QString title(NoteCommand command) {
    return QString::fromUtf8(entry(command).title);
}

QStringList aliases(NoteCommand command) {
    return entry(command).aliases;
}

std::optional<QString> prefix(NoteCommand command) {
    return entry(command).prefix;
}

QList<NoteCommand> matching(const QString& text) {
    if (text.isEmpty())
        return all();
    QList<NoteCommand> begins;
    QList<NoteCommand> contains;
    for (const Entry& e : table()) {
        QStringList names = e.aliases;
        names.prepend(QString::fromUtf8(e.raw));
        names.prepend(QString::fromUtf8(e.title));
        bool begin = false;
        bool inside = false;
        for (const QString& name : names) {
            begin = begin || name.startsWith(text, Qt::CaseInsensitive);
            inside = inside || name.contains(text, Qt::CaseInsensitive);
        }
        if (begin)
            begins << e.command;
        else if (inside)
            contains << e.command;
    }
    return begins + contains;
}

TextEdit run(NoteCommand command, const QString& original, int start, int end) {
    start = std::clamp(start, 0, int(original.size()));
    end = std::clamp(end, start, int(original.size()));
    QString text = original.left(start) + original.mid(end);
    int caret = start;
    if (const auto blockPrefix = prefix(command)) {
        const int from = lineStart(text, caret);
        const QString line = text.mid(from, lineEnd(text, from) - from);
        const auto m = MarkdownStyle::blockPrefix().match(line);
        const int old = m.hasMatch() ? int(m.capturedLength(0)) : 0;
        text.replace(from, old, *blockPrefix);
        caret = std::max(from + int(blockPrefix->size()), caret - old + int(blockPrefix->size()));
        return {text, caret};
    }
    switch (command) {
    case NoteCommand::tag:
        text.insert(caret, '@');
        return {text, caret + 1};
    case NoteCommand::noteLink:
        text.insert(caret, QStringLiteral("[["));
        return {text, caret + 2};
    case NoteCommand::divider:
        text.insert(caret, QStringLiteral("\n---\n"));
        return {text, caret + 5};
    case NoteCommand::code: {
        const int from = lineStart(text, caret);
        const int to = lineEnd(text, caret);
        text.insert(to, QStringLiteral("\n```"));
        text.insert(from, QStringLiteral("```\n"));
        return {text, caret + 4};
    }
    default:
        return {text, caret};
    }
}

} // namespace NoteCommands

namespace NoteTyping {

QChar closingBracket(QChar opening) {
    switch (opening.unicode()) {
    case '(':
        return ')';
    case '[':
        return ']';
    case '{':
        return '}';
    default:
        return QChar();
    }
}

std::optional<TextEdit> continueBlock(const QString& text, int caret) {
    const int from = caret <= 0 ? 0 : int(text.lastIndexOf('\n', caret - 1)) + 1;
    const QString before = text.mid(from, caret - from);
    QString marker;
    int markerLength = 0;
    if (const auto l = MarkdownStyle::list().match(before); l.hasMatch()) {
        markerLength = l.capturedLength(0);
        marker = l.captured(0);
        const QString symbol = l.captured(1);
        if (symbol[0].isDigit()) {
            const QString digits = symbol.left(symbol.size() - 1);
            marker.replace(l.capturedStart(1), symbol.size(),
                           QString::number(digits.toLongLong() + 1) + symbol.right(1));
        }
        if (l.capturedLength(2) > 0) {
            const int box = l.capturedStart(2) + (marker.size() - markerLength);
            marker.replace(box, 3, QStringLiteral("[ ]"));
        }
    } else if (const auto q = QRegularExpression(QStringLiteral("^>+[ \\t]?")).match(before); q.hasMatch()) {
        markerLength = q.capturedLength(0);
        marker = q.captured(0);
    } else {
        return std::nullopt;
    }
    const int to = text.indexOf('\n', caret) < 0 ? int(text.size()) : int(text.indexOf('\n', caret));
    if (before.size() == markerLength && text.mid(caret, to - caret).trimmed().isEmpty()) {
        // An empty item: Return ends the list, leaving an empty line.
        return TextEdit{text.left(from) + text.mid(caret), from};
    }
    const QString inserted = "\n" + marker;
    return TextEdit{text.left(caret) + inserted + text.mid(caret), caret + int(inserted.size())};
}

PickerKey pickerKey(int qtKey) {
    switch (qtKey) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Tab:
        return PickerKey::Accept;
    case Qt::Key_Escape:
        return PickerKey::Close;
    case Qt::Key_Up:
        return PickerKey::Up;
    case Qt::Key_Down:
        return PickerKey::Down;
    default:
        return PickerKey::None;
    }
}

} // namespace NoteTyping

} // namespace corvantis

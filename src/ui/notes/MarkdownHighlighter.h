#pragma once

#include "kit/notes/MarkdownStyle.h"
#include "kit/notes/NoteEmbed.h"
#include "kit/notes/NoteTag.h"

#include <QSyntaxHighlighter>
#include <QTextBlockUserData>
#include <functional>

namespace corvantis {

// A tag drawn as a pill over its text, which keeps exactly the pill's room.
struct TagPill {
    int start = 0;
    int length = 0;
    NoteTag tag;
    QString text;
    TagToken token;
};

// What styling found in one block, kept for painting glyphs and pills and for moving the caret.
class BlockStyle : public QTextBlockUserData {
public:
    QList<StyleSpan> spans;
    QList<TagPill> pills;
    // An embed line: the picture drawn in the room its first character keeps.
    std::optional<NoteEmbed> embed;
};

// Lays the note editor's styling over the plain Markdown as formats of the layout, block by block: the
// document's text is never changed. Only the blocks an edit touched are styled again (and the ones
// after them while a fence opens or shuts). Marks hidden in reading mode get formats that take no room.
class MarkdownHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    using TagResolver = std::function<NoteTag(const TagToken&)>;
    // The size an embed is shown at; an empty size for a file that can't be shown.
    using PictureSize = std::function<QSizeF(const NoteEmbed&)>;

    MarkdownHighlighter(QTextDocument* document, TagResolver tags, PictureSize pictures = {});

    bool reading() const { return m_reading; }
    void setReading(bool reading);
    // The colours follow the appearance; call after it changes.
    void refreshColours();

    // How many blocks have been styled since the highlighter was made (each keystroke should add only
    // the blocks it touched).
    int blocksStyled() const { return m_blocksStyled; }

    // The text a pill shows for a tag.
    static QString pillText(const NoteTag& tag);
    // Pill padding on each side, in pixels.
    static constexpr int pillPadding = 6;
    // The room of a file that can't be shown.
    static QSizeF placeholderSize() { return QSizeF(300, 44); }
    // The font pills are drawn in, from the editor's.
    static QFont pillFont(const QFont& base);

protected:
    void highlightBlock(const QString& text) override;

private:
    QTextCharFormat zeroWidth(QChar c) const;
    QTextCharFormat roomFor(QChar c, qreal width, const QTextCharFormat& base) const;

    bool embedLine(const QString& text, BlockStyle& data);

    TagResolver m_tags;
    PictureSize m_pictures;
    bool m_reading = false;
    int m_blocksStyled = 0;
    QColor m_secondary;
    QColor m_accent;
    QColor m_codeBackground;
    QColor m_highlight;
};

} // namespace corvantis

#include "ui/notes/MarkdownHighlighter.h"

#include "ui/design/Theme.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QTextDocument>

namespace corvantis {

using Role = StyleSpan::Role;

MarkdownHighlighter::MarkdownHighlighter(QTextDocument* document, TagResolver tags, PictureSize pictures)
    : QSyntaxHighlighter(document)
    , m_tags(std::move(tags))
    , m_pictures(std::move(pictures)) {
    refreshColours();
}

void MarkdownHighlighter::setReading(bool reading) {
    if (m_reading == reading)
        return;
    m_reading = reading;
    rehighlight();
}

void MarkdownHighlighter::refreshColours() {
    m_secondary = Theme::secondaryText();
    m_accent = Theme::accent();
    m_codeBackground = Theme::cardSurface();
    m_highlight = Theme::isDark() ? QColor("#6B5B1E") : QColor("#FDE68A");
    if (document())
        rehighlight();
}

QString MarkdownHighlighter::pillText(const NoteTag& tag) {
    if (tag.missing)
        return QStringLiteral("Nothing with this ID");
    QString text = tag.via.value_or(tag.title);
    if (tag.members)
        text += QStringLiteral(" · %1").arg(tag.members->size());
    else if (tag.problem)
        text += " · " + *tag.problem;
    else if (tag.property && tag.value)
        text += " · " + *tag.value;
    return text;
}

QFont MarkdownHighlighter::pillFont(const QFont& base) {
    QFont font = base;
    font.setWeight(QFont::DemiBold);
    return font;
}

bool MarkdownHighlighter::embedLine(const QString& text, BlockStyle& data) {
    const auto embed = NoteEmbed::embed(NoteEmbed::pattern().match(text));
    if (!embed || text.isEmpty())
        return false;
    QSizeF size = m_pictures ? m_pictures(*embed) : QSizeF();
    if (size.isEmpty())
        size = placeholderSize();
    // The first character keeps the picture's room: a font as tall as the picture, spaced as wide.
    QFont font = document()->defaultFont();
    font.setPixelSize(100);
    const qreal lineRatio = QFontMetricsF(font).height() / 100.0;
    font.setPixelSize(std::max(1, int(size.height() / lineRatio)));
    QTextCharFormat room;
    room.setFont(font);
    room.setFontLetterSpacingType(QFont::AbsoluteSpacing);
    room.setFontLetterSpacing(size.width() - QFontMetricsF(font).horizontalAdvance(text[0]));
    room.setForeground(Qt::transparent);
    setFormat(0, 1, room);
    for (int i = 1; i < text.size(); ++i)
        setFormat(i, 1, zeroWidth(text[i]));
    data.embed = embed;
    // The caret passes the line whole and a deletion beside it takes it whole.
    data.spans << StyleSpan{StyleSpan::Role::Mark, 0, int(text.size()), StyleSpan::Atom, 0, embed->file};
    return true;
}

QTextCharFormat MarkdownHighlighter::zeroWidth(QChar c) const {
    // A one-pixel font with the advance taken back: the character stays in the text and takes no room.
    QFont font = document()->defaultFont();
    font.setPixelSize(1);
    QTextCharFormat format;
    format.setFont(font);
    format.setFontLetterSpacingType(QFont::AbsoluteSpacing);
    format.setFontLetterSpacing(-QFontMetricsF(font).horizontalAdvance(c));
    format.setForeground(Qt::transparent);
    return format;
}

QTextCharFormat MarkdownHighlighter::roomFor(QChar c, qreal width, const QTextCharFormat& base) const {
    QTextCharFormat format = base;
    const QFont font = base.font();
    format.setFontLetterSpacingType(QFont::AbsoluteSpacing);
    format.setFontLetterSpacing(width - QFontMetricsF(font).horizontalAdvance(c));
    format.setForeground(Qt::transparent);
    return format;
}

void MarkdownHighlighter::highlightBlock(const QString& text) {
    ++m_blocksStyled;
    const bool inFence = previousBlockState() == 1;
    const LineStyle style = MarkdownStyle::line(text, inFence, m_reading);
    setCurrentBlockState(style.inFenceAfter ? 1 : 0);

    auto* data = new BlockStyle;
    if (!inFence && embedLine(text, *data)) {
        setCurrentBlockUserData(data);
        return;
    }
    data->spans = style.spans;
    const QFont base = document()->defaultFont();
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(base.pointSizeF() > 0 ? base.pointSizeF() * 0.95 : 10);

    // Headings first: their size is the base the other formats of the line build on.
    qreal scale = 1;
    for (const StyleSpan& span : style.spans) {
        if (span.role == Role::Heading) {
            scale = span.level == 1 ? 1.6 : span.level == 2 ? 1.35 : span.level == 3 ? 1.15 : 1.05;
            QTextCharFormat f;
            f.setFontWeight(QFont::Bold);
            if (base.pointSizeF() > 0)
                f.setFontPointSize(base.pointSizeF() * scale);
            setFormat(span.start, span.length, f);
        }
    }
    for (const StyleSpan& span : style.spans) {
        QTextCharFormat f = format(span.start);
        switch (span.role) {
        case Role::Heading:
            continue;
        case Role::Quote:
            f.setFontItalic(true);
            f.setForeground(m_secondary);
            break;
        case Role::Code:
            f.setFont(mono);
            f.setBackground(m_codeBackground);
            break;
        case Role::Fence:
        case Role::Mark:
        case Role::Escape:
            f.setForeground(m_secondary);
            break;
        case Role::Rule:
            f.setForeground(m_reading ? QColor(Qt::transparent) : m_secondary);
            break;
        case Role::Done:
            f.setFontStrikeOut(true);
            f.setForeground(m_secondary);
            break;
        case Role::Bold:
            f.setFontWeight(QFont::Bold);
            break;
        case Role::Italic:
            f.setFontItalic(true);
            break;
        case Role::Strike:
            f.setFontStrikeOut(true);
            break;
        case Role::Highlight:
            f.setBackground(m_highlight);
            break;
        case Role::Link:
        case Role::Wiki:
        case Role::BareURL:
            f.setForeground(m_accent);
            f.setFontUnderline(true);
            break;
        case Role::HopMark:
            continue; // inside a pill
        case Role::ListMarker:
            if (span.flags & StyleSpan::Glyph)
                f.setForeground(Qt::transparent); // a bullet is painted in its place
            else
                f.setForeground(m_secondary);
            break;
        case Role::CheckBox:
            f.setForeground(Qt::transparent); // a box is painted in its place
            break;
        case Role::Tag: {
            TagToken token;
            if (const auto found = NoteTag::find(text.mid(span.start, span.length)); !found.isEmpty())
                token = found.first().token;
            const NoteTag tag = m_tags ? m_tags(token) : NoteTag();
            const QString label = pillText(tag);
            QTextCharFormat pillBase = f;
            const qreal width =
                QFontMetricsF(pillFont(pillBase.font())).horizontalAdvance(label) + 2 * pillPadding;
            setFormat(span.start, 1, roomFor(text[span.start], width, pillBase));
            for (int i = span.start + 1; i < span.start + span.length; ++i)
                setFormat(i, 1, zeroWidth(text[i]));
            data->pills << TagPill{span.start, span.length, tag, label, token};
            continue;
        }
        }
        if (span.flags & StyleSpan::Hidden) {
            for (int i = span.start; i < span.start + span.length; ++i)
                setFormat(i, 1, zeroWidth(text[i]));
            continue;
        }
        // Formats of earlier spans (a heading's size) stay under this one.
        for (int i = span.start; i < span.start + span.length; ++i) {
            QTextCharFormat merged = format(i);
            merged.merge(f);
            setFormat(i, 1, merged);
        }
    }
    setCurrentBlockUserData(data);
}

} // namespace corvantis

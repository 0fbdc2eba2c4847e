#include "app/notes/PrintedMarkdown.h"

#include "kit/notes/MarkdownStyle.h"
#include "kit/support/UserFacingError.h"

#include <QFileInfo>
#include <QFont>
#include <QFontDatabase>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextTable>
#include <QUrl>

namespace corvantis::PrintedMarkdown {

namespace {

using Role = StyleSpan::Role;

const QRegularExpression& listItem() {
    static const QRegularExpression re(
        QStringLiteral(R"(^([ \t]*)([-*+]|\d+[.)])[ \t]+(\[[ xX]\][ \t]+)?(.*)$)"));
    return re;
}
const QRegularExpression& quoteLine() {
    static const QRegularExpression re(QStringLiteral(R"(^>+[ \t]?(.*)$)"));
    return re;
}
const QRegularExpression& fenceLine() {
    static const QRegularExpression re(QStringLiteral(R"(^[ \t]*```)"));
    return re;
}

constexpr double bodySize = 11;
constexpr int pictureWidth = 460; // points of the text column a picture may take at most

QColor hue(const QString& palette) {
    return QColor(paperColor(palette));
}

QFont monospace() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(bodySize - 1);
    return font;
}

// Lays one note's text into a document, block by block.
class Printer {
public:
    Printer(QTextDocument& doc, const TagResolver& tags, const QString& attachments,
            const QHash<QString, QImage>& posters)
        : m_doc(doc)
        , m_cursor(&doc)
        , m_tags(tags)
        , m_attachments(attachments)
        , m_posters(posters) {
        m_base.setFontPointSize(bodySize);
        m_base.setForeground(QColor("#1F2328"));
    }

    void print(const QString& text) {
        bool inFence = false;
        for (const QString& line : text.split('\n')) {
            if (fenceLine().match(line).hasMatch()) {
                inFence = !inFence;
                continue;
            }
            if (inFence) {
                QTextBlockFormat block;
                block.setBackground(QColor("#F3F4F6"));
                block.setLeftMargin(8);
                QTextCharFormat mono = m_base;
                mono.setFont(monospace());
                newBlock(block);
                m_cursor.insertText(line, mono);
                continue;
            }
            if (const auto m = NoteEmbed::pattern().match(line); m.hasMatch()) {
                if (const auto embed = NoteEmbed::embed(m)) {
                    picture(*embed);
                    continue;
                }
            }
            if (MarkdownStyle::rule().match(line).hasMatch()) {
                QTextBlockFormat block;
                block.setProperty(QTextFormat::BlockTrailingHorizontalRulerWidth,
                                  QTextLength(QTextLength::PercentageLength, 100));
                newBlock(block);
                continue;
            }
            if (const auto m = MarkdownStyle::heading().match(line); m.hasMatch()) {
                const int level = m.capturedLength(1);
                QTextBlockFormat block;
                block.setTopMargin(level <= 2 ? 14 : 10);
                block.setBottomMargin(4);
                block.setHeadingLevel(level);
                QTextCharFormat format = m_base;
                format.setFontWeight(QFont::Bold);
                format.setFontPointSize(bodySize * (level == 1   ? 1.8
                                                    : level == 2 ? 1.45
                                                    : level == 3 ? 1.2
                                                                 : 1.05));
                newBlock(block);
                inline_(m.captured(2), format);
                continue;
            }
            if (const auto m = listItem().match(line); m.hasMatch()) {
                QTextBlockFormat block;
                block.setLeftMargin(14 + 14 * (m.captured(1).size() / 2));
                block.setTextIndent(-12);
                newBlock(block);
                const QString marker = m.captured(2);
                QString glyph = marker[0].isDigit() ? marker + " " : QStringLiteral("•  ");
                const bool checked = m.captured(3).contains('x', Qt::CaseInsensitive);
                if (m.capturedLength(3) > 0)
                    glyph = checked ? QStringLiteral("☑  ") : QStringLiteral("☐  ");
                m_cursor.insertText(glyph, m_base);
                QTextCharFormat format = m_base;
                if (checked) {
                    format.setFontStrikeOut(true);
                    format.setForeground(QColor("#6B7280"));
                }
                inline_(m.captured(4), format);
                continue;
            }
            if (const auto m = quoteLine().match(line); m.hasMatch()) {
                QTextBlockFormat block;
                block.setLeftMargin(16);
                newBlock(block);
                QTextCharFormat format = m_base;
                format.setFontItalic(true);
                format.setForeground(QColor("#4B5563"));
                inline_(m.captured(1), format);
                continue;
            }
            const QString trimmed = line.trimmed();
            const auto tags = NoteTag::find(trimmed);
            if (tags.size() == 1 && tags[0].start == 0 && tags[0].length == trimmed.size()) {
                card(m_tags(tags[0].token));
                continue;
            }
            newBlock(QTextBlockFormat());
            inline_(line, m_base);
        }
    }

private:
    void newBlock(const QTextBlockFormat& format) {
        QTextBlockFormat block = format;
        if (block.bottomMargin() == 0)
            block.setBottomMargin(4);
        if (m_first) {
            m_cursor.setBlockFormat(block);
            m_first = false;
        } else {
            m_cursor.insertBlock(block);
        }
        m_cursor.setCharFormat(m_base);
    }

    // A line's inline styling, the marks left out and tags turned into pills.
    void inline_(const QString& text, const QTextCharFormat& base) {
        QList<QTextCharFormat> formats(text.size(), base);
        QList<bool> hidden(text.size(), false);
        QHash<int, StyleSpan> tagsAt;
        for (const StyleSpan& span : MarkdownStyle::line(text, false, true).spans) {
            if (span.role == Role::Tag) {
                tagsAt.insert(span.start, span);
                for (int i = span.start; i < span.start + span.length; ++i)
                    hidden[i] = true;
                continue;
            }
            if (span.flags & StyleSpan::Hidden) {
                for (int i = span.start; i < span.start + span.length; ++i)
                    hidden[i] = true;
                continue;
            }
            for (int i = span.start; i < span.start + span.length && i < text.size(); ++i) {
                QTextCharFormat& f = formats[i];
                switch (span.role) {
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
                    f.setBackground(QColor("#FDE68A"));
                    break;
                case Role::Code:
                    f.setFont(monospace());
                    f.setBackground(QColor("#F3F4F6"));
                    break;
                case Role::Link:
                case Role::BareURL:
                case Role::Wiki:
                    f.setForeground(QColor("#2E6FD9"));
                    f.setFontUnderline(true);
                    if (span.role != Role::Wiki) {
                        f.setAnchor(true);
                        f.setAnchorHref(span.data);
                    }
                    break;
                default:
                    break;
                }
            }
        }
        QString run;
        QTextCharFormat runFormat;
        auto flush = [&] {
            if (!run.isEmpty())
                m_cursor.insertText(run, runFormat);
            run.clear();
        };
        for (int i = 0; i < text.size(); ++i) {
            if (tagsAt.contains(i)) {
                flush();
                const StyleSpan span = tagsAt.value(i);
                pill(m_tags(NoteTag::find(text.mid(span.start, span.length)).value(0).token), base);
                continue;
            }
            if (hidden[i])
                continue;
            if (!run.isEmpty() && formats[i] != runFormat)
                flush();
            if (run.isEmpty())
                runFormat = formats[i];
            run += text[i];
        }
        flush();
    }

    static QString pillText(const NoteTag& tag) {
        if (tag.missing)
            return QStringLiteral("Can't find %1").arg(tag.id);
        QString text = tag.via.value_or(tag.title);
        if (tag.members) {
            QStringList names;
            for (const NoteTag& member : *tag.members)
                names << (member.value ? member.title + " (" + *member.value + ")" : member.title);
            text +=
                ": " + (names.isEmpty() ? QStringLiteral("Nothing connects this way.") : names.join(", "));
        } else if (tag.problem) {
            text += " · " + *tag.problem;
        } else if (tag.property && tag.value) {
            text += " · " + *tag.property + ": " + *tag.value;
        }
        return text;
    }

    void pill(const NoteTag& tag, const QTextCharFormat& base) {
        QTextCharFormat format = base;
        const QColor color = tag.missing ? QColor("#B42318") : hue(tag.color);
        QColor tint = color;
        tint.setAlphaF(0.16);
        format.setBackground(tint);
        format.setForeground(color.darker(135));
        format.setFontWeight(QFont::DemiBold);
        m_cursor.insertText(QStringLiteral("\u2009") + pillText(tag) + QStringLiteral("\u2009"), format);
        m_cursor.insertText(QString(), base);
    }

    void card(const NoteTag& tag) {
        newBlock(QTextBlockFormat());
        QTextTableFormat frame;
        frame.setBorder(1);
        frame.setBorderBrush(tag.missing ? QColor("#B42318") : hue(tag.color));
        frame.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
        frame.setCellPadding(8);
        frame.setCellSpacing(0);
        frame.setWidth(QTextLength(QTextLength::PercentageLength, 100));
        QTextTable* table = m_cursor.insertTable(1, 1, frame);
        QTextCursor cell = table->cellAt(0, 0).firstCursorPosition();
        QTextCharFormat title = m_base;
        title.setFontWeight(QFont::Bold);
        QTextCharFormat small = m_base;
        small.setFontPointSize(bodySize - 2);
        small.setForeground(QColor("#57606A"));
        if (tag.missing) {
            QTextCharFormat missing = title;
            missing.setForeground(QColor("#B42318"));
            cell.insertText(QStringLiteral("Can't find %1").arg(tag.id), missing);
        } else {
            cell.insertText(tag.via.value_or(tag.title), title);
            cell.insertBlock();
            cell.insertText(tag.kind == NoteTag::Kind::Rel ? "relationship · " + tag.type : tag.type, small);
            if (tag.members) {
                if (tag.members->isEmpty()) {
                    cell.insertBlock();
                    cell.insertText(QStringLiteral("Nothing connects this way."), m_base);
                }
                for (const NoteTag& member : *tag.members) {
                    cell.insertBlock();
                    cell.insertText("•  " + member.title + (member.value ? " · " + *member.value : QString()),
                                    m_base);
                }
            } else if (tag.problem) {
                cell.insertBlock();
                cell.insertText(*tag.problem, m_base);
            } else if (tag.property) {
                cell.insertBlock();
                cell.insertText(*tag.property + ": " + tag.value.value_or(QString()), m_base);
            } else {
                for (const auto& [name, value] : tag.details) {
                    cell.insertBlock();
                    QTextCharFormat label = m_base;
                    label.setForeground(QColor("#57606A"));
                    cell.insertText(name + ": ", label);
                    cell.insertText(value, m_base);
                }
            }
        }
        m_cursor = QTextCursor(&m_doc);
        m_cursor.movePosition(QTextCursor::End);
    }

    void picture(const NoteEmbed& embed) {
        newBlock(QTextBlockFormat());
        QImage image;
        if (embed.kind == NoteEmbed::Kind::Video)
            image = m_posters.value(embed.file);
        else
            image = QImage(m_attachments + "/" + embed.file);
        if (image.isNull()) {
            QTextCharFormat format = m_base;
            format.setForeground(QColor("#57606A"));
            format.setFontItalic(true);
            m_cursor.insertText(embed.kind == NoteEmbed::Kind::Video ? "▶ " + embed.name
                                                                     : QStringLiteral("[%1]").arg(embed.name),
                                format);
            return;
        }
        const QUrl name(QStringLiteral("attachment:%1").arg(embed.file));
        m_doc.addResource(QTextDocument::ImageResource, name, image);
        QTextImageFormat format;
        format.setName(name.toString());
        const double width = std::min<double>(pictureWidth, image.width());
        format.setWidth(width);
        format.setHeight(width * image.height() / std::max(1, image.width()));
        m_cursor.insertImage(format);
        if (embed.kind == NoteEmbed::Kind::Video) {
            QTextCharFormat caption = m_base;
            caption.setForeground(QColor("#57606A"));
            m_cursor.insertText("\n▶ " + embed.name, caption);
        }
    }

    QTextDocument& m_doc;
    QTextCursor m_cursor;
    const TagResolver& m_tags;
    QString m_attachments;
    const QHash<QString, QImage>& m_posters;
    QTextCharFormat m_base;
    bool m_first = true;
};

} // namespace

QString paperColor(const QString& palette) {
    static const QHash<QString, QString> hues{
        {"iris", "#5B5BD6"}, {"peach", "#E5804F"}, {"mint", "#2FA886"},   {"sky", "#2E8FD9"},
        {"rose", "#D94C72"}, {"lime", "#6EA82F"},  {"orchid", "#A855C9"}, {"slate", "#64748B"}};
    return hues.value(palette, QStringLiteral("#64748B"));
}

std::unique_ptr<QTextDocument> document(const QString& text, const TagResolver& tags,
                                        const QString& attachments, const QHash<QString, QImage>& posters) {
    auto doc = std::make_unique<QTextDocument>();
    QFont font = doc->defaultFont();
    font.setPointSizeF(bodySize);
    doc->setDefaultFont(font);
    Printer printer(*doc, tags, attachments, posters);
    printer.print(text);
    return doc;
}

void writePdf(QTextDocument& document, const QString& path) {
    QSaveFile file(path);
    const QString name = QFileInfo(path).fileName();
    if (!file.open(QIODevice::WriteOnly))
        throw FileError(QStringLiteral("“%1” couldn't be written: %2").arg(name, file.errorString()));
    {
        QPdfWriter writer(&file);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setPageMargins(QMarginsF(18, 18, 18, 18), QPageLayout::Millimeter);
        writer.setTitle(QFileInfo(path).completeBaseName());
        writer.setCreator(QStringLiteral("Corvantis"));
        document.print(&writer);
    }
    if (!file.commit())
        throw FileError(QStringLiteral("“%1” couldn't be written: %2").arg(name, file.errorString()));
}

} // namespace corvantis::PrintedMarkdown

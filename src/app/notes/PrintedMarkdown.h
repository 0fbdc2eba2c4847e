#pragma once

#include "kit/notes/NoteEmbed.h"
#include "kit/notes/NoteTag.h"

#include <QHash>
#include <QImage>
#include <QString>
#include <functional>
#include <memory>

class QTextDocument;

namespace corvantis {

// A note's Markdown laid out for paper: headings, lists with their boxes, quotes, code, rules, pictures
// (a drawing's light picture, a video's poster), tags as pills inside a line and as cards on a line of
// their own. The same dialect as the editor.
namespace PrintedMarkdown {

using TagResolver = std::function<NoteTag(const TagToken&)>;

// The styled text; `attachments` is the folder embeds name, `posters` a still of each video by file.
std::unique_ptr<QTextDocument> document(const QString& text, const TagResolver& tags,
                                        const QString& attachments,
                                        const QHash<QString, QImage>& posters = {});

// Writes the document as PDF pages at `path`, atomically; fails with FileError.
void writePdf(QTextDocument& document, const QString& path);

// The light-appearance hue of a palette name of the shape.
QString paperColor(const QString& palette);

} // namespace PrintedMarkdown

} // namespace corvantis

#pragma once

#include <QList>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

namespace corvantis {

// A picture, video or drawing that a note shows: a line of plain Markdown of its own,
// "![name](attachments/file)", where the file is a bare name in the project's "attachments" folder.
struct NoteEmbed {
    enum class Kind { Image, Video, Drawing };

    Kind kind = Kind::Image;
    QString name; // the alternative text
    QString file; // a bare file name

    // An embed line: the embed alone on its line (blanks around it allowed).
    static const QRegularExpression& pattern();
    // Any mention of a file of the folder, also inside a line.
    static const QRegularExpression& reference();

    static const QStringList& imageTypes();
    static const QStringList& videoTypes();

    // Absent when the file's kind is unknown.
    static std::optional<NoteEmbed> make(const QString& name, const QString& file);
    // The embed of a drawing by its id: named "Drawing", naming the light picture.
    static NoteEmbed drawing(const QString& id);

    QString markdown() const;
    // For a drawing: the id; the light and dark pictures and the source.
    std::optional<QString> drawingID() const;
    std::optional<QString> darkFile() const;
    std::optional<QString> sourceFile() const;

    static std::optional<Kind> kindOf(const QString& file);
    // The embeds of a text in order.
    static QList<NoteEmbed> embeds(const QString& text);
    // The embed of a match of `pattern` in `text`.
    static std::optional<NoteEmbed> embed(const QRegularExpressionMatch& match);
    // A drawing's three files for any of them; any other file alone.
    static QStringList family(const QString& file);
    // The light picture for any of a drawing's files; any other file itself.
    static QString owner(const QString& file);
    // Every file a text mentions, with the families of drawings.
    static QSet<QString> referenced(const QString& text);
    // Of the files (names starting with "." aside), those that no body mentions.
    static QStringList unreferenced(const QStringList& files, const QStringList& bodies);

    // The embed line holding `file` taken out of the text with its line end; the text unchanged when
    // no embed line names it.
    static QString removeEmbed(const QString& text, const QString& file);
    // The text with `markdown` on a line of its own at `position` (absent: the end), line ends added
    // where needed; `caret` receives the offset just after the inserted line.
    static QString insertLine(const QString& text, const QString& markdown, std::optional<int> position,
                              int* caret = nullptr);

    bool operator==(const NoteEmbed& other) const = default;
};

size_t qHash(const NoteEmbed& embed, size_t seed = 0);

} // namespace corvantis

#pragma once

#include "kit/notes/NoteCommand.h"
#include "kit/notes/NoteEmbed.h"
#include "kit/notes/TagQuery.h"
#include "ui/notes/MarkdownHighlighter.h"

#include <QHash>
#include <QImage>
#include <QPlainTextEdit>
#include <optional>

namespace corvantis {

class NotePicker;
class NotesModel;

// The editor of one note at a time: the plain Markdown text, styled by `MarkdownHighlighter`, with
// bullets, check boxes and tag pills painted over the room their text keeps. In reading mode the
// marks take no room and the caret skips them; tags are atoms the caret passes whole and a deletion
// takes whole. Typing "/", "@" or "[[" opens the picker. Every change goes to the note's own undo
// history in the model, and Ctrl+Z here undoes in that history.
class NoteEditor : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit NoteEditor(NotesModel& model, QWidget* parent = nullptr);

    std::optional<QString> noteId() const { return m_note; }
    // Shows the note's text (nothing for absent).
    void setNote(const std::optional<QString>& id);

    bool reading() const;
    void setReading(bool reading);

    MarkdownHighlighter* highlighter() const { return m_highlighter; }
    NotePicker* picker() const { return m_picker; }
    const std::optional<TagQuery>& query() const { return m_query; }

    // Runs a slash command in place of [start, end) of the text.
    void runCommand(NoteCommand command, int start, int end);
    // Accepts a row of the picker.
    void acceptChoice(int row);
    void closeQuery();
    // The pill under a point of the viewport.
    std::optional<TagPill> pillAt(const QPoint& point) const;
    // Restyles every block (after the graph changed, or the appearance).
    void restyle();

signals:
    void tagClicked(const TagPill& pill, const QPoint& globalPosition);
    // The slash command "Drawing": a new drawing is wanted at the position of the note.
    void drawingRequested(const QString& note, int position);
    // The slash command for pictures and videos: a file picker is wanted.
    void mediaRequested(const QString& note, int position);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    void textEdited();
    void applyModelEdit(const QString& id, int position, int removed, const QString& inserted);
    void caretMoved();
    void updateQuery();
    // The span of an atom or of a hidden range that holds the position strictly inside, or that the
    // character before (backward) or after it belongs to.
    std::optional<std::pair<int, int>> unitAt(int position, bool backward) const;
    void replaceRange(int start, int end, const QString& text, std::optional<int> caret = std::nullopt);
    void insertEmbeds(const QList<NoteEmbed>& embeds);
    QRectF rangeRect(const QTextBlock& block, int start, int length) const;

    // The picture of an embed as the appearance wants it (a drawing's dark picture in dark mode), cached.
    QImage picture(const NoteEmbed& embed);
    QSizeF pictureSize(const NoteEmbed& embed);

    NotesModel& m_model;
    QHash<QString, QImage> m_pictures;
    MarkdownHighlighter* m_highlighter;
    NotePicker* m_picker;
    std::optional<QString> m_note;
    std::optional<TagQuery> m_query;
    bool m_loading = false;
    int m_lastPosition = 0;
};

} // namespace corvantis

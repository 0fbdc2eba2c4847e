#include "ui/notes/NoteEditor.h"

#include "app/notes/NotesModel.h"
#include "ui/design/Theme.h"
#include "ui/notes/NotePicker.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>
#include <QUndoStack>
#include <QUrl>

namespace corvantis {

namespace {

bool isUndo(const QKeyEvent* key) {
    return key->matches(QKeySequence::Undo);
}

bool isRedo(const QKeyEvent* key) {
    return key->matches(QKeySequence::Redo) ||
           (key->modifiers() == Qt::ControlModifier && key->key() == Qt::Key_R) ||
           (key->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier) && key->key() == Qt::Key_Z);
}

} // namespace

NoteEditor::NoteEditor(NotesModel& model, QWidget* parent)
    : QPlainTextEdit(parent)
    , m_model(model)
    , m_highlighter(new MarkdownHighlighter(
          document(), [this](const TagToken& token) { return m_model.noteTag(token); },
          [this](const NoteEmbed& embed) { return pictureSize(embed); }))
    , m_picker(new NotePicker(viewport())) {
    setObjectName(QStringLiteral("noteEditor"));
    setFrameShape(QFrame::NoFrame);
    // The note's history lives in the model, one per note; the document keeps none of its own.
    setUndoRedoEnabled(false);
    setPlaceholderText(QStringLiteral("Write in Markdown. Type / for commands, @ to tag a node."));
    document()->setDocumentMargin(Theme::space(4));
    m_picker->hide();
    connect(m_picker, &NotePicker::picked, this, &NoteEditor::acceptChoice);
    connect(this, &QPlainTextEdit::textChanged, this, &NoteEditor::textEdited);
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, &NoteEditor::caretMoved);
    connect(&m_model, &NotesModel::bodyEdited, this, &NoteEditor::applyModelEdit);
    connect(&m_model, &NotesModel::tagsChanged, this, &NoteEditor::restyle);
    connect(&m_model, &NotesModel::attachmentsChanged, this, [this] {
        m_pictures.clear();
        m_highlighter->rehighlight();
    });
    setEnabled(false);
}

void NoteEditor::setNote(const std::optional<QString>& id) {
    closeQuery();
    m_note = id;
    const NoteItem* item = id ? m_model.book().item(*id) : nullptr;
    m_loading = true;
    setPlainText(item ? item->body : QString());
    m_loading = false;
    setEnabled(item != nullptr);
    m_lastPosition = 0;
}

bool NoteEditor::reading() const {
    return m_highlighter->reading();
}

void NoteEditor::setReading(bool reading) {
    m_highlighter->setReading(reading);
    viewport()->update();
}

QImage NoteEditor::picture(const NoteEmbed& embed) {
    QString file = embed.file;
    if (embed.kind == NoteEmbed::Kind::Drawing && Theme::isDark())
        if (const auto dark = embed.darkFile();
            dark && QFileInfo::exists(m_model.attachmentsFolder() + "/" + *dark))
            file = *dark;
    if (embed.kind == NoteEmbed::Kind::Video)
        return QImage();
    const auto found = m_pictures.constFind(file);
    if (found != m_pictures.cend())
        return *found;
    const QImage image(m_model.attachmentsFolder() + "/" + file);
    m_pictures.insert(file, image);
    return image;
}

QSizeF NoteEditor::pictureSize(const NoteEmbed& embed) {
    if (embed.kind == NoteEmbed::Kind::Video)
        return QSizeF(320, 48);
    const QImage image = picture(embed);
    if (image.isNull())
        return QSizeF();
    const qreal scale = std::min({1.0, 480.0 / image.width(), 320.0 / image.height()});
    return QSizeF(image.width() * scale, image.height() * scale);
}

void NoteEditor::restyle() {
    m_pictures.clear();
    m_highlighter->refreshColours();
    viewport()->update();
}

// -- Text and the model ----------------------------------------------------------------------------

void NoteEditor::textEdited() {
    if (m_loading || !m_note)
        return;
    m_model.setBody(*m_note, toPlainText());
    updateQuery();
}

void NoteEditor::applyModelEdit(const QString& id, int position, int removed, const QString& inserted) {
    if (id != m_note)
        return;
    m_loading = true;
    QTextCursor cursor(document());
    cursor.setPosition(std::min(position, document()->characterCount() - 1));
    cursor.setPosition(std::min(position + removed, document()->characterCount() - 1),
                       QTextCursor::KeepAnchor);
    cursor.insertText(inserted);
    m_loading = false;
    setTextCursor(cursor);
    // Undo may run while the text isn't the editor's own: it must agree with the model's body.
    if (const NoteItem* item = m_model.book().item(id); item && item->body != toPlainText()) {
        m_loading = true;
        setPlainText(item->body);
        m_loading = false;
    }
}

void NoteEditor::replaceRange(int start, int end, const QString& text, std::optional<int> caret) {
    QTextCursor cursor(document());
    cursor.setPosition(start);
    cursor.setPosition(end, QTextCursor::KeepAnchor);
    cursor.insertText(text);
    if (caret)
        cursor.setPosition(*caret);
    setTextCursor(cursor);
}

// -- Caret -----------------------------------------------------------------------------------------

std::optional<std::pair<int, int>> NoteEditor::unitAt(int position, bool backward) const {
    const QTextBlock block = document()->findBlock(position);
    const auto* style = dynamic_cast<const BlockStyle*>(block.userData());
    if (!style)
        return std::nullopt;
    const int at = position - block.position();
    const int probe = backward ? at - 1 : at;
    for (const StyleSpan& span : style->spans) {
        const bool unit = (span.flags & StyleSpan::Atom) || (span.role == StyleSpan::Role::Tag) ||
                          (reading() && (span.flags & StyleSpan::Hidden));
        if (!unit)
            continue;
        if (probe >= span.start && probe < span.start + span.length)
            return std::make_pair(block.position() + span.start, block.position() + span.start + span.length);
    }
    return std::nullopt;
}

void NoteEditor::caretMoved() {
    QTextCursor cursor = textCursor();
    const int position = cursor.position();
    if (!cursor.hasSelection()) {
        // Inside an atom or a hidden mark the caret goes on to the edge in the direction it moved.
        if (const auto unit = unitAt(position, false); unit && position > unit->first) {
            const int snapped = position >= m_lastPosition ? unit->second : unit->first;
            if (snapped != position) {
                cursor.setPosition(snapped);
                m_lastPosition = snapped;
                setTextCursor(cursor);
                return;
            }
        }
    }
    m_lastPosition = position;
    updateQuery();
}

// -- The picker --------------------------------------------------------------------------------------

void NoteEditor::updateQuery() {
    if (!m_note || !hasFocus()) {
        closeQuery();
        return;
    }
    const QTextCursor cursor = textCursor();
    const QTextBlock block = cursor.block();
    // Queries live on the caret's line: only that line is looked at.
    auto query = TagQuery::at(cursor.positionInBlock(), block.text());
    if (!query || cursor.hasSelection()) {
        closeQuery();
        return;
    }
    query->start += block.position();
    query->end += block.position();
    m_query = query;
    const auto choices = m_model.tagChoices(*m_query, 8, *m_note);
    if (choices.rows.isEmpty()) {
        m_picker->hide();
        return;
    }
    m_picker->setChoices(choices.rows, choices.more);
    const QRect caret = cursorRect();
    QPoint at(caret.left(), caret.bottom() + Theme::space(1));
    if (at.y() + m_picker->height() > viewport()->height())
        at.setY(std::max(0, caret.top() - m_picker->height() - Theme::space(1)));
    at.setX(std::clamp(at.x(), 0, std::max(0, viewport()->width() - m_picker->width())));
    m_picker->move(at);
    m_picker->show();
    m_picker->raise();
}

void NoteEditor::closeQuery() {
    m_query.reset();
    m_picker->hide();
}

void NoteEditor::acceptChoice(int row) {
    if (!m_query || row < 0 || row >= m_picker->choices().size() || !m_note)
        return;
    const TagChoice choice = m_picker->choices()[row];
    const TagQuery query = *m_query;
    closeQuery();
    if (query.stage == TagQuery::Stage::command) {
        if (const auto command = NoteCommands::fromRawValue(choice.id))
            runCommand(*command, query.start, query.end);
        return;
    }
    replaceRange(query.start, query.end, choice.insert, query.start + int(choice.insert.size()));
    setFocus();
}

void NoteEditor::runCommand(NoteCommand command, int start, int end) {
    const QTextBlock block = document()->findBlock(start);
    const int base = block.position();
    const TextEdit edit =
        NoteCommands::run(command, block.text(), start - base, std::min(end - base, block.length() - 1));
    replaceRange(base, base + block.length() - 1, edit.text, base + edit.caret);
    if (command == NoteCommand::media && m_note)
        emit mediaRequested(*m_note, base + edit.caret);
    else if (command == NoteCommand::drawing && m_note)
        emit drawingRequested(*m_note, base + edit.caret);
    updateQuery();
}

// -- Keys --------------------------------------------------------------------------------------------

bool NoteEditor::event(QEvent* event) {
    // The window's Undo belongs to the graph; while this editor has focus, Ctrl+Z is the note's.
    if (event->type() == QEvent::ShortcutOverride) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (isUndo(key) || isRedo(key) || (m_picker->isVisible() && key->key() == Qt::Key_Escape)) {
            event->accept();
            return true;
        }
    }
    return QPlainTextEdit::event(event);
}

void NoteEditor::keyPressEvent(QKeyEvent* event) {
    if (m_note && isRedo(event)) {
        if (QUndoStack* stack = m_model.undoStack(*m_note))
            stack->redo();
        return;
    }
    if (m_note && isUndo(event)) {
        if (QUndoStack* stack = m_model.undoStack(*m_note))
            stack->undo();
        return;
    }
    if (m_picker->isVisible()) {
        switch (NoteTyping::pickerKey(event->key())) {
        case NoteTyping::PickerKey::Accept:
            acceptChoice(m_picker->current());
            return;
        case NoteTyping::PickerKey::Close:
            closeQuery();
            return;
        case NoteTyping::PickerKey::Up:
            m_picker->step(-1);
            return;
        case NoteTyping::PickerKey::Down:
            m_picker->step(1);
            return;
        case NoteTyping::PickerKey::None:
            break;
        }
    }
    QTextCursor cursor = textCursor();
    const int position = cursor.position();
    if (!cursor.hasSelection() && event->modifiers() == Qt::NoModifier) {
        if (event->key() == Qt::Key_Backspace) {
            if (const auto unit = unitAt(position, true)) {
                replaceRange(unit->first, unit->second, QString());
                return;
            }
        } else if (event->key() == Qt::Key_Delete) {
            if (const auto unit = unitAt(position, false)) {
                replaceRange(unit->first, unit->second, QString());
                return;
            }
        }
    }
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && !cursor.hasSelection() &&
        !(event->modifiers() & Qt::ShiftModifier)) {
        const QTextBlock block = cursor.block();
        if (const auto edit = NoteTyping::continueBlock(block.text(), cursor.positionInBlock())) {
            replaceRange(block.position(), block.position() + block.length() - 1, edit->text,
                         block.position() + edit->caret);
            return;
        }
    }
    const QString typed = event->text();
    if (typed.size() == 1 && !cursor.hasSelection()) {
        const QTextBlock block = cursor.block();
        // Text typed right beside an embed line goes on a line of its own.
        if (NoteEmbed::pattern().match(block.text()).hasMatch() && typed[0].isPrint()) {
            const bool atEnd = cursor.positionInBlock() == block.length() - 1;
            const bool atStart = cursor.positionInBlock() == 0;
            if (atEnd) {
                replaceRange(position, position, "\n" + typed);
                return;
            }
            if (atStart) {
                replaceRange(position, position, typed + "\n", position + 1);
                return;
            }
        }
        const QChar closing = NoteTyping::closingBracket(typed[0]);
        if (!closing.isNull()) {
            replaceRange(position, position, typed + closing, position + 1);
            return;
        }
        // Typing the closing bracket that pairing already put there steps over it.
        if ((typed == "]" || typed == ")" || typed == "}") && document()->characterAt(position) == typed[0]) {
            cursor.setPosition(position + 1);
            setTextCursor(cursor);
            return;
        }
    }
    QPlainTextEdit::keyPressEvent(event);
}

// -- Painting ----------------------------------------------------------------------------------------

QRectF NoteEditor::rangeRect(const QTextBlock& block, int start, int length) const {
    const QTextLayout* layout = block.layout();
    if (!layout)
        return QRectF();
    const QTextLine line = layout->lineForTextPosition(start);
    if (!line.isValid())
        return QRectF();
    const QPointF origin = blockBoundingGeometry(block).translated(contentOffset()).topLeft();
    const qreal x0 = line.cursorToX(start);
    const qreal x1 = line.lineNumber() == layout->lineForTextPosition(start + length).lineNumber()
                         ? line.cursorToX(start + length)
                         : line.cursorToX(start + 1);
    return QRectF(origin.x() + x0, origin.y() + line.y(), x1 - x0, line.height());
}

void NoteEditor::paintEvent(QPaintEvent* event) {
    QPlainTextEdit::paintEvent(event);
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor text = palette().color(QPalette::Text);
    const QColor secondary = Theme::secondaryText();
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const QRectF bounds = blockBoundingGeometry(block).translated(contentOffset());
        if (bounds.top() > event->rect().bottom())
            break;
        if (!block.isVisible())
            continue;
        const auto* style = dynamic_cast<const BlockStyle*>(block.userData());
        if (!style)
            continue;
        for (const StyleSpan& span : style->spans) {
            if (span.role == StyleSpan::Role::ListMarker && (span.flags & StyleSpan::Glyph)) {
                const QRectF r = rangeRect(block, span.start, span.length);
                painter.setPen(secondary);
                painter.drawText(r.adjusted(-4, 0, 4, 0), Qt::AlignCenter, QStringLiteral("•"));
            } else if (span.role == StyleSpan::Role::CheckBox) {
                const QRectF r = rangeRect(block, span.start, span.length);
                const qreal side = std::min(r.height() * 0.62, r.width());
                const QRectF box(r.center().x() - side / 2, r.center().y() - side / 2, side, side);
                const bool checked = span.data == "checked";
                painter.setPen(QPen(checked ? Theme::accent() : secondary, 1.4));
                painter.setBrush(checked ? Theme::accent() : QColor(Qt::transparent));
                painter.drawRoundedRect(box, 3, 3);
                if (checked) {
                    QPainterPath tick;
                    tick.moveTo(box.left() + side * 0.22, box.center().y());
                    tick.lineTo(box.left() + side * 0.42, box.bottom() - side * 0.25);
                    tick.lineTo(box.right() - side * 0.2, box.top() + side * 0.25);
                    painter.setPen(QPen(Qt::white, 1.6));
                    painter.setBrush(Qt::NoBrush);
                    painter.drawPath(tick);
                }
            } else if (span.role == StyleSpan::Role::Rule && reading()) {
                const qreal y = bounds.center().y();
                painter.setPen(QPen(Theme::cardBorder(), 1));
                painter.drawLine(QPointF(bounds.left() + document()->documentMargin(), y),
                                 QPointF(viewport()->width() - document()->documentMargin(), y));
            }
        }
        if (style->embed) {
            const QRectF r = rangeRect(block, 0, 1).adjusted(0, 2, 0, -2);
            const QImage image = picture(*style->embed);
            if (!image.isNull()) {
                painter.drawImage(r, image);
            } else {
                painter.setPen(QPen(Theme::cardBorder(), 1, Qt::DashLine));
                painter.setBrush(Theme::cardSurface());
                painter.drawRoundedRect(r, Theme::radius, Theme::radius);
                painter.setPen(secondary);
                const QString label = style->embed->kind == NoteEmbed::Kind::Video
                                          ? QStringLiteral("▶  ") + style->embed->name
                                          : QStringLiteral("Missing picture: %1").arg(style->embed->file);
                painter.drawText(r, Qt::AlignCenter, label);
            }
        }
        for (const TagPill& pill : style->pills) {
            const QRectF r = rangeRect(block, pill.start, 1).adjusted(0, 1, 0, -1);
            const QColor hue = pill.tag.missing ? Theme::danger() : Theme::paletteColor(pill.tag.color);
            QColor fill = hue;
            fill.setAlphaF(Theme::isDark() ? 0.28 : 0.16);
            painter.setPen(Qt::NoPen);
            painter.setBrush(fill);
            painter.drawRoundedRect(r, r.height() / 2, r.height() / 2);
            painter.setPen(Theme::isDark() ? hue.lighter(125) : hue.darker(140));
            painter.setFont(MarkdownHighlighter::pillFont(document()->defaultFont()));
            painter.drawText(r, Qt::AlignCenter, pill.text);
            painter.setFont(this->font());
        }
    }
    Q_UNUSED(text);
}

void NoteEditor::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        if (const auto pill = pillAt(event->position().toPoint())) {
            emit tagClicked(*pill, event->globalPosition().toPoint());
            event->accept();
            return;
        }
        // A click on a check box ticks or clears it.
        const QTextCursor at = cursorForPosition(event->position().toPoint());
        const QTextBlock block = at.block();
        if (const auto* style = dynamic_cast<const BlockStyle*>(block.userData())) {
            for (const StyleSpan& span : style->spans) {
                if (span.role != StyleSpan::Role::CheckBox)
                    continue;
                if (rangeRect(block, span.start, span.length).contains(event->position())) {
                    const int inside = block.position() + span.start + 1;
                    replaceRange(inside, inside + 1, span.data == "checked" ? " " : "x",
                                 textCursor().position());
                    event->accept();
                    return;
                }
            }
        }
    }
    QPlainTextEdit::mousePressEvent(event);
}

std::optional<TagPill> NoteEditor::pillAt(const QPoint& point) const {
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
        const QRectF bounds = blockBoundingGeometry(block).translated(contentOffset());
        if (bounds.top() > viewport()->height())
            break;
        if (!bounds.contains(point))
            continue;
        if (const auto* style = dynamic_cast<const BlockStyle*>(block.userData()))
            for (const TagPill& pill : style->pills)
                if (rangeRect(block, pill.start, 1).contains(point))
                    return pill;
    }
    return std::nullopt;
}

// -- Pictures pasted and dropped -----------------------------------------------------------------------

bool NoteEditor::canInsertFromMimeData(const QMimeData* source) const {
    return source->hasImage() || source->hasUrls() || QPlainTextEdit::canInsertFromMimeData(source);
}

void NoteEditor::insertFromMimeData(const QMimeData* source) {
    if (!m_note)
        return;
    if (source->hasUrls()) {
        QStringList files;
        for (const QUrl& url : source->urls())
            if (url.isLocalFile())
                files << url.toLocalFile();
        const QList<NoteEmbed> embeds = m_model.addFiles(files);
        if (!embeds.isEmpty()) {
            insertEmbeds(embeds);
            return;
        }
    }
    if (source->hasImage()) {
        const QImage image = qvariant_cast<QImage>(source->imageData());
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        if (!image.isNull() && image.save(&buffer, "PNG")) {
            if (const auto embed = m_model.addPastedImage(bytes, QStringLiteral("png"))) {
                insertEmbeds({*embed});
                return;
            }
        }
    }
    QPlainTextEdit::insertFromMimeData(source);
}

void NoteEditor::insertEmbeds(const QList<NoteEmbed>& embeds) {
    int position = textCursor().block().position() + textCursor().block().length() - 1;
    for (const NoteEmbed& embed : embeds) {
        m_model.insertEmbed(embed, *m_note, position);
        position = textCursor().position();
    }
}

} // namespace corvantis

#include "ui/build/BuildMessageField.h"

#include "app/build/BuildChat.h"

#include <QKeyEvent>
#include <QMimeData>

namespace corvantis {

BuildMessageField::BuildMessageField(QWidget* parent)
    : QPlainTextEdit(parent) {
    setPlaceholderText(QStringLiteral("Write, paste a link, or drop a file or a picture…"));
    setAccessibleName(QStringLiteral("Message"));
    setTabChangesFocus(true);
}

void BuildMessageField::setChat(BuildChat* chat) {
    m_chat = chat;
}

bool BuildMessageField::canInsertFromMimeData(const QMimeData* source) const {
    return source->hasUrls() || source->hasImage() || QPlainTextEdit::canInsertFromMimeData(source);
}

void BuildMessageField::insertFromMimeData(const QMimeData* source) {
    if (m_chat && (source->hasUrls() || source->hasImage())) {
        // The chat takes what isn't plain words; the box shows its text again.
        m_chat->setDraftText(toPlainText());
        m_chat->take(*source);
        return;
    }
    QPlainTextEdit::insertFromMimeData(source);
}

void BuildMessageField::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) &&
        (event->modifiers() & Qt::ControlModifier)) {
        emit sendRequested();
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
}

} // namespace corvantis

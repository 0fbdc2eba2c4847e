#include "ui/shell/TextFieldKeys.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

namespace corvantis {

namespace {

bool isFieldRedo(const QKeyEvent* key) {
    return key->key() == Qt::Key_R && (key->modifiers() & ~Qt::KeypadModifier) == Qt::ControlModifier;
}

// Redoes the field's typing; false for a widget that is no editable text field.
bool redoIn(QObject* watched, bool perform) {
    if (auto* line = qobject_cast<QLineEdit*>(watched); line && !line->isReadOnly()) {
        if (perform)
            line->redo();
        return true;
    }
    if (auto* text = qobject_cast<QTextEdit*>(watched); text && !text->isReadOnly()) {
        if (perform)
            text->redo();
        return true;
    }
    if (auto* plain = qobject_cast<QPlainTextEdit*>(watched); plain && !plain->isReadOnly()) {
        if (perform)
            plain->redo();
        return true;
    }
    return false;
}

} // namespace

TextFieldKeys::TextFieldKeys(QObject* parent)
    : QObject(parent) {
}

bool TextFieldKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress)
        return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (!isFieldRedo(key))
        return false;
    if (event->type() == QEvent::ShortcutOverride) {
        // Accepting the override keeps the key from the window's shortcut and sends it to the field.
        if (redoIn(watched, false))
            event->accept();
        return false;
    }
    return redoIn(watched, true);
}

} // namespace corvantis

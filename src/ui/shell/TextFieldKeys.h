#pragma once

#include <QObject>

namespace corvantis {

// Gives a focused text field the keys it understands before the window's shortcuts take them: Ctrl+R,
// which is Redo of the graph elsewhere in the window, redoes the field's own typing while the field has
// the focus. Installed on the application by the main window.
class TextFieldKeys : public QObject {
    Q_OBJECT
public:
    explicit TextFieldKeys(QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace corvantis

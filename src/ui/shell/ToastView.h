#pragma once

#include <QFrame>
#include <functional>

class QLabel;

namespace corvantis {

// A notice shown at the bottom centre of its parent until it is replaced or dismissed.
class ToastView : public QFrame {
    Q_OBJECT
public:
    explicit ToastView(QWidget* parent);

    // Shows the text, or hides when there is none. `dismiss` is called when the person closes it.
    void show(const std::optional<QString>& text, std::function<void()> dismiss);
    QString text() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void place();

    QLabel* m_label;
    std::function<void()> m_dismiss;
};

} // namespace corvantis

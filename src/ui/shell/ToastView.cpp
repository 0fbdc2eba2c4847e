#include "ui/shell/ToastView.h"

#include "ui/design/Theme.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace corvantis {

ToastView::ToastView(QWidget* parent)
    : QFrame(parent)
    , m_label(new QLabel(this)) {
    setObjectName("toast");
    setAutoFillBackground(true);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, palette.color(QPalette::ToolTipBase));
    palette.setColor(QPalette::WindowText, palette.color(QPalette::ToolTipText));
    palette.setColor(QPalette::ButtonText, palette.color(QPalette::ToolTipText));
    setPalette(palette);
    setStyleSheet(QStringLiteral("#toast { border-radius: %1px; }").arg(Theme::radius));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(2), Theme::space(2), Theme::space(2));
    layout->setSpacing(Theme::space(3));
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_label, 1);
    auto* close = new QToolButton(this);
    close->setText(QStringLiteral("✕"));
    close->setAutoRaise(true);
    close->setToolTip(QStringLiteral("Dismiss"));
    connect(close, &QToolButton::clicked, this, [this] {
        hide();
        if (m_dismiss)
            m_dismiss();
    });
    layout->addWidget(close);
    parent->installEventFilter(this);
    hide();
}

void ToastView::show(const std::optional<QString>& text, std::function<void()> dismiss) {
    m_dismiss = std::move(dismiss);
    if (!text || text->isEmpty()) {
        hide();
        return;
    }
    m_label->setText(*text);
    place();
    QFrame::show();
    raise();
}

QString ToastView::text() const {
    return isVisible() ? m_label->text() : QString();
}

bool ToastView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible())
        place();
    return QFrame::eventFilter(watched, event);
}

void ToastView::place() {
    QWidget* host = parentWidget();
    int width = qMin(560, host->width() - Theme::space(8));
    const int labelWidth = width - Theme::space(16);
    m_label->setMaximumWidth(labelWidth);
    // A wrapping label asks for little width; a short sentence should stand on one line.
    m_label->setMinimumWidth(qMin(labelWidth, m_label->fontMetrics().horizontalAdvance(m_label->text()) + 2));
    adjustSize();
    resize(qMin(width, sizeHint().width()), sizeHint().height());
    move((host->width() - this->width()) / 2, host->height() - height() - Theme::space(6));
}

} // namespace corvantis

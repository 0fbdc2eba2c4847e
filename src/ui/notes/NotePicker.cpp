#include "ui/notes/NotePicker.h"

#include "ui/design/Theme.h"

#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QIcon dot(const QString& palette, bool isRel) {
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    if (palette.isEmpty() && !isRel)
        return QIcon(pixmap);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(palette.isEmpty() ? Theme::secondaryText() : Theme::paletteColor(palette));
    painter.setPen(Qt::NoPen);
    if (isRel)
        painter.drawRoundedRect(QRectF(1, 4, 10, 4), 2, 2);
    else
        painter.drawEllipse(QRectF(1, 1, 10, 10));
    return QIcon(pixmap);
}

} // namespace

NotePicker::NotePicker(QWidget* parent)
    : QFrame(parent)
    , m_list(new QListWidget(this))
    , m_more(new QLabel(this)) {
    setObjectName(QStringLiteral("notePicker"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(1), Theme::space(1), Theme::space(1), Theme::space(1));
    layout->setSpacing(0);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->setUniformItemSizes(true);
    layout->addWidget(m_list);
    QPalette muted = m_more->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    m_more->setPalette(muted);
    m_more->setContentsMargins(Theme::space(2), Theme::space(1), Theme::space(2), Theme::space(1));
    layout->addWidget(m_more);
    connect(m_list, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { emit picked(m_list->row(item)); });
    resize(340, 200);
}

void NotePicker::setChoices(const QList<TagChoice>& choices, int more) {
    m_choices = choices;
    m_list->clear();
    for (const TagChoice& choice : choices) {
        QString text = choice.symbol ? *choice.symbol + "  " + choice.title : choice.title;
        if (!choice.detail.isEmpty())
            text += "    " + choice.detail;
        m_list->addItem(new QListWidgetItem(dot(choice.color, choice.isRel), text));
    }
    m_list->setCurrentRow(choices.isEmpty() ? -1 : 0);
    m_more->setVisible(more > 0);
    m_more->setText(QStringLiteral("%1 more").arg(more));
    const int rows = std::min<int>(choices.size(), 8);
    const int rowHeight = m_list->sizeHintForRow(0) > 0 ? m_list->sizeHintForRow(0) : 22;
    resize(360, rows * rowHeight + Theme::space(3) + (more > 0 ? m_more->sizeHint().height() : 0));
}

int NotePicker::current() const {
    return m_list->currentRow();
}

void NotePicker::step(int by) {
    if (m_choices.isEmpty())
        return;
    const int count = m_choices.size();
    m_list->setCurrentRow(((current() + by) % count + count) % count);
}

} // namespace corvantis

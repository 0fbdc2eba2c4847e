#include "ui/shape/TypeItemDelegate.h"

#include "ui/design/Theme.h"

#include <QPainter>

namespace corvantis {

void TypeItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    QStyleOptionViewItem opt(option);
    initStyleOption(&opt, index);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);

    const QRect box = opt.rect.adjusted(2, 1, -2, -1);
    const bool selected = opt.state & QStyle::State_Selected;
    if (selected || (opt.state & QStyle::State_MouseOver)) {
        QColor fill = Theme::accent();
        fill.setAlphaF(selected ? (Theme::isDark() ? 0.38 : 0.18) : 0.07);
        painter->setPen(Qt::NoPen);
        painter->setBrush(fill);
        painter->drawRoundedRect(box, 6, 6);
    }

    int x = box.left() + Theme::space(2);
    const QString color = index.data(ColorRole).toString();
    if (!color.isEmpty()) {
        const int size = 10;
        painter->setPen(Qt::NoPen);
        painter->setBrush(Theme::paletteColor(color));
        painter->drawEllipse(QRectF(x, box.center().y() - size / 2.0 + 0.5, size, size));
        x += size + Theme::space(2);
    }

    const QFontMetrics metrics(opt.font);
    const QString note = index.data(NoteRole).toString();
    const int right = box.right() - Theme::space(2);
    int noteWidth = 0;
    if (!note.isEmpty()) {
        const QString shown = metrics.elidedText(note, Qt::ElideRight, (right - x) / 2);
        noteWidth = metrics.horizontalAdvance(shown);
        painter->setPen(opt.palette.color(QPalette::PlaceholderText));
        painter->drawText(QRect(right - noteWidth, box.top(), noteWidth, box.height()),
                          Qt::AlignVCenter | Qt::AlignRight, shown);
        noteWidth += Theme::space(2);
    }
    painter->setPen(opt.palette.color(QPalette::Text));
    const QString name = metrics.elidedText(opt.text, Qt::ElideRight, right - noteWidth - x);
    painter->drawText(QRect(x, box.top(), right - noteWidth - x, box.height()),
                      Qt::AlignVCenter | Qt::AlignLeft, name);
    painter->restore();
}

QSize TypeItemDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(std::max(size.height(), QFontMetrics(option.font).height() + Theme::space(3)));
    return size;
}

} // namespace corvantis

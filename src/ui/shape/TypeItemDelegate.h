#pragma once

#include <QStyledItemDelegate>

namespace corvantis {

// Draws one type of the shape in a list: its colour (when it has one), its name, and a quieter note at
// the right (a count, or what it connects), on a soft rounded selection.
class TypeItemDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    // Data roles of the items it draws.
    static constexpr int NoteRole = Qt::UserRole + 1;
    static constexpr int ColorRole = Qt::UserRole + 2;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

} // namespace corvantis

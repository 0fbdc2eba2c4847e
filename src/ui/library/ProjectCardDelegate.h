#pragma once

#include <QStyledItemDelegate>

namespace corvantis {

// Paints the gallery's cards (name, last change, shape summary; the "New Project" card with a plus)
// and edits a name in place.
class ProjectCardDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    static constexpr QSize cardSize{264, 132};

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
};

} // namespace corvantis

#include "ui/table/ValueDelegate.h"

#include "ui/table/GraphTableModel.h"

#include <QComboBox>

namespace corvantis {

namespace {

const PropertyDef* choiceProperty(const QModelIndex& index) {
    auto* model = qobject_cast<const GraphTableModel*>(index.model());
    const PropertyDef* property = model ? model->property(index.column()) : nullptr;
    return property && property->kind == PropertyKind::Choice ? property : nullptr;
}

} // namespace

QWidget* ValueDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                     const QModelIndex& index) const {
    const PropertyDef* property = choiceProperty(index);
    if (!property)
        return QStyledItemDelegate::createEditor(parent, option, index);
    auto* combo = new QComboBox(parent);
    combo->setObjectName(QStringLiteral("choiceEditor"));
    combo->addItem(QString()); // no value
    combo->addItems(property->options.value_or(QStringList()));
    // The choice is taken as soon as it is made.
    connect(combo, &QComboBox::activated, this, [this, combo] {
        auto* self = const_cast<ValueDelegate*>(this);
        emit self->commitData(combo);
        emit self->closeEditor(combo);
    });
    return combo;
}

void ValueDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        const QString current = index.data(Qt::EditRole).toString();
        const int at = combo->findText(current);
        if (at >= 0) {
            combo->setCurrentIndex(at);
        } else {
            // A value that is no longer an option stays visible until it is changed.
            combo->addItem(current);
            combo->setCurrentIndex(combo->count() - 1);
        }
        return;
    }
    QStyledItemDelegate::setEditorData(editor, index);
}

void ValueDelegate::setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const {
    if (auto* combo = qobject_cast<QComboBox*>(editor)) {
        if (combo->currentText() != index.data(Qt::EditRole).toString())
            model->setData(index, combo->currentText(), Qt::EditRole);
        return;
    }
    QStyledItemDelegate::setModelData(editor, model, index);
}

} // namespace corvantis

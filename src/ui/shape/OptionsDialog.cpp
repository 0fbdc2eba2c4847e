#include "ui/shape/OptionsDialog.h"

#include "ui/design/Theme.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

OptionsDialog::OptionsDialog(const QString& propertyName, const QStringList& options,
                             const QStringList& valuesFound, QWidget* parent)
    : QDialog(parent)
    , m_list(new QListWidget(this))
    , m_remove(new QPushButton(QStringLiteral("Remove"), this))
    , m_up(new QPushButton(QStringLiteral("Move Up"), this))
    , m_down(new QPushButton(QStringLiteral("Move Down"), this))
    , m_found(valuesFound) {
    setWindowTitle(QStringLiteral("Options of “%1”").arg(propertyName));
    resize(420, 420);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(5), Theme::space(5), Theme::space(5), Theme::space(4));
    layout->setSpacing(Theme::space(3));
    auto* hint =
        new QLabel(QStringLiteral("Renaming an option renames it on every node that holds it."), this);
    hint->setWordWrap(true);
    hint->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(hint);

    m_list->setObjectName(QStringLiteral("options"));
    m_list->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                            QAbstractItemView::SelectedClicked);
    for (const QString& option : options)
        addOption(option, false);
    auto* row = new QHBoxLayout;
    row->addWidget(m_list, 1);
    auto* buttons = new QVBoxLayout;
    auto* add = new QPushButton(QStringLiteral("Add"), this);
    add->setObjectName(QStringLiteral("addOption"));
    buttons->addWidget(add);
    buttons->addWidget(m_remove);
    buttons->addWidget(m_up);
    buttons->addWidget(m_down);
    auto* found = new QPushButton(QStringLiteral("Add Values Found"), this);
    found->setObjectName(QStringLiteral("addFound"));
    found->setToolTip(QStringLiteral("Adds the values your graph already holds for this property"));
    found->setEnabled(!m_found.isEmpty());
    buttons->addWidget(found);
    buttons->addStretch();
    row->addLayout(buttons);
    layout->addLayout(row, 1);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    layout->addWidget(box);

    connect(add, &QPushButton::clicked, this, [this] { addOption(QStringLiteral("New option"), true); });
    connect(found, &QPushButton::clicked, this, [this] {
        const QStringList present = this->options();
        for (const QString& value : std::as_const(m_found))
            if (!present.contains(value))
                addOption(value, false);
    });
    connect(m_remove, &QPushButton::clicked, this, [this] { delete m_list->currentItem(); });
    connect(m_up, &QPushButton::clicked, this, [this] {
        const int row = m_list->currentRow();
        if (row > 0) {
            m_list->insertItem(row - 1, m_list->takeItem(row));
            m_list->setCurrentRow(row - 1);
        }
    });
    connect(m_down, &QPushButton::clicked, this, [this] {
        const int row = m_list->currentRow();
        if (row >= 0 && row + 1 < m_list->count()) {
            m_list->insertItem(row + 1, m_list->takeItem(row));
            m_list->setCurrentRow(row + 1);
        }
    });
    connect(m_list, &QListWidget::currentRowChanged, this, &OptionsDialog::syncButtons);
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    syncButtons();
}

void OptionsDialog::addOption(const QString& text, bool edit) {
    auto* item = new QListWidgetItem(text, m_list);
    item->setFlags(item->flags() | Qt::ItemIsEditable);
    if (edit) {
        m_list->setCurrentItem(item);
        m_list->editItem(item);
    }
    syncButtons();
}

void OptionsDialog::syncButtons() {
    const int row = m_list->currentRow();
    m_remove->setEnabled(row >= 0);
    m_up->setEnabled(row > 0);
    m_down->setEnabled(row >= 0 && row + 1 < m_list->count());
}

QStringList OptionsDialog::options() const {
    QStringList list;
    for (int i = 0; i < m_list->count(); ++i)
        list << m_list->item(i)->text();
    return list;
}

} // namespace corvantis

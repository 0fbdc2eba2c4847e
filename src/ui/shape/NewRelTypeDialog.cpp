#include "ui/shape/NewRelTypeDialog.h"

#include "kit/support/Json.h"
#include "ui/design/Theme.h"
#include "ui/shape/TypeSwatch.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

namespace corvantis {

NewRelTypeDialog::NewRelTypeDialog(const GraphSchema& schema, QWidget* parent)
    : QDialog(parent)
    , m_name(new QLineEdit(this))
    , m_from(new QComboBox(this))
    , m_to(new QComboBox(this))
    , m_bothWays(new QCheckBox(QStringLiteral("Runs both ways"), this))
    , m_add(nullptr) {
    setWindowTitle(QStringLiteral("New Relationship"));
    auto* form = new QFormLayout(this);
    form->setContentsMargins(Theme::space(5), Theme::space(5), Theme::space(5), Theme::space(4));
    form->setSpacing(Theme::space(3));
    m_name->setObjectName(QStringLiteral("relName"));
    m_name->setPlaceholderText(QStringLiteral("wrote, lives in, knows…"));
    m_from->setObjectName(QStringLiteral("relFrom"));
    m_to->setObjectName(QStringLiteral("relTo"));
    m_bothWays->setObjectName(QStringLiteral("relBothWays"));
    for (const NodeType& type : schema.nodeTypes) {
        m_from->addItem(typeSwatch(type.color), type.name, json::uuidText(type.id));
        m_to->addItem(typeSwatch(type.color), type.name, json::uuidText(type.id));
    }
    form->addRow(QStringLiteral("Name"), m_name);
    form->addRow(QStringLiteral("From"), m_from);
    form->addRow(QStringLiteral("To"), m_to);
    form->addRow(QString(), m_bothWays);
    auto* box = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_add = box->addButton(QStringLiteral("Add"), QDialogButtonBox::AcceptRole);
    m_add->setDefault(true);
    m_add->setEnabled(false);
    form->addRow(box);
    connect(m_name, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_add->setEnabled(!text.trimmed().isEmpty() && m_from->count() > 0);
    });
    connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QString NewRelTypeDialog::name() const {
    return m_name->text().trimmed();
}

QUuid NewRelTypeDialog::from() const {
    return json::parseUuid(m_from->currentData().toString()).value_or(QUuid());
}

QUuid NewRelTypeDialog::to() const {
    return json::parseUuid(m_to->currentData().toString()).value_or(QUuid());
}

bool NewRelTypeDialog::bothWays() const {
    return m_bothWays->isChecked();
}

} // namespace corvantis

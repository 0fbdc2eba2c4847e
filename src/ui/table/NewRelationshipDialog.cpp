#include "ui/table/NewRelationshipDialog.h"

#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"
#include "ui/shape/TypeSwatch.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <algorithm>

namespace corvantis {

NewRelationshipDialog::NewRelationshipDialog(const ProjectSession& session, const RelType& type,
                                             QWidget* parent)
    : QDialog(parent)
    , m_session(session)
    , m_type(type)
    , m_connection(new QComboBox(this))
    , m_from(new QComboBox(this))
    , m_to(new QComboBox(this))
    , m_buttons(new QDialogButtonBox(QDialogButtonBox::Cancel, this)) {
    setWindowTitle(QStringLiteral("New %1").arg(type.name));
    auto* form = new QFormLayout(this);
    form->setContentsMargins(Theme::space(5), Theme::space(5), Theme::space(5), Theme::space(4));
    form->setSpacing(Theme::space(3));

    const GraphSchema& schema = session.project().schema;
    for (const RelEndpoint& endpoint : type.endpoints) {
        const NodeType* from = schema.nodeType(endpoint.from);
        const NodeType* to = schema.nodeType(endpoint.to);
        if (!from || !to)
            continue;
        m_connection->addItem(QStringLiteral("%1 → %2").arg(from->name, to->name),
                              QVariant::fromValue(QPair<QUuid, QUuid>(endpoint.from, endpoint.to)));
    }
    m_connection->setObjectName(QStringLiteral("connection"));
    m_from->setObjectName(QStringLiteral("from"));
    m_to->setObjectName(QStringLiteral("to"));
    if (m_connection->count() > 1)
        form->addRow(QStringLiteral("Connection"), m_connection);
    else
        m_connection->hide();
    form->addRow(QStringLiteral("From"), m_from);
    form->addRow(QStringLiteral("To"), m_to);
    QPushButton* add = m_buttons->addButton(QStringLiteral("Add"), QDialogButtonBox::AcceptRole);
    add->setDefault(true);
    form->addRow(m_buttons);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_connection, &QComboBox::currentIndexChanged, this, &NewRelationshipDialog::fillEnds);
    fillEnds();
}

void NewRelationshipDialog::fillEnds() {
    const auto endpoint = m_connection->currentData().value<QPair<QUuid, QUuid>>();
    const GraphSchema& schema = m_session.project().schema;
    auto fill = [&](QComboBox* picker, const QUuid& typeId) {
        picker->clear();
        // The connection's ends were read from this shape a moment ago.
        const NodeType* type = schema.nodeType(typeId);
        Q_ASSERT(type);
        const QString label = m_session.tableOf(typeId).value_or(QString());
        QList<std::pair<QString, QString>> titled;
        for (const NodeRecord& node : m_session.nodes())
            if (node.label == label)
                titled.append({node.title(type), node.id});
        std::sort(titled.begin(), titled.end(), [](const auto& a, const auto& b) {
            int order = QString::localeAwareCompare(a.first, b.first);
            return order != 0 ? order < 0 : a.second < b.second;
        });
        for (const auto& [title, id] : titled)
            picker->addItem(typeSwatch(type->color), title, id);
    };
    fill(m_from, endpoint.first);
    fill(m_to, endpoint.second);
    for (QAbstractButton* button : m_buttons->buttons())
        if (m_buttons->buttonRole(button) == QDialogButtonBox::AcceptRole)
            button->setEnabled(m_from->count() > 0 && m_to->count() > 0);
}

QString NewRelationshipDialog::fromId() const {
    return m_from->currentData().toString();
}

QString NewRelationshipDialog::toId() const {
    return m_to->currentData().toString();
}

} // namespace corvantis

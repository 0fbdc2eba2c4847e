#include "ui/canvas/ComposerDialog.h"

#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

ComposerDialog::ComposerDialog(ProjectSession& session, QPointF world, const std::optional<QString>& from,
                               QWidget* parent)
    : QDialog(parent)
    , m_session(&session)
    , m_world(world)
    , m_from(from) {
    m_type = new QComboBox(this);
    m_type->setObjectName(QStringLiteral("composerType"));
    for (const NodeType& type : session.project().schema.nodeTypes)
        m_type->addItem(type.name, type.id);
    m_name = new QLineEdit(this);
    m_name->setObjectName(QStringLiteral("composerName"));
    m_name->setPlaceholderText(QStringLiteral("Name"));
    if (from) {
        m_rel = new QComboBox(this);
        m_rel->setObjectName(QStringLiteral("composerRel"));
        connect(m_type, &QComboBox::currentIndexChanged, this, &ComposerDialog::fillRelTypes);
    }
    build(QStringLiteral("Add a Node"));
    fillRelTypes();
}

ComposerDialog::ComposerDialog(ProjectSession& session, const QString& from, const QString& to,
                               QWidget* parent)
    : QDialog(parent)
    , m_session(&session)
    , m_from(from)
    , m_to(to) {
    m_rel = new QComboBox(this);
    m_rel->setObjectName(QStringLiteral("composerRel"));
    build(QStringLiteral("Connect"));
    fillRelTypes();
}

void ComposerDialog::build(const QString& title) {
    setObjectName(QStringLiteral("composer"));
    setWindowTitle(title);
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(3));
    auto* heading = new QLabel(title, this);
    QFont font = heading->font();
    font.setWeight(QFont::DemiBold);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    heading->setFont(font);
    layout->addWidget(heading);
    auto* form = new QFormLayout;
    if (m_type)
        form->addRow(QStringLiteral("Type"), m_type);
    if (m_name)
        form->addRow(QStringLiteral("Name"), m_name);
    if (m_rel)
        form->addRow(QStringLiteral("Relationship"), m_rel);
    layout->addLayout(form);
    m_note = new QLabel(this);
    m_note->setWordWrap(true);
    QPalette muted = m_note->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    m_note->setPalette(muted);
    layout->addWidget(m_note);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    QPushButton* add = m_buttons->addButton(QStringLiteral("Add"), QDialogButtonBox::AcceptRole);
    add->setObjectName(QStringLiteral("composerAdd"));
    add->setDefault(true);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &ComposerDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &ComposerDialog::reject);
    layout->addWidget(m_buttons);
    setMinimumWidth(360);
    if (m_type && m_type->count() == 0) {
        m_note->setText(QStringLiteral("The shape has no node types yet. Add one in Shape mode first."));
        add->setEnabled(false);
    }
}

void ComposerDialog::fillRelTypes() {
    if (!m_rel || !m_session || !m_from)
        return;
    m_rel->clear();
    const GraphSchema& schema = m_session->project().schema;
    auto typeOf = [&](const QString& id) -> const NodeType* {
        auto node = m_session->nodes().constFind(id);
        return node == m_session->nodes().constEnd() ? nullptr : schema.nodeTypeForTable(node->label);
    };
    const NodeType* fromType = typeOf(*m_from);
    const NodeType* toType = m_to ? typeOf(*m_to) : schema.nodeType(m_type->currentData().toUuid());
    if (fromType && toType) {
        for (const RelType* rel : schema.relTypesBetween(fromType->id, toType->id))
            m_rel->addItem(rel->name, rel->id);
    }
    QPushButton* add = nullptr;
    for (QAbstractButton* button : m_buttons->buttons())
        if (m_buttons->buttonRole(button) == QDialogButtonBox::AcceptRole)
            add = qobject_cast<QPushButton*>(button);
    if (m_rel->count() == 0) {
        m_rel->addItem(QStringLiteral("No relationship"), QUuid());
        m_note->setText(fromType && toType ? QStringLiteral("The shape has no relationship from %1 to %2.")
                                                 .arg(fromType->name, toType->name)
                                           : QString());
        if (m_to && add)
            add->setEnabled(false);
    } else {
        m_note->clear();
        if (add)
            add->setEnabled(true);
    }
}

void ComposerDialog::accept() {
    if (!m_session)
        return QDialog::reject();
    const QUuid relType = m_rel ? m_rel->currentData().toUuid() : QUuid();
    if (m_to) {
        if (relType.isNull() || !m_session->createRelationship(relType, *m_from, *m_to))
            return; // the session's notice says why
        return QDialog::accept();
    }
    const NodeType* type = m_session->project().schema.nodeType(m_type->currentData().toUuid());
    if (!type)
        return;
    UndoStack* undo = m_session->undoStack();
    const bool linked = m_from && !relType.isNull();
    // A node and the relationship to it are one step to undo.
    if (linked && undo)
        undo->beginGroup();
    m_addedNode = m_session->createNode(*type, m_name->text().trimmed(), {}, m_world);
    if (m_addedNode && linked)
        m_session->createRelationship(relType, *m_from, *m_addedNode);
    if (linked && undo)
        undo->endGroup();
    if (!m_addedNode)
        return;
    QDialog::accept();
}

} // namespace corvantis

#include "ui/graph/Inspector.h"

#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "kit/links/LinkURL.h"
#include "ui/design/Theme.h"
#include "ui/links/LinkPreviewCard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

Inspector::Inspector(QWidget* parent)
    : QWidget(parent)
    , m_heading(new QLabel(this))
    , m_detail(new QLabel(this))
    , m_form(new QWidget(this))
    , m_formLayout(new QFormLayout(m_form))
    , m_delete(new QPushButton(QStringLiteral("Delete"), this)) {
    setObjectName(QStringLiteral("inspector"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(2));
    QFont headingFont = m_heading->font();
    headingFont.setWeight(QFont::DemiBold);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.15);
    m_heading->setFont(headingFont);
    m_heading->setWordWrap(true);
    m_detail->setWordWrap(true);
    QPalette muted = m_detail->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    m_detail->setPalette(muted);
    m_formLayout->setContentsMargins(0, Theme::space(2), 0, 0);
    m_formLayout->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m_delete->setObjectName(QStringLiteral("inspectorDelete"));
    connect(m_delete, &QPushButton::clicked, this, [this] {
        if (m_session)
            m_session->deleteSelection();
    });
    layout->addWidget(m_heading);
    layout->addWidget(m_detail);
    layout->addWidget(m_form);
    layout->addStretch();
    layout->addWidget(m_delete, 0, Qt::AlignLeft);
    rebuild();
}

void Inspector::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(session, &ProjectSession::selectionChanged, this, &Inspector::rebuild);
        connect(session, &ProjectSession::projectChanged, this, &Inspector::rebuild);
        connect(session, &ProjectSession::graphChanged, this, [this] {
            // The record may be gone (deleted, undone); otherwise only its values move.
            if (!m_recordId.isEmpty() && !(m_isNode ? m_session->nodes().contains(m_recordId)
                                                    : m_session->rels().contains(m_recordId)))
                rebuild();
            else
                refreshValues();
        });
    }
    rebuild();
}

void Inspector::setLinkPreviews(LinkPreviews* previews) {
    m_previews = previews;
    rebuild();
}

LinkPreviewCard* Inspector::linkCard(const QUuid& property) const {
    QWidget* row = m_linkRows.value(property);
    return row ? row->findChild<LinkPreviewCard*>() : nullptr;
}

void Inspector::showLink(const QUuid& property, const GraphValue& value) {
    QWidget* row = m_linkRows.value(property);
    if (!row)
        return;
    std::optional<QUrl> url;
    if (const auto text = value.stringValue())
        url = LinkURL::normalize(*text);
    LinkPreviewCard* card = linkCard(property);
    if (card && url && card->url() == *url)
        return;
    delete card;
    if (url && m_previews)
        row->layout()->addWidget(new LinkPreviewCard(m_previews->service(), *url, row));
    m_formLayout->setRowVisible(row, url.has_value());
}

void Inspector::rebuild() {
    m_editors.clear();
    m_linkRows.clear();
    while (m_formLayout->rowCount() > 0)
        m_formLayout->removeRow(0);
    m_recordId.clear();
    m_delete->hide();
    m_detail->clear();
    if (!m_session || m_session->selection().isEmpty()) {
        m_heading->setText(QStringLiteral("Nothing selected"));
        m_detail->setText(QStringLiteral("Click a node or a relationship on the canvas to see it here."));
        return;
    }
    const GraphSelection& selection = m_session->selection();
    const GraphSchema& schema = m_session->project().schema;
    if (selection.kind == GraphSelection::Kind::Nodes) {
        m_heading->setText(QStringLiteral("%1 nodes selected").arg(selection.ids.size()));
        m_delete->show();
        return;
    }
    const QString id = *selection.ids.begin();
    const QList<PropertyDef>* properties = nullptr;
    if (selection.kind == GraphSelection::Kind::Node) {
        auto node = m_session->nodes().constFind(id);
        if (node == m_session->nodes().constEnd())
            return;
        const NodeType* type = schema.nodeTypeForTable(node->label);
        m_heading->setText(node->title(type));
        m_detail->setText(type ? type->name : node->label);
        if (type)
            properties = &type->properties;
        m_isNode = true;
    } else {
        auto rel = m_session->rels().constFind(id);
        if (rel == m_session->rels().constEnd())
            return;
        const RelType* type = schema.relTypeForTable(rel->label);
        auto endTitle = [&](const QString& end) {
            auto node = m_session->nodes().constFind(end);
            return node == m_session->nodes().constEnd() ? end
                                                         : node->title(schema.nodeTypeForTable(node->label));
        };
        m_heading->setText(type ? type->name : rel->label);
        m_detail->setText(QStringLiteral("%1 → %2").arg(endTitle(rel->from), endTitle(rel->to)));
        if (type)
            properties = &type->properties;
        m_isNode = false;
    }
    m_recordId = id;
    m_delete->show();
    if (properties) {
        for (const PropertyDef& property : *properties) {
            m_formLayout->addRow(property.name, m_editors[property.id] = makeEditor(property));
            if (property.kind == PropertyKind::Link && m_previews) {
                // The card spans the form under its field; refreshValues fills it.
                auto* row = new QWidget(m_form);
                auto* rowLayout = new QVBoxLayout(row);
                rowLayout->setContentsMargins(0, 0, 0, Theme::space(1));
                rowLayout->setAlignment(Qt::AlignTop);
                m_formLayout->addRow(row);
                m_formLayout->setRowVisible(row, false);
                m_linkRows.insert(property.id, row);
            }
        }
    }
    refreshValues();
}

QWidget* Inspector::makeEditor(const PropertyDef& property) {
    const QUuid id = property.id;
    if (property.kind == PropertyKind::Boolean) {
        auto* box = new QCheckBox(m_form);
        connect(box, &QCheckBox::toggled, this, [this, id](bool on) {
            if (!m_refreshing)
                commit(id, on ? QStringLiteral("true") : QStringLiteral("false"));
        });
        return box;
    }
    if (auto choices = property.choices()) {
        auto* combo = new QComboBox(m_form);
        combo->addItem(QString());
        combo->addItems(*choices);
        connect(combo, &QComboBox::currentTextChanged, this, [this, id](const QString& text) {
            if (!m_refreshing)
                commit(id, text);
        });
        return combo;
    }
    auto* field = new QLineEdit(m_form);
    connect(field, &QLineEdit::editingFinished, this, [this, id, field] {
        if (!m_refreshing && field->isModified()) {
            field->setModified(false);
            commit(id, field->text());
        }
    });
    return field;
}

void Inspector::commit(const QUuid& property, const QString& text) {
    if (!m_session || m_recordId.isEmpty())
        return;
    // A refused text leaves the notice; the field then shows the value that stands.
    if (!m_session->setValueFromText(m_recordId, property, text))
        refreshValues();
}

void Inspector::refreshValues() {
    if (!m_session || m_recordId.isEmpty())
        return;
    const PropertyMap* values = nullptr;
    const GraphSchema& schema = m_session->project().schema;
    const QList<PropertyDef>* properties = nullptr;
    if (m_isNode) {
        auto node = m_session->nodes().constFind(m_recordId);
        if (node == m_session->nodes().constEnd())
            return;
        values = &node->properties;
        if (const NodeType* type = schema.nodeTypeForTable(node->label)) {
            properties = &type->properties;
            m_heading->setText(node->title(type));
        }
    } else {
        auto rel = m_session->rels().constFind(m_recordId);
        if (rel == m_session->rels().constEnd())
            return;
        values = &rel->properties;
        if (const RelType* type = schema.relTypeForTable(rel->label))
            properties = &type->properties;
    }
    if (!properties)
        return;
    m_refreshing = true;
    for (const PropertyDef& property : *properties) {
        QWidget* editor = m_editors.value(property.id);
        // A field being typed into keeps what the person typed.
        auto* typing = qobject_cast<QLineEdit*>(editor);
        if (!editor || (typing && typing->isModified()))
            continue;
        const GraphValue value = values->value(property.column());
        showLink(property.id, value);
        const QString text = value.isNull() ? QString() : value.displayText();
        if (auto* box = qobject_cast<QCheckBox*>(editor)) {
            const bool* flag = value.asBool();
            box->setChecked(flag && *flag);
        } else if (auto* combo = qobject_cast<QComboBox*>(editor)) {
            combo->setCurrentText(text);
        } else if (auto* field = qobject_cast<QLineEdit*>(editor)) {
            field->setText(text);
            field->setModified(false);
        }
    }
    m_refreshing = false;
}

} // namespace corvantis

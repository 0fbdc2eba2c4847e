#include "ui/links/LinkPreviewStrip.h"

#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "kit/links/LinkURL.h"
#include "ui/design/Theme.h"
#include "ui/links/LinkPreviewCard.h"

#include <QHBoxLayout>

namespace corvantis {

LinkPreviewStrip::LinkPreviewStrip(QWidget* parent)
    : QWidget(parent)
    , m_cards(new QHBoxLayout(this)) {
    setObjectName(QStringLiteral("linkPreviews"));
    m_cards->setContentsMargins(0, 0, 0, 0);
    m_cards->setSpacing(Theme::space(3));
    hide();
}

void LinkPreviewStrip::setSources(ProjectSession* session, LinkPreviews* previews) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    m_previews = previews;
    if (session) {
        connect(session, &ProjectSession::selectionChanged, this, &LinkPreviewStrip::sync);
        connect(session, &ProjectSession::graphChanged, this, &LinkPreviewStrip::sync);
    }
    sync();
}

void LinkPreviewStrip::sync() {
    QStringList links;
    if (m_session) {
        const GraphSelection& selection = m_session->selection();
        const GraphSchema& shape = m_session->project().schema;
        const QList<PropertyDef>* properties = nullptr;
        const PropertyMap* values = nullptr;
        if (selection.kind == GraphSelection::Kind::Node) {
            auto it = m_session->nodes().constFind(*selection.ids.cbegin());
            if (it != m_session->nodes().cend()) {
                if (const NodeType* type = shape.nodeTypeForTable(it->label))
                    properties = &type->properties;
                values = &it->properties;
            }
        } else if (selection.kind == GraphSelection::Kind::Relationship) {
            auto it = m_session->rels().constFind(*selection.ids.cbegin());
            if (it != m_session->rels().cend()) {
                if (const RelType* type = shape.relTypeForTable(it->label))
                    properties = &type->properties;
                values = &it->properties;
            }
        }
        if (properties && values) {
            for (const PropertyDef& property : *properties) {
                if (property.kind != PropertyKind::Link)
                    continue;
                if (auto text = values->value(property.column()).stringValue())
                    if (auto url = LinkURL::normalize(*text))
                        links.append(url->toString());
            }
        }
    }
    if (links == m_links)
        return;
    m_links = links;
    while (QLayoutItem* item = m_cards->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    LinkPreviewService* service = m_previews ? m_previews->service() : nullptr;
    for (const QString& link : std::as_const(m_links))
        m_cards->addWidget(new LinkPreviewCard(service, QUrl(link), this), 1);
    if (!m_links.isEmpty())
        m_cards->addStretch();
    setVisible(!m_links.isEmpty());
}

} // namespace corvantis

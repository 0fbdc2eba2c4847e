#pragma once

#include <QWidget>

class QHBoxLayout;

namespace corvantis {

class LinkPreviews;
class ProjectSession;

// The cards of the link values of the one selected node or relationship; hidden when it has none.
class LinkPreviewStrip : public QWidget {
    Q_OBJECT
public:
    explicit LinkPreviewStrip(QWidget* parent = nullptr);

    void setSources(ProjectSession* session, LinkPreviews* previews);
    // The links the cards show, in the order of the type's properties.
    QStringList links() const { return m_links; }

private:
    void sync();

    ProjectSession* m_session = nullptr;
    LinkPreviews* m_previews = nullptr;
    QHBoxLayout* m_cards;
    QStringList m_links;
};

} // namespace corvantis

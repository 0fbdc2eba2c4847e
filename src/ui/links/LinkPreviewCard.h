#pragma once

#include "kit/links/LinkPreview.h"

#include <QFrame>
#include <QPointer>
#include <QUrl>

class QLabel;

namespace corvantis {

class LinkPreviewService;

// A link as a card: its picture (or the site's icon), its title and its site. It shows what the cache
// knows at once and asks the service for the rest; a click opens the link in the browser.
class LinkPreviewCard : public QFrame {
    Q_OBJECT
public:
    LinkPreviewCard(LinkPreviewService* service, const QUrl& url, QWidget* parent = nullptr);

    QUrl url() const { return m_url; }
    // What the card shows now; absent until the service answered.
    const std::optional<LinkPreview>& preview() const { return m_preview; }

signals:
    void loaded();

protected:
    void mouseReleaseEvent(class QMouseEvent* event) override;

private:
    void show(const LinkPreview& preview);

    QPointer<LinkPreviewService> m_service;
    QUrl m_url;
    std::optional<LinkPreview> m_preview;
    QLabel* m_picture;
    QLabel* m_title;
    QLabel* m_site;
};

} // namespace corvantis

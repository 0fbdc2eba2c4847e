#include "ui/links/LinkPreviewCard.h"

#include "kit/links/LinkPreviewService.h"
#include "kit/links/LinkURL.h"
#include "ui/design/Theme.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QVBoxLayout>

namespace corvantis {

namespace {

constexpr int pictureWidth = 112;
constexpr int pictureHeight = 72;
constexpr int iconSize = 32;

} // namespace

LinkPreviewCard::LinkPreviewCard(LinkPreviewService* service, const QUrl& url, QWidget* parent)
    : QFrame(parent)
    , m_service(service)
    , m_url(url)
    , m_picture(new QLabel(this))
    , m_title(new QLabel(this))
    , m_site(new QLabel(this)) {
    setObjectName(QStringLiteral("linkPreviewCard"));
    setFrameShape(QFrame::StyledPanel);
    setCursor(Qt::PointingHandCursor);
    setToolTip(url.toString());
    setAccessibleName(QStringLiteral("Link to %1").arg(LinkURL::site(url)));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::space(2), Theme::space(2), Theme::space(3), Theme::space(2));
    layout->setSpacing(Theme::space(3));
    m_picture->setFixedSize(pictureWidth, pictureHeight);
    m_picture->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_picture);
    auto* text = new QVBoxLayout;
    text->setSpacing(Theme::space(1));
    QFont bold = m_title->font();
    bold.setWeight(QFont::DemiBold);
    m_title->setFont(bold);
    m_title->setWordWrap(true);
    m_site->setForegroundRole(QPalette::PlaceholderText);
    text->addStretch();
    text->addWidget(m_title);
    text->addWidget(m_site);
    text->addStretch();
    layout->addLayout(text, 1);
    setMaximumHeight(pictureHeight + Theme::space(4));
    setMaximumWidth(480);

    // At once: the site and the link, or what the cache knows.
    LinkPreview placeholder;
    placeholder.url = url.toString();
    placeholder.site = LinkURL::site(url);
    if (service) {
        if (auto known = service->cached(url)) {
            show(*known);
            emit loaded();
            return;
        }
    }
    show(placeholder);
    m_preview.reset();
    if (!service)
        return;
    QPointer<LinkPreviewCard> self(this);
    QCoro::connect(service->preview(url), this, [self](const LinkPreview& preview) {
        if (self) {
            self->show(preview);
            emit self->loaded();
        }
    });
}

void LinkPreviewCard::show(const LinkPreview& preview) {
    m_preview = preview;
    m_title->setText(preview.title.value_or(preview.url));
    m_site->setText(preview.isVideo ? QStringLiteral("%1 · video").arg(preview.site) : preview.site);
    QPixmap picture;
    if (preview.imageFile && m_service)
        picture.load(m_service->directory() + '/' + *preview.imageFile);
    if (picture.isNull()) {
        m_picture->setPixmap(QPixmap());
        m_picture->setText(QStringLiteral("🔗"));
    } else if (preview.imageIsIcon) {
        m_picture->setPixmap(
            picture.scaled(iconSize, iconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    } else {
        m_picture->setPixmap(
            picture
                .scaled(pictureWidth, pictureHeight, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation)
                .copy(0, 0, pictureWidth, pictureHeight));
    }
}

void LinkPreviewCard::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        QDesktopServices::openUrl(m_url);
    QFrame::mouseReleaseEvent(event);
}

} // namespace corvantis

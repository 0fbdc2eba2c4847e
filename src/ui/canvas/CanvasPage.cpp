#include "ui/canvas/CanvasPage.h"

#include "app/graph/ProjectSession.h"
#include "ui/canvas/CanvasView.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace corvantis {

CanvasPage::CanvasPage(QWidget* parent)
    : QWidget(parent)
    , m_strip(new QWidget(this))
    , m_stripLayout(new QHBoxLayout(m_strip))
    , m_canvas(new CanvasView(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_strip->setObjectName(QStringLiteral("chipStrip"));
    m_stripLayout->setContentsMargins(Theme::space(3), Theme::space(1), Theme::space(3), Theme::space(1));
    m_stripLayout->setSpacing(Theme::space(2));
    m_stripLayout->addStretch();
    layout->addWidget(m_strip);
    layout->addWidget(m_canvas, 1);
}

void CanvasPage::setSession(ProjectSession* session) {
    m_session = session;
    m_canvas->setSession(session);
}

void CanvasPage::showType(const QUuid& type) {
    m_canvas->showType(type);
}

} // namespace corvantis

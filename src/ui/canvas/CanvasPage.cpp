#include "ui/canvas/CanvasPage.h"

#include "app/graph/ProjectSession.h"
#include "ui/canvas/CanvasView.h"
#include "ui/canvas/ChipStrip.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace corvantis {

CanvasPage::CanvasPage(QWidget* parent)
    : QWidget(parent)
    , m_strip(new ChipStrip(this))
    , m_canvas(new CanvasView(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_strip);
    layout->addWidget(m_canvas, 1);
}

void CanvasPage::setSession(ProjectSession* session) {
    m_session = session;
    m_canvas->setSession(session);
    m_strip->setSession(session);
}

void CanvasPage::showType(const QUuid& type) {
    m_canvas->showType(type);
}

} // namespace corvantis

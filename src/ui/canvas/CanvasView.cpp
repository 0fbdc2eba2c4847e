#include "ui/canvas/CanvasView.h"

#include "app/graph/ProjectSession.h"

namespace corvantis {

CanvasView::CanvasView(QWidget* parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("canvas"));
    setFocusPolicy(Qt::StrongFocus);
}

void CanvasView::setSession(ProjectSession* session) {
    m_session = session;
    update();
}

void CanvasView::setBrushTool(bool on) {
    if (m_brushTool == on)
        return;
    m_brushTool = on;
    emit brushToolChanged();
}

void CanvasView::showType(const QUuid&) {
}

} // namespace corvantis

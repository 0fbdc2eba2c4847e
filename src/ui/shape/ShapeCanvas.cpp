#include "ui/shape/ShapeCanvas.h"

#include "app/graph/ProjectSession.h"

namespace corvantis {

ShapeCanvas::ShapeCanvas(QWidget* parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("shapeCanvas"));
}

void ShapeCanvas::setSession(ProjectSession* session) {
    m_session = session;
    update();
}

} // namespace corvantis

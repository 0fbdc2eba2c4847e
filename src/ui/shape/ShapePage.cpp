#include "ui/shape/ShapePage.h"

#include "ui/shape/ShapeCanvas.h"
#include "ui/shape/ShapeView.h"

#include <QSplitter>
#include <QVBoxLayout>

namespace corvantis {

ShapePage::ShapePage(QWidget* parent)
    : QWidget(parent)
    , m_split(new QSplitter(Qt::Horizontal, this))
    , m_canvas(new ShapeCanvas(m_split))
    , m_list(new ShapeView(m_split)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_split->addWidget(m_canvas);
    m_split->addWidget(m_list);
    m_split->setStretchFactor(0, 3);
    m_split->setStretchFactor(1, 2);
    m_split->setCollapsible(1, false);
    // The drawing takes the larger part; the list form keeps what it needs.
    m_split->setSizes({640, 560});
    layout->addWidget(m_split);
}

void ShapePage::setSession(ProjectSession* session) {
    m_canvas->setSession(session);
    m_list->setSession(session);
}

} // namespace corvantis

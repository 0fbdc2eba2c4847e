#pragma once

#include <QWidget>

class QSplitter;

namespace corvantis {

class ProjectSession;
class ShapeCanvas;
class ShapeView;

// Shape mode's centre: the drawn shape (types as cards, relationship types as arrows) with the list form
// of the shape beside it.
class ShapePage : public QWidget {
    Q_OBJECT
public:
    explicit ShapePage(QWidget* parent = nullptr);
    void setSession(ProjectSession* session);

    ShapeView* listView() const { return m_list; }
    ShapeCanvas* canvas() const { return m_canvas; }

private:
    QSplitter* m_split;
    ShapeCanvas* m_canvas;
    ShapeView* m_list;
};

} // namespace corvantis

#pragma once

#include "app/shape/ShapeSelection.h"

#include <QPointer>
#include <QWidget>

class QGridLayout;
class QVBoxLayout;

namespace corvantis {

class ProjectSession;
struct PropertyDef;

// The form of one node type or relationship type of the shape: its name, colour or connections, and its
// properties with their kinds, defaults, options and roles. It is built for the shape as it stands and
// built again after every change; every control sends its edit to the session at once.
class ShapeTypeEditor : public QWidget {
    Q_OBJECT
public:
    ShapeTypeEditor(ProjectSession& session, const PropertyOwner& owner, QWidget* parent = nullptr);

    const PropertyOwner& owner() const { return m_owner; }

private:
    void buildNodeHeader(QVBoxLayout* layout);
    void buildRelHeader(QVBoxLayout* layout);
    void buildConnections(QVBoxLayout* layout);
    void buildProperties(QVBoxLayout* layout);
    void addPropertyRow(QGridLayout* grid, int& row, const PropertyDef& property, int index, int count);
    QWidget* defaultEditor(const PropertyDef& property);
    void editOptions(const PropertyDef& property);

    ProjectSession& m_session;
    PropertyOwner m_owner;
};

} // namespace corvantis

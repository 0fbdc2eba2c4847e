#pragma once

#include "kit/projects/ProjectExport.h"

// The ready-made project "Ideas" that a new person can start from: three node types, five relationship
// types, twelve nodes and thirteen relationships about information and the brain, every node pinned
// where it stands. Made as an export, so that it is created the way an import is, without a session.
namespace corvantis::ExampleProject {

inline const QString name = QStringLiteral("Ideas");

// The shape, the records with new ids, and the layout; `project` has a new id, the name "Ideas" and the
// shape as both its shape and its applied shape.
ProjectExport make();

} // namespace corvantis::ExampleProject

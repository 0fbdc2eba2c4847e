#pragma once

#include <QSet>
#include <QString>

class QMenu;

namespace corvantis {

class CanvasState;
class ProjectSession;

// The context menu of nodes on the canvas, built from the canvas's menu plan: "Expand" (all, Ad Hoc, By
// Node Type, By Relation Type), "Fold" (Current Node Links, All Except Current, Ad Hoc Linked, By Node
// Type, By Relation Type), "Delete", "Arrange Around" (Rings, Spiral) and "Free Layout". Entries with
// nothing to do are left out.
namespace CanvasMenu {

void fill(QMenu& menu, ProjectSession& session, CanvasState& canvas, const QSet<QString>& targets,
          const QString& clicked);

} // namespace CanvasMenu

} // namespace corvantis

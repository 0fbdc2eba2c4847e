#pragma once

#include "app/canvas/CanvasGraph.h"
#include "app/canvas/CanvasSimulation.h"
#include "app/canvas/CanvasState.h"
#include "app/canvas/RemovalDraft.h"

#include <QObject>
#include <QSet>

namespace corvantis {

class Settings;

// The canvases of a session: the graph's and the answer's, one `CanvasState` each, with the one that is
// current (the answer's while an answer shows), the simulation loop that moves the current one, the
// removal draft, and the records the table view hides. The session owns it and forwards to `current()`.
class CanvasViews : public QObject {
    Q_OBJECT
public:
    static constexpr int layoutSaveDelayMs = 600;

    // `settings` may be null: then the neighbour limit is 25 and no lens is kept.
    CanvasViews(SessionCore& core, Settings* settings, RemovalDraft::Remove remove,
                QObject* parent = nullptr);
    ~CanvasViews() override;

    CanvasGraph& graphModel() { return m_graph; }
    CanvasState& graph() const { return *m_graphView; }
    CanvasState& answer() const { return *m_answerView; }
    // The canvas every operation works on: the answer's when `showsAnswer`, else the graph's.
    CanvasState& current() const { return m_showsAnswer ? *m_answerView : *m_graphView; }
    CanvasSimulation& simulation() const { return *m_simulation; }
    RemovalDraft& removalDraft() const { return *m_removal; }

    // Whether the answer's canvas is the one showing.
    bool showsAnswer() const { return m_showsAnswer; }
    // Shows an answer: its canvas becomes current, holding the records `ids` (the answer's) and showing
    // `shown` of them (all when empty). `hideAnswer` goes back to the graph's and clears the answer's.
    void showAnswer(const QSet<QString>& ids, const QStringList& shown = {});
    void hideAnswer();

    // Records the table view leaves out.
    const QSet<QString>& tableHidden() const { return m_tableHidden; }
    void setTableHidden(const QSet<QString>& ids);

    // Removes the ids from both canvases and from `tableHidden` (the records are gone).
    void forget(const QSet<QString>& ids);

    // The graph canvas's lens as it was saved for the project ("lens.{project id}"), and saving it.
    void restoreLens();
    void saveLens() const;

    // A drag step of a node (and of the other nodes of a `nodes` selection): they stand where they are
    // put and the simulation warms to 0.1. `endDrag` ends it and schedules the layout save.
    void dragTo(const QString& id, QPointF at, const QHash<QString, QPointF>& group = {});
    void endDrag();

    // Closing: no more frames, no more saves.
    void shutDown();

signals:
    void showsAnswerChanged();
    void tableHiddenChanged();

private:
    void wire(CanvasState& canvas);

    SessionCore& m_core;
    Settings* m_settings;
    CanvasGraph m_graph;
    CanvasState* m_graphView;
    CanvasState* m_answerView;
    CanvasSimulation* m_simulation;
    RemovalDraft* m_removal;
    bool m_showsAnswer = false;
    QSet<QString> m_tableHidden;
};

} // namespace corvantis

#pragma once

#include "kit/layout/ForceLayout.h"

#include <QFutureWatcher>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <functional>
#include <optional>

namespace corvantis {

class CanvasState;

// The loop that moves the current canvas: every 14 ms a frame hands a copy of the `ForceLayout` to a
// worker, which ticks it twice; when the copy is back, the main thread takes it and writes the positions
// into the canvas. The main thread never waits: a frame that comes while the ticks are still out is
// skipped. The layout is rebuilt whenever the canvas's topology moves on; the loop ends, and the layout
// is saved 0.6 s later, when the simulation has cooled below 0.008.
class CanvasSimulation : public QObject {
    Q_OBJECT
public:
    static constexpr int frameMs = 14;

    // `current` gives the canvas the loop moves (the answer's while it shows, else the graph's).
    explicit CanvasSimulation(std::function<CanvasState&()> current, QObject* parent = nullptr);
    ~CanvasSimulation() override;

    double alpha() const { return m_alpha; }
    bool isRunning() const { return m_timer.isActive() || m_inFlight; }
    // Raises the temperature to at least `to` (nothing ever lowers it) and starts the loop if it is still.
    void reheat(double to);
    void startSimulation();
    // Ends the loop at once; ticks still out are dropped when they come back.
    void stop();

    // A drag in progress: these bodies are pinned to where the canvas holds them.
    const std::optional<QString>& dragging() const { return m_dragging; }
    const QSet<QString>& draggingGroup() const { return m_draggingGroup; }
    void setDragging(const std::optional<QString>& id, const QSet<QString>& group = {});

    // What the loop has done, for the curious (benchmarks, tests).
    int framesDone() const { return m_framesDone; }
    int framesSkipped() const { return m_framesSkipped; }
    const ForceLayout& layout() const { return m_layout; }

signals:
    // Positions were written.
    void framed();
    // The loop ended (the layout save is scheduled).
    void stopped();

private:
    void frame();
    void ticksBack();
    void rebuild(CanvasState& canvas);

    std::function<CanvasState&()> m_current;
    QTimer m_timer;
    QFutureWatcher<ForceLayout> m_watcher;
    bool m_inFlight = false;
    double m_alpha = 0;
    std::optional<double> m_reheatRequest;
    std::optional<QString> m_dragging;
    QSet<QString> m_draggingGroup;

    ForceLayout m_layout;
    int m_builtFor = -1;
    int m_builtLens = -1;
    const CanvasState* m_builtOn = nullptr;
    QStringList m_ids;
    bool m_arrangedBuild = false;
    int m_framesDone = 0;
    int m_framesSkipped = 0;
};

} // namespace corvantis

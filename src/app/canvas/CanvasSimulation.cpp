#include "app/canvas/CanvasSimulation.h"

#include "app/canvas/CanvasState.h"

#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>

namespace corvantis {

namespace {
constexpr double settledBelow = 0.008;
}

CanvasSimulation::CanvasSimulation(std::function<CanvasState&()> current, QObject* parent)
    : QObject(parent)
    , m_current(std::move(current)) {
    m_timer.setInterval(frameMs);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &CanvasSimulation::frame);
    connect(&m_watcher, &QFutureWatcher<ForceLayout>::finished, this, &CanvasSimulation::ticksBack);
}

CanvasSimulation::~CanvasSimulation() {
    m_timer.stop();
    // The worker owns its copy; waiting for at most two ticks lets it finish before the watcher goes.
    m_watcher.waitForFinished();
}

void CanvasSimulation::reheat(double to) {
    m_reheatRequest = std::max(m_reheatRequest.value_or(0), to);
    m_alpha = std::max(m_alpha, to);
    if (!isRunning())
        startSimulation();
}

void CanvasSimulation::startSimulation() {
    if (m_timer.isActive())
        return;
    m_layout = ForceLayout({}, {}, 1.0);
    m_builtFor = -1;
    m_builtOn = nullptr;
    m_timer.start();
}

void CanvasSimulation::stop() {
    m_timer.stop();
}

void CanvasSimulation::setDragging(const std::optional<QString>& id, const QSet<QString>& group) {
    m_dragging = id;
    m_draggingGroup = group;
}

void CanvasSimulation::frame() {
    if (m_inFlight) {
        ++m_framesSkipped;
        return;
    }
    CanvasState& canvas = m_current();
    if (!(m_alpha > settledBelow)) {
        m_timer.stop();
        canvas.scheduleSave();
        emit stopped();
        return;
    }
    if (m_builtOn != &canvas || m_builtFor != canvas.topology() || m_builtLens != canvas.lensRevision())
        rebuild(canvas);
    const bool free = canvas.arranged() == nullptr;
    const auto& positions = canvas.positions();
    const QSet<QString>& pinned = canvas.pinned();
    for (qsizetype i = 0; i < m_ids.size(); ++i) {
        const QString& id = m_ids[i];
        ForceLayout::Body& body = m_layout.bodies[size_t(i)];
        body.pinned = (free && pinned.contains(id)) || m_dragging == id || m_draggingGroup.contains(id);
        if (body.pinned) {
            const QPointF at = positions.value(id, QPointF(body.x, body.y));
            body.x = at.x();
            body.y = at.y();
            body.vx = body.vy = 0;
        }
    }
    m_layout.alpha = m_alpha;
    m_reheatRequest.reset();
    m_inFlight = true;
    m_watcher.setFuture(QtConcurrent::run([layout = m_layout]() mutable {
        layout.tick();
        layout.tick();
        return layout;
    }));
}

void CanvasSimulation::ticksBack() {
    m_inFlight = false;
    ForceLayout ticked = m_watcher.result();
    CanvasState& canvas = m_current();
    if (!m_timer.isActive() || m_builtOn != &canvas)
        return;
    m_layout = std::move(ticked);
    m_alpha = std::max(m_layout.alpha, m_reheatRequest.value_or(0));
    ++m_framesDone;
    if (canvas.topology() != m_builtFor)
        return;
    canvas.writePositions(m_ids, m_layout.bodies);
    emit framed();
}

void CanvasSimulation::rebuild(CanvasState& canvas) {
    const QSet<QString>& visible = canvas.visible();
    m_ids.clear();
    for (auto it = canvas.positions().constBegin(); it != canvas.positions().constEnd(); ++it)
        if (visible.contains(it.key()))
            m_ids.append(it.key());
    std::sort(m_ids.begin(), m_ids.end());
    QHash<QString, int> index;
    index.reserve(m_ids.size());
    for (qsizetype i = 0; i < m_ids.size(); ++i)
        index.insert(m_ids[i], int(i));

    const ArrangedCanvas* arranged = canvas.arranged();
    std::vector<ForceLayout::Body> bodies;
    bodies.reserve(size_t(m_ids.size()));
    for (const QString& id : std::as_const(m_ids)) {
        const QPointF at = canvas.positions().value(id);
        std::optional<ForceLayout::Guide> guide;
        if (arranged) {
            auto found = arranged->layout.guides.constFind(id);
            if (found != arranged->layout.guides.constEnd())
                guide = *found;
        }
        bodies.emplace_back(at.x(), at.y(), false, guide);
    }
    std::vector<ForceLayout::Link> links;
    const auto& rels = canvas.graph().rels();
    for (const QString& relId : canvas.canvasRels()) {
        const RelRecord& rel = *rels.constFind(relId);
        const int a = index.value(rel.from, -1);
        const int b = index.value(rel.to, -1);
        if (a >= 0 && b >= 0)
            links.push_back({a, b});
    }
    m_layout = ForceLayout(std::move(bodies), std::move(links), 1.0);
    if (arranged) {
        if (arranged->layout.form == Arrangement::Form::rows) {
            m_layout.charge = -180;
            m_layout.collisionRadius = 32;
            m_layout.linkStrength = 0.25;
        } else {
            m_layout.charge = 0;
            m_layout.collisionRadius = 0;
            m_layout.linkStrength = 0;
        }
    }
    m_builtFor = canvas.topology();
    m_builtLens = canvas.lensRevision();
    m_builtOn = &canvas;
}

} // namespace corvantis

#include "app/canvas/CanvasViews.h"

#include "app/app/Settings.h"
#include "kit/support/Json.h"

#include <QJsonDocument>

namespace corvantis {

CanvasViews::CanvasViews(SessionCore& core, Settings* settings, RemovalDraft::Remove remove, QObject* parent)
    : QObject(parent)
    , m_core(core)
    , m_settings(settings)
    , m_graph(core, settings)
    , m_graphView(new CanvasState(m_graph, layoutSaveDelayMs, this))
    , m_answerView(new CanvasState(m_graph, -1, this))
    , m_simulation(new CanvasSimulation([this]() -> CanvasState& { return current(); }, this))
    , m_removal(new RemovalDraft(m_graph, std::move(remove), this)) {
    wire(*m_graphView);
    wire(*m_answerView);
    connect(m_graphView, &CanvasState::lensUpdated, this, &CanvasViews::saveLens);
}

CanvasViews::~CanvasViews() = default;

void CanvasViews::wire(CanvasState& canvas) {
    connect(&canvas, &CanvasState::reheatRequested, this, [this, &canvas](double level) {
        if (&canvas == &current())
            m_simulation->reheat(level);
    });
    connect(&canvas, &CanvasState::revealed, this, [this, &canvas](double level) {
        if (&canvas != &current())
            return;
        if (m_simulation->isRunning())
            canvas.scheduleSave();
        else
            m_simulation->reheat(level);
    });
}

void CanvasViews::showAnswer(const QSet<QString>& ids, const QStringList& shown) {
    m_answerView->clear();
    m_answerView->setAnswerIds(ids);
    const bool changed = !m_showsAnswer;
    m_showsAnswer = true;
    if (changed)
        emit showsAnswerChanged();
    QStringList first = shown;
    if (first.isEmpty()) {
        first = QStringList(ids.begin(), ids.end());
        std::sort(first.begin(), first.end());
    }
    m_answerView->reveal(first);
}

void CanvasViews::hideAnswer() {
    if (!m_showsAnswer)
        return;
    m_showsAnswer = false;
    m_answerView->clear();
    m_answerView->setAnswerIds({});
    emit showsAnswerChanged();
}

void CanvasViews::setTableHidden(const QSet<QString>& ids) {
    if (m_tableHidden == ids)
        return;
    m_tableHidden = ids;
    emit tableHiddenChanged();
}

void CanvasViews::forget(const QSet<QString>& ids) {
    m_graphView->forget(ids);
    m_answerView->forget(ids);
    if (m_tableHidden.intersects(ids))
        setTableHidden(m_tableHidden - ids);
}

void CanvasViews::restoreLens() {
    if (!m_settings)
        return;
    const QString text = m_settings->savedLens(m_core.project().id);
    if (text.isEmpty())
        return;
    try {
        m_graphView->setLens(
            CanvasLens::fromSaved(CanvasLens::Saved::fromJson(json::decodeObject(text.toUtf8()))));
    } catch (const json::DecodeError&) {
        // A lens that can't be read is left as it is and the canvas opens free.
    }
}

void CanvasViews::saveLens() const {
    if (!m_settings)
        return;
    const QByteArray text =
        QJsonDocument(m_graphView->lens().saved().toJson()).toJson(QJsonDocument::Compact);
    m_settings->setSavedLens(m_core.project().id, QString::fromUtf8(text));
}

void CanvasViews::dragTo(const QString& id, QPointF at, const QHash<QString, QPointF>& group) {
    CanvasState& canvas = current();
    canvas.dragTo(id, at);
    for (auto it = group.constBegin(); it != group.constEnd(); ++it)
        if (it.key() != id)
            canvas.dragTo(it.key(), it.value());
    QSet<QString> ids(group.keyBegin(), group.keyEnd());
    m_simulation->setDragging(id, ids);
}

void CanvasViews::endDrag() {
    m_simulation->setDragging(std::nullopt);
    current().scheduleSave();
}

void CanvasViews::shutDown() {
    m_simulation->stop();
    m_graphView->stopSaving();
}

} // namespace corvantis

#pragma once

#include "app/canvas/CanvasGraph.h"
#include "kit/layout/Arrangement.h"
#include "kit/layout/CanvasLens.h"
#include "kit/layout/DragKind.h"
#include "kit/layout/Viewport.h"
#include "kit/projects/GraphLayout.h"

#include <QHash>
#include <QObject>
#include <QPointF>
#include <QRandomGenerator>
#include <QSet>
#include <QSizeF>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

namespace corvantis {

// How an expansion picks among the hidden neighbours: the nodes of one table (whatever their priority),
// those of priority `first`, or all but those of `whenAsked` (a click).
struct Expansion {
    enum class Kind { type, first, click };
    Kind kind = Kind::click;
    QString table; // for `type`
    static Expansion type(const QString& table) { return {Kind::type, table}; }
    static Expansion first() { return {Kind::first, {}}; }
    static Expansion click() { return {Kind::click, {}}; }
    bool operator==(const Expansion&) const = default;
};

// What the explore pager goes on with when asked for more: the nodes of a table, or a node's expansion.
struct ExploreSource {
    std::optional<QString> table; // a `type` source
    QString node;                 // a `node` source
    Expansion expansion;
    bool operator==(const ExploreSource&) const = default;
};

// What the context menu of some nodes may do, planned from the graph; the view turns it into the menu
// ("Expand" ▸ "Ad Hoc", "By Node Type", "By Relation Type"; folding ▸ "Current Node Links", "All Except
// Current", "Ad Hoc Linked", "By Node Type", "By Relation Type"; "Delete", "Arrange Around", "Free Layout",
// "Rings", "Spiral"). Maps go from child id to parent id.
struct CanvasMenuPlan {
    struct TypeNodes {
        NodeType type;
        QHash<QString, QString> nodes;
    };
    struct RelNodes {
        RelType rel;
        QHash<QString, QString> nodes;
    };
    struct TypeFold {
        NodeType type;
        QSet<QString> nodes;
    };
    struct RelFold {
        RelType rel;
        QSet<QString> nodes;
    };
    QHash<QString, QString> expandAll;
    QHash<QString, QString> expandAdHoc;
    QList<TypeNodes> expandByType;
    QList<RelNodes> expandByRel;
    QSet<QString> foldLinks;
    QSet<QString> foldExceptCurrent;
    QSet<QString> foldAdHocLinked;
    QList<TypeFold> foldByType;
    QList<RelFold> foldByRel;
};

// One chip of the strip above the canvas: a filter in force, and how to take it away.
struct FilterChip {
    QString id;
    QString text;
    std::optional<QString> color;
    std::function<void()> remove;
};

// The arrangement a lens makes of the visible nodes, and the lanes it shows with their hidden counts.
struct ArrangedCanvas {
    struct LaneInfo {
        QString title;
        std::optional<QString> color;
        int hidden = 0; // nodes of this lane on the canvas's population that the filter keeps off
    };
    Arrangement layout;
    std::optional<LensKey> sort;
    std::optional<LensKey> group;
    QHash<QString, LaneInfo> lanes;
};

// One canvas view of the graph (the graph's own, or the answer's): which nodes are on it and where they
// stand, which are pinned (with their free position while an arrangement holds them), which each was
// brought in by, which have been expanded, the lens it is seen through, and its viewport. It derives
// what it draws (`visible`, `canvasRels`, `arranged`) and carries out exploring and filtering.
//
// Every change of what is shown raises `topology` (which also rises with every change of the records);
// every change of the lens raises `lensRevision`. The derived values are cached on the two. Changes that
// the layout file holds start the debounced save (`saveDue`, 0.6 s after the last one); the answer's
// canvas is never saved. Moves that should warm the simulation ask for it through `reheatRequested`.
class CanvasState : public QObject {
    Q_OBJECT
public:
    // `saveDelayMs` below zero: a canvas whose state is never saved (the answer's).
    CanvasState(CanvasGraph& graph, int saveDelayMs, QObject* parent = nullptr);
    ~CanvasState() override;

    bool isAnswer() const { return m_isAnswer; }
    const CanvasGraph& graph() const { return m_graph; }

    // -- What it holds -----------------------------------------------------------------------------------

    const QHash<QString, QPointF>& positions() const { return m_positions; }
    const QSet<QString>& pinned() const { return m_pinned; }
    const QHash<QString, QPointF>& pinnedHome() const { return m_pinnedHome; }
    const QSet<QString>& shown() const { return m_shown; }
    const QSet<QString>& expanded() const { return m_expanded; }
    const QHash<QString, QString>& parents() const { return m_parents; }
    // Raised by every change of the records and of what is shown.
    int topology() const { return m_graph.topology() + m_shownRevision; }

    // -- The viewport --------------------------------------------------------------------------------

    const Viewport& viewport() const { return m_viewport; }
    QSizeF viewSize() const { return m_viewSize; }
    // The view reports where it looks and how big it is; `viewportChanged` follows only a model's own
    // change (a fit).
    void setViewport(const Viewport& viewport, QSizeF viewSize);
    // The part of the world the view shows (the view's rect taken back through the viewport).
    QRectF visibleRect() const { return m_viewport.visibleRect(m_viewSize); }
    // The middle of the view in world coordinates, where new nodes without an anchor go.
    QPointF viewCentre() const;
    // Fits the viewport to the positions of the ids on the canvas (all of `visible` when empty).
    void fitGraph(const QSet<QString>& ids = {}, bool animated = true);
    // Fits the viewport to the arrangement's bounds; nothing on a free canvas.
    void fitArranged();

    // -- Placing and saving (the session's edits and the layout file) ------------------------------------

    // Places a node on the canvas, at a point when one is given.
    void put(const QString& id, std::optional<QPointF> at);
    void pin(const QString& id);
    // Puts a node back as it stood: its position, whether it was shown, whether it was pinned.
    void restoreNode(const QString& id, std::optional<QPointF> at, bool shown, bool pinned);
    // Removes ids from every structure, and the parent links that point at them.
    void forget(const QSet<QString>& ids);
    // Forgets every id for which `exists` is false.
    void keepOnly(const std::function<bool(const QString&)>& exists);
    // Takes a saved layout, keeping only the nodes that exist. Without a saved `shown`, every node is
    // shown when there are at most `showAllLimit`, else none.
    void restore(const GraphLayout& layout, const QSet<QString>& nodeIds, int showAllLimit);
    // The layout file's form: a pinned node is saved at its free position.
    GraphLayout layout() const;
    // Empties the canvas (Clear Canvas; an answer that goes).
    void clear();

    void scheduleSave();
    bool isSavePending() const { return m_save.isActive(); }
    void cancelSave() { m_save.stop(); }
    // From now on nothing schedules a save (the owner has closed).
    void stopSaving() {
        m_saved = false;
        m_save.stop();
    }

    // Writes the positions the simulation computed for the unpinned bodies, in one update; `ids` gives
    // each body's node.
    void writePositions(const QStringList& ids, const std::vector<ForceLayout::Body>& bodies);
    // A drag step: the node stands at `at`, and stays: pinned on a free canvas, its free position kept
    // apart while an arrangement holds it.
    void dragTo(const QString& id, QPointF at);
    // Unpins a node (a double click, the inspector), warming the simulation to 0.4; `unpinAll` to 0.8.
    void unpin(const QString& id);
    void unpinAll();

    // -- Exploring ---------------------------------------------------------------------------------------

    struct HiddenNeighbour {
        QString id;
        ExpandPriority priority = ExpandPriority::Normal;
        bool operator==(const HiddenNeighbour&) const = default;
    };
    struct HiddenCount {
        int automatic = 0; // priorities `first` and `normal`
        int whenAsked = 0;
        bool operator==(const HiddenCount&) const = default;
    };
    struct TypeCount {
        NodeType type;
        int count = 0;
    };
    struct Connections {
        QList<QString> rels;       // ordered by id
        QList<QString> neighbours; // the other ends, each once, in the order of the relationships
    };

    // The neighbours of a node that are not on the canvas and pass the lens filter, dealt round-robin
    // across types within each priority (`first`, `normal`, `whenAsked`), each type's list by title then
    // id, types by name.
    QList<HiddenNeighbour> hiddenNeighbours(const QString& id) const;
    HiddenCount hiddenCount(const QString& id) const;
    // The types of the hidden neighbours with counts, in the order of the shape.
    QList<TypeCount> hiddenTypes(const QString& id) const;
    // The hidden neighbours an expansion would take, without a limit.
    QStringList exploreCandidates(const QString& id, const Expansion& expansion) const;
    // Opens up to "graph.neighbourLimit" of a node's candidates round it; how many came on. A node that
    // is not visible: 0, and nothing changes.
    int expand(const QString& id, const Expansion& expansion);
    // Brings the nodes on round the anchor (at the middle of the view without one), on a sunflower from
    // a random start angle.
    void reveal(const QStringList& ids, const std::optional<QString>& anchor = std::nullopt);
    // The next slice of a table's nodes that pass the filter.
    void reveal(const QString& table);
    // Records each child's parent and reveals each group round its parent.
    void bringIn(const QHash<QString, QString>& childToParent);
    void hide(const QSet<QString>& ids);
    // Hides the nodes and lets `from` be expanded again.
    void fold(const QSet<QString>& ids, const QString& from);
    // What folding the targets would take off: the targets on the canvas (but the kept ones) and all that
    // hangs below them, where a kept node protects its own branch.
    QSet<QString> hiding(const QSet<QString>& targets, const QSet<QString>& keeping = {}) const;
    // The plan of the context menu for some nodes, cached by topology and targets.
    const CanvasMenuPlan& menuPlan(const QSet<QString>& targets) const;

    const std::optional<ExploreSource>& exploreMore() const { return m_exploreMore; }
    // The pager's counts: (shown, total) of the current source.
    std::optional<std::pair<int, int>> exploreCounts() const;
    void showMoreExplore(bool all);
    // "Show all" asks first above this many.
    static constexpr int showAllAsksAbove = 200;

    // The relationships with both ends visible, ordered by id; cached by topology and lens.
    const QStringList& canvasRels() const;
    // A node's relationships and neighbours in the whole graph.
    Connections connections(const QString& id) const;

    // A click on a node (no modifier). `screenPoint` tells a double click from two clicks.
    void click(const QString& id, QPointF screenPoint,
               const QDateTime& now = QDateTime::currentDateTimeUtc());
    // A click with Shift: the node joins or leaves a `nodes` selection.
    void toggleSelected(const QString& id);
    // A click on a node's badge of hidden neighbours.
    void clickBadge(const QString& id);
    const LastClick& lastClick() const { return m_lastClick; }

    // The sunflower's start angles come from here; tests seed it.
    void seedRandom(quint32 seed) { m_random.seed(seed); }

    // -- The answer's records (the answer's canvas) ---------------------------------------------------

    // The ids of the answer's records, which `answerNeighbours` keeps to.
    const QSet<QString>& answerIds() const { return m_answerIds; }
    void setAnswerIds(const QSet<QString>& ids);
    // The neighbours of a node that are records of the answer.
    QSet<QString> answerNeighbours(const QString& id) const;
    // Those of them not on the canvas, ordered by id.
    QStringList hiddenAnswerNeighbours(const QString& id) const;
    // Each id's rank, for `answerOrder`.
    void rankAnswer(const QStringList& ids);
    const QHash<QString, int>& answerRanks() const { return m_answerRanks; }

    // -- The lens ----------------------------------------------------------------------------------------

    const CanvasLens& lens() const { return m_lens; }
    int lensRevision() const { return m_lensRevision; }
    // Applies a change to the lens, raises `lensRevision` and warms the simulation to 0.9.
    void updateLens(const std::function<void(CanvasLens&)>& change);
    // Takes a lens without warming anything (a saved one, at opening).
    void setLens(const CanvasLens& lens);
    // The lens with a sort or group whose key the shape no longer has left out.
    CanvasLens effectiveLens() const;
    // The ids the canvas draws: those shown that pass the filter.
    const QSet<QString>& visible() const;
    bool passes(const QString& id, const CanvasFilter& filter) const;
    std::optional<ArrangeValue> lensValue(const QString& id, const LensKey& key) const;
    // A node's lane: the label of its value, or `Arrangement::noValue`.
    QString lensCategory(const QString& id, const LensKey& key) const;
    // The options of a choice property named so, in the shape's order.
    QStringList lensChoices(const QString& property) const;
    std::optional<PropertyKind> lensKind(const LensKey& key) const;
    QString lensLabel(const ArrangeValue& value, const LensKey& key) const;
    QString laneTitle(const QString& lane, const LensKey& key) const;
    QString lensName(const LensKey& key) const;
    QString directionName(const LensKey& key, bool descending) const;
    // The keys the arrange panel offers to sort and group by.
    QList<LensKeyInfo> sortKeys() const;
    // The shown nodes (`filtered`: only the visible ones).
    QSet<QString> lensPopulation(bool filtered) const;
    // The ids ordered by title, then id.
    QStringList lensOrdered(const QSet<QString>& ids) const;
    // Hops from a node within what is shown.
    const QHash<QString, int>& steps(const QString& from) const;
    Arrangement::Spacing spacing(const CanvasLens& lens) const;
    // The arrangement in force; null on a free canvas.
    const ArrangedCanvas* arranged() const;
    void arrangedAround(Arrangement::Form form, const QString& id);
    void toggleLane(const LensKey& key, const QString& value, bool solo);
    // A range filter on the sort key from the values between two axis positions.
    void filterRange(double from, double to);
    QList<FilterChip> filterChips();

signals:
    void saveDue();
    // What is shown changed (`topology`).
    void shownChanged();
    void positionsChanged();
    void pinnedChanged();
    void lensChanged();
    // The person changed the lens (`updateLens`): the graph's is saved.
    void lensUpdated();
    void exploreChanged();
    // A model's own change of the viewport: a fit.
    void viewportChanged(bool animated);
    // The simulation should run at least this warm.
    void reheatRequested(double level);
    // Nodes came on: the simulation warms to `level` if it is still, else only the layout is saved.
    void revealed(double level);

private:
    void bumpShown();
    void placeAtGuides(const QStringList& ids);
    QString typeName(const QString& id) const;
    CanvasMenuPlan makeMenuPlan(const QSet<QString>& targets) const;
    std::unique_ptr<ArrangedCanvas> makeArranged() const;
    const PropertyDef* propertyOf(const QString& id, const QString& name) const;
    const PropertyDef* anyProperty(const QString& name) const;

    CanvasGraph& m_graph;
    QHash<QString, QPointF> m_positions;
    QSet<QString> m_pinned;
    QHash<QString, QPointF> m_pinnedHome;
    QSet<QString> m_shown;
    QSet<QString> m_expanded;
    QHash<QString, QString> m_parents;
    int m_shownRevision = 0;
    Viewport m_viewport;
    QSizeF m_viewSize{0, 0};
    std::optional<ExploreSource> m_exploreMore;
    LastClick m_lastClick;
    QRandomGenerator m_random;
    QSet<QString> m_answerIds;
    QHash<QString, int> m_answerRanks;
    CanvasLens m_lens;
    int m_lensRevision = 0;
    QTimer m_save;
    bool m_saved;
    bool m_isAnswer;

    // Caches, each with the (topology, lensRevision) it was made for.
    using Stamp = std::pair<int, int>;
    Stamp stamp() const { return {topology(), m_lensRevision}; }
    mutable std::optional<Stamp> m_visibleFor;
    mutable QSet<QString> m_visible;
    mutable std::optional<Stamp> m_relsFor;
    mutable QStringList m_canvasRels;
    mutable std::optional<Stamp> m_arrangedFor;
    mutable std::unique_ptr<ArrangedCanvas> m_arranged;
    mutable std::optional<std::pair<int, QString>> m_stepsFor;
    mutable QHash<QString, int> m_steps;
    mutable std::optional<std::pair<Stamp, QSet<QString>>> m_menuFor;
    mutable CanvasMenuPlan m_menu;
};

} // namespace corvantis

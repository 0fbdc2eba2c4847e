#include "tests/app/canvas/CanvasTestSupport.h"

using namespace corvantis;
using namespace corvantis::test;

TEST(CanvasExploring, ClicksOpenFirstThenTheRestInSlicesOfTheLimit) {
    HubWorld w(60, 3);
    w.setPriority(w.book, ExpandPriority::First);
    CanvasState& canvas = w.canvas();
    Clock clock;
    EXPECT_EQ(canvas.hiddenCount(w.hub), (CanvasState::HiddenCount{63, 0}));

    // First click: the node is selected and only the neighbours of priority `first` come on.
    canvas.click(w.hub, QPointF(100, 100), clock.later());
    EXPECT_EQ(w.session->selection(), GraphSelection::node(w.hub));
    EXPECT_EQ(w.shownAmong(w.books), 3);
    EXPECT_EQ(w.shownAmong(w.people), 0);
    EXPECT_TRUE(canvas.expanded().contains(w.hub));
    EXPECT_EQ(canvas.hiddenCount(w.hub), (CanvasState::HiddenCount{60, 0}));
    // Around the anchor, on the sunflower: no nearer than 110 + 46.
    for (const QString& id : w.books)
        EXPECT_GE(std::hypot(canvas.positions().value(id).x(), canvas.positions().value(id).y()), 156 - 1e-9);
    EXPECT_EQ(canvas.parents().value(w.books[0]), w.hub);

    // Second click on the selection: up to the limit (25) of the rest.
    canvas.click(w.hub, QPointF(100, 100), clock.later());
    EXPECT_EQ(w.shownAmong(w.people), 25);
    EXPECT_TRUE(canvas.lastClick().expanded);
    // The second half of a quick pair does not expand again; it unpins.
    canvas.pin(w.hub);
    canvas.click(w.hub, QPointF(103, 102), clock.soon());
    EXPECT_EQ(w.shownAmong(w.people), 25);
    EXPECT_FALSE(canvas.pinned().contains(w.hub));

    // Another click: the next 25; the pager offers the last 10.
    canvas.click(w.hub, QPointF(100, 100), clock.later());
    EXPECT_EQ(w.shownAmong(w.people), 50);
    EXPECT_EQ(canvas.hiddenCount(w.hub), (CanvasState::HiddenCount{10, 0}));
    ASSERT_TRUE(canvas.exploreMore());
    EXPECT_EQ(canvas.exploreMore()->node, w.hub);
    // The pager counts what a click takes: the books are on, as are 50 people, of 63.
    EXPECT_EQ(canvas.exploreCounts(), std::make_pair(53, 63));
    canvas.showMoreExplore(false);
    EXPECT_EQ(w.shownAmong(w.people), 60);
    EXPECT_FALSE(canvas.exploreMore());
    EXPECT_EQ(canvas.hiddenCount(w.hub), (CanvasState::HiddenCount{0, 0}));
    // The people came in by name: the first slice was Person 00 … Person 24.
    EXPECT_EQ(canvas.parents().value(w.people[59]), w.hub);
}

TEST(CanvasExploring, TheLimitComesFromTheSettingsAndANodeOffTheCanvasExpandsNothing) {
    HubWorld w(30, 0);
    CanvasState& canvas = w.canvas();
    for (int stored : {0, -3}) {
        w.world.settings.setNeighbourLimit(stored);
        canvas.hide(QSet<QString>(w.people.begin(), w.people.end()));
        EXPECT_EQ(canvas.expand(w.hub, Expansion::click()), 25) << stored;
    }
    w.world.settings.setNeighbourLimit(4);
    canvas.hide(QSet<QString>(w.people.begin(), w.people.end()));
    EXPECT_EQ(canvas.expand(w.hub, Expansion::click()), 4);

    // A node that is not on the canvas: 0, and nothing changes.
    const int topology = canvas.topology();
    const QString off = w.people.last();
    ASSERT_FALSE(canvas.shown().contains(off));
    EXPECT_EQ(canvas.expand(off, Expansion::click()), 0);
    EXPECT_FALSE(canvas.expanded().contains(off));
    EXPECT_EQ(canvas.topology(), topology);
}

TEST(CanvasExploring, HiddenNeighboursAreDealtRoundRobinByPriorityAndWhenAskedOnesWaitForAdHoc) {
    HubWorld w(3, 2);
    CanvasState& canvas = w.canvas();
    // Both types `normal`: Book before Person by name, one of each in turn, each type by title.
    QStringList order;
    for (const auto& neighbour : canvas.hiddenNeighbours(w.hub))
        order.append(w.session->nodes().value(neighbour.id).title(nullptr));
    QStringList expected;
    for (const QString& id : {w.books[0], w.people[0], w.books[1], w.people[1], w.people[2]})
        expected.append(w.session->nodes().value(id).title(nullptr));
    EXPECT_EQ(order, expected);

    // Books only when asked: the badge's second count, a click brings none of them, "Ad Hoc" does.
    w.setPriority(w.book, ExpandPriority::WhenAsked);
    EXPECT_EQ(canvas.hiddenCount(w.hub), (CanvasState::HiddenCount{3, 2}));
    EXPECT_EQ(canvas.hiddenNeighbours(w.hub).last().priority, ExpandPriority::WhenAsked);
    ASSERT_EQ(canvas.hiddenTypes(w.hub).size(), 2);
    EXPECT_EQ(canvas.hiddenTypes(w.hub)[0].type.name, "Person"); // the shape's order
    EXPECT_EQ(canvas.hiddenTypes(w.hub)[1].count, 2);
    const CanvasMenuPlan& plan = canvas.menuPlan({w.hub});
    EXPECT_EQ(plan.expandAll.size(), 5);
    EXPECT_EQ(plan.expandAdHoc, (QHash<QString, QString>{{w.books[0], w.hub}, {w.books[1], w.hub}}));
    ASSERT_EQ(plan.expandByType.size(), 2);
    EXPECT_EQ(plan.expandByType[0].type.name, "Book");
    ASSERT_EQ(plan.expandByRel.size(), 2);
    EXPECT_EQ(plan.expandByRel[0].rel.name, "knows");
    EXPECT_EQ(plan.expandByRel[0].nodes.size(), 3);
    EXPECT_EQ(canvas.expand(w.hub, Expansion::click()), 3);
    EXPECT_EQ(w.shownAmong(w.books), 0);
    canvas.bringIn(plan.expandAdHoc);
    EXPECT_EQ(w.shownAmong(w.books), 2);

    // A node reached by two parents keeps the first.
    const QString other = w.add(w.person, "Other");
    canvas.bringIn({{other, w.people[0]}});
    canvas.bringIn({{other, w.people[1]}});
    EXPECT_EQ(canvas.parents().value(other), w.people[0]);
}

TEST(CanvasExploring, FoldingAndHidingKeepTheKeptBranches) {
    Reading r;
    // root → child → grandchild → great, each brought in by the one before; and a sibling of child.
    const QString root = r.add(r.person, "Root");
    const QString child = r.add(r.person, "Child");
    const QString grandchild = r.add(r.person, "Grandchild");
    const QString great = r.add(r.person, "Great");
    const QString sibling = r.add(r.person, "Sibling");
    const QString rel = r.link("KNOWS", root, child);
    r.link("KNOWS", child, grandchild);
    r.link("KNOWS", grandchild, great);
    r.link("KNOWS", root, sibling);
    CanvasState& canvas = r.session->canvases().current();
    canvas.hide({child, grandchild, great, sibling});
    canvas.bringIn({{child, root}, {sibling, root}});
    canvas.bringIn({{grandchild, child}});
    canvas.bringIn({{great, grandchild}});
    ASSERT_EQ(canvas.shown().size(), 5);

    EXPECT_EQ(canvas.hiding({child}), (QSet<QString>{child, grandchild, great}));
    // A kept grandchild protects itself and all below it.
    EXPECT_EQ(canvas.hiding({child}, {grandchild}), (QSet<QString>{child}));
    EXPECT_EQ(canvas.hiding({root}, {root}), QSet<QString>());
    // The menu's "Current Node Links" of root: its shown neighbours and what hangs from them.
    const CanvasMenuPlan& plan = canvas.menuPlan({root});
    EXPECT_EQ(plan.foldLinks, (QSet<QString>{child, grandchild, great, sibling}));
    EXPECT_EQ(plan.foldExceptCurrent, (QSet<QString>{child, grandchild, great, sibling}));

    // Folding the parent of child with grandchild kept.
    canvas.expand(root, Expansion::click());
    ASSERT_TRUE(canvas.expanded().contains(root));
    r.session->setSelection(GraphSelection::nodes({child, sibling}));
    canvas.fold(canvas.hiding({child}, {grandchild}), root);
    EXPECT_FALSE(canvas.shown().contains(child));
    EXPECT_FALSE(canvas.positions().contains(child));
    EXPECT_TRUE(canvas.shown().contains(grandchild));
    EXPECT_TRUE(canvas.shown().contains(great));
    EXPECT_FALSE(canvas.parents().contains(child));
    EXPECT_FALSE(canvas.expanded().contains(root)); // root can be opened again
    EXPECT_EQ(r.session->selection(), GraphSelection::nodes({sibling}));

    // Hiding an end of the selected relationship clears the selection; the relationship leaves the
    // canvas's relationships.
    canvas.bringIn({{child, root}});
    r.session->setSelection(GraphSelection::relationship(rel));
    EXPECT_TRUE(canvas.canvasRels().contains(rel));
    canvas.hide({child});
    EXPECT_TRUE(r.session->selection().isEmpty());
    EXPECT_FALSE(canvas.canvasRels().contains(rel));
}

TEST(CanvasExploring, AProjectOfMoreThan300NodesOpensEmptyAndTypesBringItInBySlices) {
    SessionWorld world;
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")})};
    Project project = world.create(shape);
    {
        auto session = world.open(project);
        const NodeType person = session->project().schema.nodeTypes[0];
        for (int i = 0; i < 301; ++i)
            addNode(*session, person, QStringLiteral("P%1").arg(i, 3, 10, QLatin1Char('0')));
        test::await(session->close());
    }
    // Without a saved `shown` (a layout written before exploring existed).
    QFile::remove(world.library.folder(project.id) + "/layout.json");
    project = world.stored(project.id);
    auto session = world.open(project);
    CanvasState& canvas = session->canvases().current();
    EXPECT_EQ(session->nodes().size(), 301);
    EXPECT_TRUE(canvas.shown().isEmpty());
    EXPECT_TRUE(canvas.visible().isEmpty());

    // The sidebar's type: the first 25 by title, and the pager for the rest.
    canvas.reveal(QStringLiteral("Person"));
    EXPECT_EQ(canvas.shown().size(), 25);
    EXPECT_TRUE(canvas.shown().contains(nodeNamed(*session, "Person", "P000")->id));
    EXPECT_EQ(canvas.exploreCounts(), std::make_pair(25, 301));
    canvas.showMoreExplore(false);
    EXPECT_EQ(canvas.shown().size(), 50);
    canvas.showMoreExplore(true);
    EXPECT_EQ(canvas.shown().size(), 301);
    EXPECT_FALSE(canvas.exploreMore());
}

#include "tests/app/canvas/CanvasTestSupport.h"

#include <QSignalSpy>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// Four people born 1800, 1850, 1900 and 1950 (Alive, Dead, none, Dead) and one book.
struct Born : Reading {
    QStringList people;
    QString book_;
    Born() {
        const QList<std::pair<double, QString>> data{
            {1800, "Alive"}, {1850, "Dead"}, {1900, ""}, {1950, "Dead"}};
        for (int i = 0; i < data.size(); ++i) {
            people.append(add(person, QStringLiteral("P%1").arg(i)));
            PropertyMap set{{"born", GraphValue::number(data[i].first)}};
            if (!data[i].second.isEmpty())
                set.insert("status", GraphValue::string(data[i].second));
            session->updateNode(people.last(), set);
        }
        book_ = add(book, "Notes");
    }
    CanvasState& canvas() { return session->canvases().current(); }
};

} // namespace

TEST(CanvasLensing, ValuesCategoriesNamesAndDirections) {
    Born b;
    CanvasState& canvas = b.canvas();
    const LensKey born = LensKey::property("born");
    const LensKey status = LensKey::property("status");
    EXPECT_EQ(canvas.lensValue(b.people[1], born), ArrangeValue(1850.0));
    EXPECT_FALSE(canvas.lensValue(b.book_, born)); // a Book has no "born"
    // A choice is its option's index in the shape's order.
    EXPECT_EQ(canvas.lensValue(b.people[1], status), ArrangeValue(1.0));
    EXPECT_EQ(canvas.lensCategory(b.people[1], status), "Dead");
    EXPECT_EQ(canvas.lensCategory(b.people[2], status), Arrangement::noValue);
    EXPECT_EQ(canvas.laneTitle(Arrangement::noValue, status), "No status");
    EXPECT_EQ(canvas.lensValue(b.people[0], LensKey::title()), ArrangeValue(QString("P0")));
    EXPECT_EQ(canvas.lensValue(b.book_, LensKey::type()), ArrangeValue(QString("Book")));
    EXPECT_EQ(canvas.lensValue(b.book_, LensKey::connections()), ArrangeValue(0.0));

    EXPECT_EQ(canvas.directionName(born, true), "highest first");
    EXPECT_EQ(canvas.directionName(status, false), "in the shape's order");
    EXPECT_EQ(canvas.directionName(LensKey::connections(), true), "most first");
    EXPECT_EQ(canvas.directionName(LensKey::title(), true), "Z to A");
    EXPECT_EQ(canvas.directionName(LensKey::steps(b.people[0]), false), "nearest first");
    EXPECT_EQ(canvas.lensName(LensKey::answerOrder()), "Answer order");
    EXPECT_EQ(canvas.lensLabel(ArrangeValue(1.0), LensKey::steps(b.people[0])), "1 step");
    EXPECT_EQ(canvas.lensLabel(ArrangeValue(3.0), LensKey::steps(b.people[0])), "3 steps");

    // Spacing by value only for a number property, steps and connections.
    CanvasLens lens;
    lens.sort = born;
    EXPECT_EQ(canvas.spacing(lens), Arrangement::Spacing::value);
    lens.sort = LensKey::title();
    lens.spacing = Arrangement::Spacing::value;
    EXPECT_EQ(canvas.spacing(lens), Arrangement::Spacing::even);
}

TEST(CanvasLensing, AFiltersDomainComesFromTheUnfilteredPopulation) {
    Born b;
    CanvasState& canvas = b.canvas();
    EXPECT_EQ(canvas.arranged(), nullptr); // a free canvas
    QSignalSpy reheats(&canvas, &CanvasState::reheatRequested);
    canvas.updateLens([](CanvasLens& lens) {
        lens.sort = LensKey::property("born");
        lens.group = LensKey::property("status");
    });
    EXPECT_EQ(reheats.size(), 1);
    EXPECT_EQ(reheats.first().first().toDouble(), 0.9);
    ASSERT_NE(canvas.arranged(), nullptr);
    EXPECT_EQ(canvas.arranged()->layout.domain, (Arrangement::Range{1800, 1950}));

    // A range on the axis: from the slots between two positions.
    const auto xOf = [&](double value) {
        return *canvas.arranged()->layout.x(value);
    };
    canvas.filterRange(xOf(1850) - 1, xOf(1900) + 1);
    ASSERT_TRUE(canvas.lens().filter.range);
    EXPECT_EQ(canvas.lens().filter.range->low, ArrangeValue(1850.0));
    EXPECT_EQ(canvas.lens().filter.range->high, ArrangeValue(1900.0));
    EXPECT_EQ(canvas.visible(), (QSet<QString>{b.people[1], b.people[2]}));
    // The axis stands still while the filter narrows the items.
    EXPECT_EQ(canvas.arranged()->layout.domain, (Arrangement::Range{1800, 1950}));
    // The lanes count the population they keep off the canvas: Dead has 1950, Alive 1800.
    EXPECT_EQ(canvas.arranged()->lanes.value("Dead").hidden, 1);
    EXPECT_EQ(canvas.arranged()->lanes.value("Alive").hidden, 1);

    // Lanes: shut one, solo one, solo again to clear.
    const LensKey status = LensKey::property("status");
    canvas.toggleLane(status, "Dead", false);
    EXPECT_EQ(canvas.visible(), (QSet<QString>{b.people[2]}));
    canvas.toggleLane(status, "Dead", true);
    EXPECT_EQ(canvas.visible(), (QSet<QString>{b.people[1]}));
    canvas.toggleLane(status, "Dead", true);
    EXPECT_FALSE(canvas.lens().filter.lanes.contains(status));

    // One chip per filter; removing the last leaves an unfiltered lens; without sort and group, a free
    // canvas.
    canvas.toggleLane(status, "Alive", false);
    QList<FilterChip> chips = canvas.filterChips();
    ASSERT_EQ(chips.size(), 2);
    EXPECT_EQ(chips[0].text, "status: not Alive");
    for (FilterChip& chip : chips)
        chip.remove();
    EXPECT_EQ(canvas.lens().filter.count(), 0);
    EXPECT_TRUE(canvas.filterChips().isEmpty());
    canvas.updateLens([](CanvasLens& lens) {
        lens.sort.reset();
        lens.group.reset();
    });
    EXPECT_FALSE(canvas.lens().isActive());
    EXPECT_EQ(canvas.arranged(), nullptr);
}

TEST(CanvasLensing, ASortWhosePropertyLeftTheShapeActsAsUnsortedAndArrangeAround) {
    Born b;
    CanvasState& canvas = b.canvas();
    canvas.updateLens([](CanvasLens& lens) { lens.sort = LensKey::property("nickname"); });
    EXPECT_FALSE(canvas.effectiveLens().sort);
    EXPECT_TRUE(canvas.lens().sort); // the chosen lens is kept
    EXPECT_EQ(canvas.arranged(), nullptr);

    // "Arrange Around": a form and the around filter; a node not in the graph lets nothing in by it.
    const QString p0 = b.people[0];
    canvas.arrangedAround(Arrangement::Form::rings, p0);
    ASSERT_NE(canvas.arranged(), nullptr);
    EXPECT_EQ(canvas.arranged()->layout.form, Arrangement::Form::rings);
    EXPECT_TRUE(canvas.passes(p0, canvas.lens().filter));
    CanvasFilter gone;
    gone.around = "NOT-A-NODE";
    EXPECT_FALSE(canvas.passes("NOT-A-NODE", gone));
}

TEST(CanvasLensing, TheSavedLensSurvivesClosingAndReopening) {
    Born b;
    const QString p0 = b.people[0];
    b.canvas().updateLens([&](CanvasLens& lens) {
        lens.sort = LensKey::property("born");
        lens.descending = true;
        lens.group = LensKey::type();
        lens.form = Arrangement::Form::stacks;
        lens.filter.around = p0;
        lens.filter.lanes.insert(LensKey::type(), LaneFilter{true, {"Book"}});
    });
    const QString key = "lens." + json::uuidText(b.project.id);
    EXPECT_FALSE(b.world.settings.value(key).toString().isEmpty());
    test::await(b.session->close());
    b.session.reset();

    auto reopened = b.world.open(b.world.stored(b.project.id));
    const CanvasLens& lens = reopened->canvases().graph().lens();
    EXPECT_EQ(lens.sort, LensKey::property("born"));
    EXPECT_TRUE(lens.descending);
    EXPECT_EQ(lens.group, LensKey::type());
    EXPECT_EQ(lens.form, Arrangement::Form::stacks);
    EXPECT_EQ(lens.filter.around, p0);
    EXPECT_TRUE(lens.filter.lanes.isEmpty()); // lane filters are not kept
    // The answer's canvas keeps none.
    EXPECT_FALSE(reopened->canvases().answer().lens().isActive());
}

#pragma once

#include "kit/layout/ArrangeValue.h"
#include "kit/layout/ForceLayout.h"

#include <QHash>
#include <QPointF>
#include <QSet>
#include <QString>
#include <QStringList>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace corvantis {

// Turns items, each with an optional value and an optional lane, into a guide per item for ForceLayout
// and into the geometry drawn behind them: lanes and runs for rows, rings and wedges, spiral islands and
// turns, stack columns. A pure value, computed in one pass by the constructor.
struct Arrangement {
    enum class Form { rows, rings, spiral, stacks };
    static constexpr std::array<Form, 4> allForms{Form::rows, Form::rings, Form::spiral, Form::stacks};
    enum class Spacing { value, even };

    // The lane key of items without a lane: a NUL character before "none", so no typed text can match.
    static const QString noValue;

    static constexpr double slotWidth = 44;
    static constexpr double cellWidth = 200;
    static constexpr double stackSpacing = 64;
    static constexpr double ringSlot = 50;
    static constexpr double ringTrack = 52;
    static constexpr double ringGap = 34;
    static constexpr double spiralStep = 44;
    static constexpr double spiralPitch = 54;
    static constexpr double stackUnit = 34;
    static constexpr double stackGap = 44;

    // A closed range of numbers.
    struct Range {
        double low = 0;
        double high = 0;
        bool operator==(const Range&) const = default;
    };

    struct Item {
        QString id;
        std::optional<ArrangeValue> value;
        std::optional<QString> lane;
        bool operator==(const Item&) const = default;
    };

    struct Options {
        bool sorted = false;
        bool descending = false;
        Spacing spacing = Spacing::even; // the wish; the arrangement says what was granted
        bool grouped = false;
        QStringList lanes; // preferred order of lane keys
        QSet<QString> collapsed;
        std::optional<Range> domain;
        std::optional<int> axisCount;
        Form form = Form::rows;
        std::vector<std::pair<QString, QString>> links; // used by rings
        bool ordered = false;                           // spiral: islands in rows rather than packed
        std::optional<QString> anchor;                  // rings, spiral: the item in the middle
    };

    struct Lane {
        QString key;
        double minY = 0;
        double maxY = 0;
        int count = 0;
        bool collapsed = false;
        double midY() const { return (minY + maxY) / 2; }
        bool operator==(const Lane&) const = default;
    };

    // A stretch of tied values on the axis.
    struct Run {
        ArrangeValue value;
        double minX = 0;
        double maxX = 0;
        int count = 0;
        double midX() const { return (minX + maxX) / 2; }
        bool operator==(const Run&) const = default;
    };

    struct Slot {
        QString id;
        double x = 0;
        ArrangeValue value;
        bool operator==(const Slot&) const = default;
    };

    struct Level {
        std::optional<ArrangeValue> low;
        std::optional<ArrangeValue> high;
        std::optional<Range> edges;
        int count = 0;
        bool operator==(const Level&) const = default;
    };

    struct Bucket {
        Level level;
        std::vector<Item> members;
        bool operator==(const Bucket&) const = default;
    };

    struct Ring {
        Level level;
        double inner = 0;
        double outer = 0;
        double mid() const { return (inner + outer) / 2; }
        bool operator==(const Ring&) const = default;
    };

    struct Wedge {
        QString key;
        double start = 0; // radians, clockwise from the top
        double end = 0;
        int count = 0;
        bool collapsed = false;
        double mid() const { return (start + end) / 2; }
        bool operator==(const Wedge&) const = default;
    };

    struct Island {
        std::optional<QString> key;
        double x = 0;
        double y = 0;
        double radius = 0;
        double sweep = 0;
        int count = 0;
        bool collapsed = false;
        bool operator==(const Island&) const = default;
    };

    struct Turn {
        double radius = 0;
        ArrangeValue value;
        int count = 0;
        bool operator==(const Turn&) const = default;
    };

    struct Column {
        std::optional<Level> level;
        std::optional<QString> key;
        double minX = 0;
        double maxX = 0;
        double top = 0;
        int count = 0;
        bool collapsed = false;
        double midX() const { return (minX + maxX) / 2; }
        bool operator==(const Column&) const = default;
    };

    struct Group {
        QString key;
        int count = 0;
        bool collapsed = false;
        bool operator==(const Group&) const = default;
    };

    // The lane keys in the order they are shown, and how many items each holds.
    struct GroupOrder {
        QStringList keys;
        QHash<QString, int> counts;
    };

    Form form = Form::rows;
    bool sorted = false;
    bool grouped = false;
    bool descending = false;
    Spacing spacing = Spacing::even; // the granted spacing
    QHash<QString, ForceLayout::Guide> guides;
    std::vector<Lane> lanes;
    double axisLength = 0;
    std::optional<double> gutterX;
    double gutterWidth = 0;
    std::vector<Run> runs;
    std::vector<Slot> axisSlots; // every placed value on the axis, left to right
    std::optional<Range> domain;
    double minX = 0;
    double maxX = 0;
    double minY = 0;
    double maxY = 0;
    std::vector<Ring> rings;
    std::vector<Wedge> wedges;
    std::vector<Island> islands;
    std::vector<Turn> turns;
    std::vector<Column> columns;
    std::vector<Group> groups;

    Arrangement(const std::vector<Item>& items, const Options& options);

    // The axis position of a number, when the axis has a domain with distinct ends.
    std::optional<double> x(double value) const;
    // The slots whose x lies between the two positions, ends included, in slot order.
    std::vector<Slot> slotsBetween(double from, double to) const;
    double top() const;
    double bottom() const;

    static std::vector<double> niceTicks(double low, double high, int count);
    // Buckets of items already in axis order: runs of ties, round-numbered stretches or even shares.
    static std::vector<Bucket> levels(const std::vector<Item>& items, bool descending, Spacing spacing,
                                      int maxRuns, int target, bool keepEmpty);
    static GroupOrder groupOrder(const std::vector<Item>& items, const Options& options);

    // Angles along the Archimedean spiral, about `spiralStep` apart; with `corridor`, none near the top.
    static std::vector<double> spiralAngles(int count, bool corridor);
    static QPointF spiralPoint(double angle, double aroundX, double aroundY);
    // Angle 0 points up, and angles grow clockwise.
    static QPointF polar(double radius, double angle, double aroundX, double aroundY);

    static QString formText(Form form);
    // Lenient on purpose: the old "bloom" reads as spiral and anything unknown as rows, so that lenses
    // saved by earlier versions still open.
    static Form formFromText(const QString& text);
    static QString spacingText(Spacing spacing);
    static std::optional<Spacing> spacingFromText(const QString& text);

    bool operator==(const Arrangement&) const = default;

private:
    // What the forms other than rows share: the items in placing order, split by whether they have a
    // value, the centre if an anchor stands in the middle, and the lane keys.
    struct Placing {
        std::vector<Item> all;
        std::vector<Item> valued;
        std::vector<Item> missing;
        std::optional<Item> centre;
        GroupOrder order;
    };
    void arrangeRows(const std::vector<Item>& items, const Options& options, const std::vector<Item>& valued,
                     double low, double high);
    void arrangeRings(Placing& placing, const Options& options);
    void arrangeSpiral(Placing& placing, const Options& options);
    void arrangeStacks(Placing& placing, const Options& options);
};

} // namespace corvantis

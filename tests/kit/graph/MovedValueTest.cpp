#include "kit/graph/MovedValue.h"

#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

// Task (state) with four rows: empty, the old default, a value set by hand, and the new default already.
TEST(MovedValue, DefaultsAndRenamedOptionsMoveOnlyTheRowsTheyRewrite) {
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Task", {property("state", PropertyKind::Choice)})};
    const QUuid task = shape.nodeTypes[0].id;
    QHash<QString, NodeRecord> nodes;
    auto add = [&](const QString& id, std::optional<QString> state) {
        PropertyMap values;
        if (state)
            values.insert("state", GraphValue::string(*state));
        nodes.insert(id, NodeRecord{id, "Task", values});
    };
    add("empty", std::nullopt);
    add("old", "Open");
    add("hand", "Waiting");
    add("new", "Closed");
    const QHash<QString, RelRecord> rels;
    auto ids = [](const QList<MovedValue>& moved) {
        QStringList out;
        for (const MovedValue& value : moved)
            out << value.id + "=" + value.before.stringValue().value_or("-");
        out.sort();
        return out;
    };

    const DefaultFill fillOnly{"Task", true, "state", GraphValue::string("Closed"), std::nullopt};
    const DefaultFill replacing{"Task", true, "state", GraphValue::string("Closed"),
                                GraphValue::string("Open")};
    const ValueReplacement rename{"Task", true, "state", "Waiting", "Later"};

    EXPECT_EQ(ids(MovedValue::by({fillOnly}, {}, shape, nodes, rels)), QStringList({"empty=-"}));
    EXPECT_EQ(ids(MovedValue::by({replacing}, {}, shape, nodes, rels)), QStringList({"empty=-", "old=Open"}));
    EXPECT_EQ(ids(MovedValue::by({}, {rename}, shape, nodes, rels)), QStringList({"hand=Waiting"}));
    // Both at once: each row once, with what it held before either.
    const QList<MovedValue> both = MovedValue::by({replacing}, {rename}, shape, nodes, rels);
    EXPECT_EQ(ids(both), QStringList({"empty=-", "hand=Waiting", "old=Open"}));
    for (const MovedValue& value : both) {
        EXPECT_EQ(value.type, task);
        EXPECT_TRUE(value.isNode);
        EXPECT_EQ(value.column, "state");
    }
    // Rows of another table are left alone.
    const DefaultFill elsewhere{"Book", true, "state", GraphValue::string("Closed"), std::nullopt};
    EXPECT_TRUE(MovedValue::by({elsewhere}, {}, shape, nodes, rels).isEmpty());
}

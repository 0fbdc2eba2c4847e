#include "kit/layout/CanvasLens.h"

#include "kit/support/Json.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(CanvasLensTest, LensKeysAreCodedUnderOneKeyNamingTheCase) {
    EXPECT_EQ(LensKey::property("born").toJson(), (QJsonObject{{"property", QJsonObject{{"_0", "born"}}}}));
    EXPECT_EQ(LensKey::title().toJson(), (QJsonObject{{"title", QJsonObject{}}}));
    for (const LensKey& key : {LensKey::property("born"), LensKey::steps("A"), LensKey::title(),
                               LensKey::connections(), LensKey::answerOrder(), LensKey::type()})
        EXPECT_EQ(LensKey::fromJson(key.toJson()), key);

    try {
        LensKey::fromJson(QJsonObject{{"title", QJsonObject{}}, {"type", QJsonObject{}}});
        FAIL() << "two keys were accepted";
    } catch (const json::DecodeError& error) {
        EXPECT_STREQ(error.what(), "Invalid number of keys found, expected one.");
    }
    EXPECT_THROW(LensKey::fromJson(QJsonObject{}), json::DecodeError);
    EXPECT_THROW(LensKey::fromJson(QJsonObject{{"colour", QJsonObject{}}}), json::DecodeError);
    EXPECT_THROW(LensKey::fromJson(QJsonObject{{"property", QJsonObject{}}}), json::DecodeError);
}

TEST(CanvasLensTest, TheSavedPartKeepsAroundButNoOtherFilter) {
    CanvasLens lens;
    EXPECT_FALSE(lens.isActive());
    lens.sort = LensKey::property("born");
    lens.descending = true;
    lens.spacing = Arrangement::Spacing::value;
    lens.group = LensKey::type();
    lens.form = Arrangement::Form::rings;
    lens.filter.around = "A";
    lens.filter.range = RangeFilter{LensKey::connections(), ArrangeValue(1.0), ArrangeValue(3.0)};
    lens.filter.lanes.insert(LensKey::type(), LaneFilter{true, {"Book"}});
    EXPECT_EQ(lens.filter.count(), 3);
    EXPECT_TRUE(lens.isActive());

    const QJsonObject json = lens.saved().toJson();
    EXPECT_EQ(json.keys(), (QStringList{"around", "descending", "form", "group", "sort", "spacing"}));
    const CanvasLens back = CanvasLens::fromSaved(CanvasLens::Saved::fromJson(json));
    EXPECT_EQ(back.sort, lens.sort);
    EXPECT_EQ(back.group, lens.group);
    EXPECT_EQ(back.form, Arrangement::Form::rings);
    EXPECT_EQ(back.spacing, Arrangement::Spacing::value);
    EXPECT_TRUE(back.descending);
    EXPECT_EQ(back.filter.around, "A");
    EXPECT_FALSE(back.filter.range);
    EXPECT_TRUE(back.filter.lanes.isEmpty());

    // Only "descending" is required; an old form name reads leniently; absent keys stay absent.
    const auto minimal = CanvasLens::Saved::fromJson(QJsonObject{{"descending", false}, {"form", "bloom"}});
    EXPECT_EQ(minimal.form, Arrangement::Form::spiral);
    EXPECT_FALSE(minimal.sort);
    EXPECT_EQ(CanvasLens::Saved{}.toJson(), (QJsonObject{{"descending", false}}));
    EXPECT_THROW(CanvasLens::Saved::fromJson(QJsonObject{{"form", "rows"}}), json::DecodeError);

    // An empty lane entry is no filter.
    CanvasFilter filter;
    filter.lanes.insert(LensKey::type(), LaneFilter{});
    EXPECT_EQ(filter.count(), 0);
}

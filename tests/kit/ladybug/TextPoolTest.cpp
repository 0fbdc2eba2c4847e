// Texts that repeat down a column are made once; a column of texts that keep coming new stops being
// pooled, and every text comes out right either way.
#include "kit/ladybug/TextPool.h"

#include <gtest/gtest.h>
#include <string>

using namespace corvantis::ladybug;

TEST(TextPool, RepeatedTextsShareOneCopyAndNewOnesStopThePool) {
    TextPool choices;
    const QString first = choices.text("glad");
    const QString again = choices.text(std::string("glad"));
    EXPECT_EQ(again, QStringLiteral("glad"));
    EXPECT_EQ(again.constData(), first.constData());
    EXPECT_NE(choices.text("sad").constData(), first.constData());
    EXPECT_EQ(choices.text("f\xC3\xBCr \xE5\xAD\x97"), QString::fromUtf8("für 字"));
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ(choices.text(i % 2 ? "glad" : "sad").constData(),
                  (i % 2 ? first : choices.text("sad")).constData());

    // Names: every text new. After a while the pool gives up, and equal texts are no longer shared.
    TextPool names;
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(names.text(std::to_string(i)), QString::number(i));
    const QString late = names.text("late");
    EXPECT_EQ(late, QStringLiteral("late"));
    EXPECT_NE(names.text("late").constData(), late.constData());
    EXPECT_EQ(names.text(std::string_view()), QString());
}

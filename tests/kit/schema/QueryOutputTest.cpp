#include "kit/schema/QueryOutput.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(QueryOutputTest, TruncatedWhenTheQueryFoundMoreRowsThanItHolds) {
    QueryOutput output;
    output.rows = {{GraphValue::number(1)}, {GraphValue::number(2)}};
    output.totalRows = 2;
    EXPECT_FALSE(output.isTruncated());
    output.totalRows = 3;
    EXPECT_TRUE(output.isTruncated());
    output.rows.clear();
    output.totalRows = 0;
    EXPECT_FALSE(output.isTruncated());
}

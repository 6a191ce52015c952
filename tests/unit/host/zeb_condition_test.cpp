// SPDX-License-Identifier: Apache-2.0
#include "host/zeb_condition.h"

#include <gtest/gtest.h>

#include "tests/unit/host/units.h"

namespace {

TEST(ZebCondition, HasNoErrorAtFirst) {
    const Zeb_Condition condition;
    EXPECT_FALSE(condition.HasError());
    EXPECT_EQ(condition.GetMessage(), u"");
}

TEST(ZebCondition, RecordsAnError) {
    Zeb_Condition condition;
    condition.SetError(u"cannot write /etc/x: Permission denied");
    EXPECT_TRUE(condition.HasError());
    EXPECT_EQ(condition.GetMessage(), u"cannot write /etc/x: Permission denied");
}

TEST(ZebCondition, KeepsTheFirstError) {
    Zeb_Condition condition;
    condition.SetError(u"first");
    condition.SetError(u"second");
    EXPECT_EQ(condition.GetMessage(), u"first");
}

TEST(ZebCondition, AnErrorWithoutWordsIsOneAllTheSame) {
    Zeb_Condition condition;
    condition.SetError(u"");
    EXPECT_TRUE(condition.HasError());
    condition.SetError(u"second");
    EXPECT_EQ(condition.GetMessage(), u"");
}

}  // namespace

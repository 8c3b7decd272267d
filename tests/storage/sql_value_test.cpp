#include "quernlight/storage/sql_value.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(SQLValueTest, TellsItsCaseAndGivesItsPayload) {
    EXPECT_EQ(*SQLValue::text("auto").asText(), "auto");
    EXPECT_EQ(SQLValue::integer(7).asInteger(), 7);
    EXPECT_EQ(SQLValue::real(1.5).asReal(), 1.5);
    EXPECT_TRUE(SQLValue::null().isNull());
    EXPECT_EQ(SQLValue::text("").kind(), SQLValue::Kind::text);
    EXPECT_EQ(SQLValue::null().kind(), SQLValue::Kind::null);
}

TEST(SQLValueTest, GivesNoPayloadOfAnotherCase) {
    EXPECT_EQ(SQLValue::integer(7).asText(), nullptr);
    EXPECT_EQ(SQLValue::text("7").asInteger(), std::nullopt);
    EXPECT_EQ(SQLValue::integer(7).asReal(), std::nullopt);
    EXPECT_FALSE(SQLValue::text("").isNull());
}

TEST(SQLValueTest, IsEqualOnlyToTheSameCaseWithTheSamePayload) {
    EXPECT_EQ(SQLValue::text("a"), SQLValue::text("a"));
    EXPECT_NE(SQLValue::text("a"), SQLValue::text("b"));
    EXPECT_EQ(SQLValue::real(0.0), SQLValue::real(-0.0));
    EXPECT_NE(SQLValue::integer(1), SQLValue::real(1));
    EXPECT_EQ(SQLValue::null(), SQLValue());
}

}  // namespace
}  // namespace quernlight

#include "quernlight/backend/json_value.hpp"

#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight {
namespace {

JSONValue decode(std::string_view text) {
    return QuernlightDecoder::make().decode<JSONValue>(text);
}

TEST(JSONValueTest, TrueIsABooleanAndNoNumber) {
    const JSONValue value = decode("true");
    EXPECT_EQ(value.kind(), JSONValue::Kind::boolean);
    EXPECT_EQ(value.boolValue(), true);
    EXPECT_EQ(value.intValue(), std::nullopt);
}

TEST(JSONValueTest, EveryKindOfValueDecodesToItsCase) {
    EXPECT_EQ(decode("null"), JSONValue::null());
    EXPECT_EQ(decode("false"), JSONValue::boolean(false));
    EXPECT_EQ(decode("7"), JSONValue::number(7));
    EXPECT_EQ(decode("18446744073709551615"), JSONValue::number(18446744073709551615.0));
    EXPECT_EQ(decode("2.5"), JSONValue::number(2.5));
    EXPECT_EQ(decode("\"text\""), JSONValue::string("text"));
    EXPECT_EQ(decode("[1]"), JSONValue::array({JSONValue::number(1)}));
    EXPECT_EQ(decode("{\"a\": []}"), JSONValue::object({{"a", JSONValue::array({})}}));
}

TEST(JSONValueTest, AnAccessorGivesNothingForAnotherCase) {
    const JSONValue text = decode("\"text\"");
    EXPECT_EQ(text.objectValue(), nullptr);
    EXPECT_EQ(text.arrayValue(), nullptr);
    EXPECT_EQ(text.boolValue(), std::nullopt);
    EXPECT_EQ(text.intValue(), std::nullopt);
    EXPECT_EQ(decode("1").stringValue(), std::nullopt);
    EXPECT_TRUE(JSONValue().isNull());
}

TEST(JSONValueTest, AccessorsGiveWhatTheValueHolds) {
    const JSONValue value = decode(R"({"list": [true, "x"]})");
    const JSONValue::Array& list = *value.objectValue()->at("list").arrayValue();
    EXPECT_EQ(list[0].boolValue(), true);
    EXPECT_EQ(list[1].stringValue(), "x");
}

TEST(JSONValueTest, OnlyANumberWithoutAFractionalPartIsAnInteger) {
    EXPECT_EQ(decode("5").intValue(), 5);
    EXPECT_EQ(decode("5.0").intValue(), 5);
    EXPECT_EQ(decode("-3e2").intValue(), -300);
    EXPECT_EQ(decode("2.5").intValue(), std::nullopt);
    EXPECT_EQ(decode("1e300").intValue(), std::nullopt);
}

TEST(JSONValueTest, ValuesMayBeNested512DeepAndNoDeeper) {
    const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_NO_THROW(decode(nested(512)));
    EXPECT_THROW(decode(nested(513)), DecodingError);
}

TEST(JSONValueTest, OfARepeatedKeyTheLastOneCounts) {
    EXPECT_EQ(decode(R"({"a": 1, "a": 2})"), JSONValue::object({{"a", JSONValue::number(2)}}));
}

}  // namespace
}  // namespace quernlight

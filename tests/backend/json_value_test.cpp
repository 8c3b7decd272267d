#include "quernlight/backend/json_value.hpp"

#include <limits>

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
    EXPECT_THROW(decode(std::string(1'000'000, '[')), DecodingError);
}

TEST(JSONValueTest, ObjectsMayBeNestedAsDeepAsArrays) {
    const auto nested = [](std::size_t depth) {
        std::string text = "{}";
        for (std::size_t level = 1; level < depth; ++level) {
            text = "{\"a\":" + text + "}";
        }
        return text;
    };
    EXPECT_NO_THROW(decode(nested(512)));
    EXPECT_THROW(decode(nested(513)), DecodingError);
}

TEST(JSONValueTest, TheCasesStandInTheirOrder) {
    using Kind = JSONValue::Kind;
    const std::vector<JSONValue> values{decode("{}"), decode("[]"),    decode("\"\""),
                                        decode("0"),  decode("false"), decode("null")};
    const std::vector<Kind> kinds{Kind::object, Kind::array,   Kind::string,
                                  Kind::number, Kind::boolean, Kind::null};
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        EXPECT_EQ(values[index].kind(), kinds[index]);
        EXPECT_EQ(static_cast<std::size_t>(kinds[index]), index);
    }
}

TEST(JSONValueTest, ValuesOfDifferentCasesAreDifferent) {
    EXPECT_NE(decode("1"), decode("true"));
    EXPECT_NE(decode("0"), decode("false"));
    EXPECT_NE(decode("\"1\""), decode("1"));
    EXPECT_NE(decode("null"), decode("{}"));
    EXPECT_NE(decode("[]"), decode("{}"));
    EXPECT_EQ(decode("5"), decode("5.0"));
}

TEST(JSONValueTest, NumbersKeepTheirValueAsADouble) {
    EXPECT_EQ(decode("0.1"), JSONValue::number(0.1));
    EXPECT_EQ(decode("-1.5e-3"), JSONValue::number(-0.0015));
    EXPECT_EQ(decode("9007199254740993"), JSONValue::number(9007199254740992.0));
    EXPECT_EQ(decode("-9223372036854775808").intValue(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(decode("-0.0").intValue(), 0);
}

TEST(JSONValueTest, ATextMayHoldAnyCharacter) {
    EXPECT_EQ(decode(R"("\u00e9\ud83d\ude00\n\/")").stringValue(), "\u00e9\U0001F600\n/");
    EXPECT_EQ(decode(R"("a\u0000b")").stringValue(), std::string_view("a\0b", 3));
}

class NoJSONTest : public testing::TestWithParam<const char*> {};

TEST_P(NoJSONTest, IsCorruptedData) {
    try {
        decode(GetParam());
        ADD_FAILURE() << "decoded";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.reason(), DecodingError::Reason::dataCorrupted);
        EXPECT_TRUE(std::string(error.what()).starts_with("The backend's answer is not valid JSON: "));
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, NoJSONTest,
                         testing::Values("", " ", "<html>", "{", "[1,]", "{\"a\":1,}", "{a:1}", "'a'", "01",
                                         "+1", "NaN", "nul", "True", "1 2", "\"\xFF\"", "\"\\ud800\"",
                                         "\"a\nb\"", "/* */ 1", "\xEF\xBB\xBF{}"));

TEST(JSONValueTest, OfARepeatedKeyTheLastOneCounts) {
    EXPECT_EQ(decode(R"({"a": 1, "a": 2})"), JSONValue::object({{"a", JSONValue::number(2)}}));
}

}  // namespace
}  // namespace quernlight

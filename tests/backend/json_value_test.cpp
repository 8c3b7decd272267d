#include "quernlight/backend/json_value.hpp"

#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;

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
    EXPECT_TRUE(JSONValue().isNull());
    EXPECT_EQ(decode("false"), JSONValue::boolean(false));
    EXPECT_EQ(decode("7"), JSONValue::number(7));
    EXPECT_EQ(decode("18446744073709551615"), JSONValue::number(18446744073709551615.0));
    EXPECT_EQ(decode("2.5"), JSONValue::number(2.5));
    EXPECT_EQ(decode("\"text\""), JSONValue::string("text"));
    EXPECT_EQ(decode("[1]"), JSONValue::array({JSONValue::number(1)}));
    EXPECT_EQ(decode("{\"a\": []}"), JSONValue::object({{"a", JSONValue::array({})}}));
}

/// The accessors that give something for the value.
std::vector<std::string> answering(const JSONValue& value) {
    const std::pair<const char*, bool> accessors[] = {{"object", value.objectValue() != nullptr},
                                                      {"array", value.arrayValue() != nullptr},
                                                      {"string", value.stringValue().has_value()},
                                                      {"bool", value.boolValue().has_value()},
                                                      {"int", value.intValue().has_value()}};
    std::vector<std::string> names;
    for (const auto& [name, answers] : accessors) {
        if (answers) {
            names.emplace_back(name);
        }
    }
    return names;
}

TEST(JSONValueTest, EachAccessorAnswersForItsOwnCaseOnly) {
    EXPECT_THAT(answering(decode("{}")), ElementsAre("object"));
    EXPECT_THAT(answering(decode("[]")), ElementsAre("array"));
    EXPECT_THAT(answering(decode("\"\"")), ElementsAre("string"));
    EXPECT_THAT(answering(decode("1")), ElementsAre("int"));
    EXPECT_THAT(answering(decode("2.5")), ElementsAre());
    EXPECT_THAT(answering(decode("true")), ElementsAre("bool"));
    EXPECT_THAT(answering(decode("null")), ElementsAre());
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

TEST(JSONValueTest, ANumberIsTheNearestDoubleToItsText) {
    for (const char* text : {"94.52706955539223", "1.5e-30", "3.14e-24", "-2.2250738585072011e-308", "5e-324",
                             "1.7976931348623157e308", "9007199254740993.0", "18446744073709551617", "0.30e1",
                             "123456789012345678901234567890.5", "1.7976931348623159e308", "-1e400", "1e-400",
                             "1e999999999", "-1e-999999999"}) {
        EXPECT_EQ(decode(text), JSONValue::number(std::strtod(text, nullptr))) << text;
    }
    EXPECT_EQ(decode("0e400"), JSONValue::number(0));
    EXPECT_EQ(decode("-0.000e-400"), JSONValue::number(0));
    EXPECT_EQ(decode("1e400"), JSONValue::number(std::numeric_limits<double>::infinity()));
}

TEST(JSONValueTest, EveryDigitOfANumberCountsHoweverManyThereAre) {
    const std::string middle = "1.00000000000000011102230246251565404236316680908203125";  // 1 + 2^-53
    const std::string zeros(100'000, '0');
    EXPECT_EQ(decode(middle + zeros), JSONValue::number(1));
    EXPECT_EQ(decode(middle + zeros + "1"), JSONValue::number(1 + std::numeric_limits<double>::epsilon()));
    EXPECT_EQ(decode("0." + zeros + "25e100001"), JSONValue::number(2.5));
    EXPECT_EQ(decode("25" + zeros + "e-100001"), JSONValue::number(2.5));
}

TEST(JSONValueTest, NumbersAmongOtherValuesAreReadAsTheyAreAlone) {
    const auto number = [](double value) { return JSONValue::number(value); };
    EXPECT_EQ(
        decode(R"({"a": [1.5e-30, 5.0 ,-7,true], "b":94.52706955539223})"),
        JSONValue::object(
            {{"a", JSONValue::array({number(1.5e-30), number(5), number(-7), JSONValue::boolean(true)})},
             {"b", number(94.52706955539223)}}));
}

TEST(JSONValueTest, ATextMayHoldAnyCharacter) {
    EXPECT_EQ(decode(R"("\u00e9\ud83d\ude00\n\/")").stringValue(), "\u00e9\U0001F600\n/");
    EXPECT_EQ(decode(R"("a\u0000b")").stringValue(), std::string_view("a\0b", 3));
}

class NoJSONTest : public testing::TestWithParam<const char*> {
  protected:
    /// What is wrong with the text, in the words of the JSON library.
    static std::string complaint() {
        boost::json::error_code error;
        boost::json::parse(GetParam(), error);
        return error.message();
    }
};

TEST_P(NoJSONTest, IsCorruptedData) {
    try {
        decode(GetParam());
        ADD_FAILURE() << "decoded";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.reason(), DecodingError::Reason::dataCorrupted);
        EXPECT_EQ(error.what(), "The backend's answer is not valid JSON: " + complaint() + ".");
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, NoJSONTest,
                         testing::Values("", " ", "<html>", "{", "[1,]", "{\"a\":1,}", "{a:1}", "'a'", "01",
                                         "+1", "NaN", "nul", "True", "1 2", "\"\xFF\"", "\"\\ud800\"",
                                         "\"a\nb\"", "/* */ 1", "\xEF\xBB\xBF{}"));

INSTANTIATE_TEST_SUITE_P(Numbers, NoJSONTest,
                         testing::Values("-", "1.", ".5", "1e", "1e+", "-a", "0x10", "1.5.5", "1.5 2", "[1.5",
                                         "1.5e3,", "Infinity", "-00.5", "1e2147483648", "0e-2147483648",
                                         "[1.                                        ]"));

TEST(JSONValueTest, OfARepeatedKeyTheLastOneCounts) {
    EXPECT_EQ(decode(R"({"a": 1, "a": 2})"), JSONValue::object({{"a", JSONValue::number(2)}}));
}

}  // namespace
}  // namespace quernlight

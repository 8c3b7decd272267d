#include "quernlight/backend/quernlight_decoder.hpp"

#include <limits>

#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include "tests/backend/sample_answers.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using namespace test;

template <class Record>
Record decode(const json::value& value) {
    return QuernlightDecoder::make().decode<Record>(json::serialize(value));
}

/// The error that decoding throws; fails the test when it throws none.
template <class Record>
DecodingError failure(const json::value& value) {
    try {
        decode<Record>(value);
    } catch (const DecodingError& error) {
        return error;
    }
    ADD_FAILURE() << "decoded " << json::serialize(value);
    return {DecodingError::Reason::dataCorrupted, "", ""};
}

json::object with(json::object object, const char* key, json::value value) {
    object[key] = std::move(value);
    return object;
}

json::object without(json::object object, const char* key) {
    object.erase(key);
    return object;
}

Instant createdAt(const char* text) {
    return decode<QLBugSummaryDTO>(bugJSON("3f2a9c1d", text)).createdAt;
}

TEST(QuernlightDecoderTest, DatesDecodeWithAndWithoutFractionAndWithAnOffset) {
    EXPECT_EQ(createdAt("2026-03-01T10:20:30.123Z"), parseInstant("2026-03-01T10:20:30.123Z"));
    EXPECT_EQ(createdAt("2026-03-01T10:20:30Z"), parseInstant("2026-03-01T10:20:30.000Z"));
    EXPECT_EQ(createdAt("2026-03-01T10:20:30+02:00"), parseInstant("2026-03-01T08:20:30.000Z"));
}

TEST(QuernlightDecoderTest, ADateInAnotherFormIsNamedInTheError) {
    const auto error = failure<QLBugSummaryDTO>(bugJSON("3f2a9c1d", "2026-03-01 10:20:30"));
    EXPECT_STREQ(error.what(), "Invalid ISO-8601 date: 2026-03-01 10:20:30");
    EXPECT_EQ(error.reason(), DecodingError::Reason::dataCorrupted);
    EXPECT_EQ(error.codingPath(), "QLBugSummaryDTO.created_at");
}

TEST(QuernlightDecoderTest, ADateThatTheCalendarDoesNotHaveFails) {
    EXPECT_STREQ(failure<QLBugSummaryDTO>(bugJSON("3f2a9c1d", "2026-02-30T10:20:30Z")).what(),
                 "Invalid ISO-8601 date: 2026-02-30T10:20:30Z");
    EXPECT_THROW(createdAt("2026-02-28T25:20:30Z"), DecodingError);
}

TEST(QuernlightDecoderTest, ABugWithANullLinkAndNoDescriptionAndEmptyMetadataDecodes) {
    const auto bug = decode<QLBugSummaryDTO>(with(bugJSON(), "pr_url", nullptr));
    EXPECT_EQ(bug.prURL, std::nullopt);
    EXPECT_EQ(bug.description, std::nullopt);
    EXPECT_EQ(bug.metadata, JSONValue::object({}));
}

TEST(QuernlightDecoderTest, ABugWithoutMetadataFailsAndTheErrorSaysWhere) {
    const json::array bugs{bugJSON(), without(bugJSON(), "metadata")};
    const auto error = failure<QLBugListResponse>(json::object{{"bugs", bugs}});
    EXPECT_EQ(error.reason(), DecodingError::Reason::keyNotFound);
    EXPECT_EQ(error.codingPath(), "QLBugListResponse.bugs[1].metadata");
    EXPECT_STREQ(
        error.what(),
        "The key \"metadata\" of QLBugSummaryDTO (QLBugListResponse.bugs[1].metadata) is missing in the "
        "backend's answer.");
}

TEST(QuernlightDecoderTest, RequiredMetadataThatIsNullIsTheNullValue) {
    EXPECT_EQ(decode<QLBugSummaryDTO>(with(bugJSON(), "metadata", nullptr)).metadata, JSONValue::null());
}

TEST(QuernlightDecoderTest, ACommentWithNoAttachmentsAndNoAuthorTypeDecodes) {
    const auto comment = decode<QLCommentDTO>(commentJSON());
    EXPECT_TRUE(comment.attachments.empty());
    EXPECT_EQ(comment.authorType, std::nullopt);
    EXPECT_EQ(comment.metadata, std::nullopt);
}

TEST(QuernlightDecoderTest, OptionalMetadataThatIsNullIsNothing) {
    EXPECT_EQ(decode<QLCommentDTO>(with(commentJSON(), "metadata", nullptr)).metadata, std::nullopt);
}

TEST(QuernlightDecoderTest, ARequiredKeyThatIsNullFails) {
    const auto error = failure<QLBugSummaryDTO>(with(bugJSON(), "title", nullptr));
    EXPECT_EQ(error.reason(), DecodingError::Reason::typeMismatch);
    EXPECT_STREQ(
        error.what(),
        "The key \"title\" of QLBugSummaryDTO (QLBugSummaryDTO.title) in the backend's answer is not a "
        "text.");
}

/// The number of open bugs of an app whose answer spells it so.
std::optional<std::int64_t> openCount(const std::string& spelling) {
    const std::string start =
        R"({"id": "00000000-0000-4000-8000-000000000001", "bundle_id": "b", "name": "n", "open_count": )";
    return QuernlightDecoder::make().decode<QLAppDTO>(start + spelling + "}").openCount;
}

TEST(QuernlightDecoderTest, AnIntegerMayBeSpelledWithAFractionOfZero) {
    EXPECT_EQ(openCount("5.0"), 5);
    EXPECT_EQ(openCount("12e1"), 120);
    EXPECT_EQ(openCount("1E+3"), 1000);
    EXPECT_EQ(openCount("-2.50e1"), -25);
    EXPECT_EQ(openCount("7000e-3"), 7);
    EXPECT_EQ(openCount("0e400"), 0);
    EXPECT_EQ(openCount("-0.0"), 0);
    EXPECT_THROW(openCount("5.5"), DecodingError);
    EXPECT_THROW(openCount("7001e-3"), DecodingError);
    EXPECT_THROW(openCount("\"5\""), DecodingError);
}

TEST(QuernlightDecoderTest, AnIntegerBeyond64BitsFailsOnBothSides) {
    using Limits = std::numeric_limits<std::int64_t>;
    for (const char* spelling :
         {"9223372036854775808", "9223372036854775808.0", "9.3e18", "18446744073709551615", "1e400",
          "1e999999999", "-9223372036854775809", "-9223372036854775808.5", "-922337203685477581e1"}) {
        EXPECT_THROW(openCount(spelling), DecodingError) << spelling;
    }
    EXPECT_EQ(openCount("9007199254740993.0"), 9007199254740993);
    EXPECT_EQ(openCount("9223372036854775807.0"), Limits::max());
    EXPECT_EQ(openCount("9.223372036854775807e18"), Limits::max());
    EXPECT_EQ(openCount("-9223372036854775808"), Limits::min());
    EXPECT_EQ(openCount("-9223372036854775808.0"), Limits::min());
}

TEST(QuernlightDecoderTest, AUuidDecodesInItsCanonicalFormInAnyCaseOnly) {
    const auto idOf = [](const char* text) { return decode<QLAppDTO>(with(appJSON(), "id", text)).id; };
    EXPECT_EQ(idOf("ABCDEF00-0000-4000-8000-00000000000a"), idOf("abcdef00-0000-4000-8000-00000000000A"));
    EXPECT_THROW(idOf("abcdef0000004000800000000000000a"), DecodingError);
    EXPECT_THROW(idOf("{abcdef00-0000-4000-8000-00000000000a}"), DecodingError);
}

TEST(QuernlightDecoderTest, ARelativeLinkFails) {
    const auto error = failure<QLBugSummaryDTO>(with(bugJSON(), "pr_url", "/pull/1"));
    EXPECT_EQ(error.codingPath(), "QLBugSummaryDTO.pr_url");
    EXPECT_EQ(error.reason(), DecodingError::Reason::dataCorrupted);
}

TEST(QuernlightDecoderTest, UnknownKeysAreIgnored) {
    EXPECT_EQ(decode<QLAppDTO>(with(appJSON(), "colour", "blue")), decode<QLAppDTO>(appJSON()));
}

TEST(QuernlightDecoderTest, TextThatIsNoJSONOrAnotherValueFails) {
    const auto decoder = QuernlightDecoder::make();
    EXPECT_THROW(decoder.decode<QLAppListResponse>(""), DecodingError);
    EXPECT_THROW(decoder.decode<QLAppListResponse>("<html>"), DecodingError);
    EXPECT_THROW(decoder.decode<QLAppListResponse>("{\"apps\": []} x"), DecodingError);
    EXPECT_STREQ(failure<QLAppListResponse>(json::array()).what(),
                 "The backend's answer, a QLAppListResponse, is not an object.");
    EXPECT_EQ(failure<QLAppListResponse>(json::object{{"apps", {1}}}).codingPath(),
              "QLAppListResponse.apps[0]");
}

}  // namespace
}  // namespace quernlight

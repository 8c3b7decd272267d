#include <functional>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using Reason = DecodingError::Reason;

enum class Type { text, integer, uuid, date, url, freeForm, list, record };
enum class Presence { required, optional };

/// One row of the table that says what an answer consists of.
struct Key {
    const char* name;
    Type type = Type::text;
    Presence presence = Presence::required;
    std::function<json::value()> nested = [] { return json::value(json::array()); };  // of lists and records
};

struct RecordShape {
    const char* name;
    std::vector<Key> keys;
    std::function<void(const std::string&)> decode;
};

struct KeyCase {
    RecordShape shape;
    Key key;
};

void PrintTo(const KeyCase& row, std::ostream* out) {
    *out << row.shape.name << "." << row.key.name;
}

json::value goodValue(const Key& key) {
    switch (key.type) {
        case Type::text:
            return json::value("some text");
        case Type::integer:
            return 7;
        case Type::uuid:
            return json::value("00000000-0000-4000-8000-00000000000a");
        case Type::date:
            return json::value("2026-03-01T10:20:30Z");
        case Type::url:
            return json::value("https://example.com/a");
        case Type::freeForm:
            return json::object{{"k", "v"}};
        case Type::list:
        case Type::record:
            return key.nested();
    }
    return nullptr;
}

/// A value of another JSON type than the one that stands there.
json::value valueOfAnotherType(const Key& key) {
    return key.type == Type::integer ? json::value("7") : json::value(7);
}

json::object complete(const std::vector<Key>& keys) {
    json::object object;
    for (const Key& key : keys) {
        object[key.name] = goodValue(key);
    }
    return object;
}

template <class Record>
RecordShape shape(const char* name, std::vector<Key> keys) {
    const auto decode = [](const std::string& text) { QuernlightDecoder::make().decode<Record>(text); };
    return {name, std::move(keys), decode};
}

constexpr Presence optional = Presence::optional;

const std::vector<Key> appKeys{
    {"id", Type::uuid}, {"bundle_id"}, {"name"}, {"open_count", Type::integer, optional}};

const std::vector<Key> bugKeys{{"id"},
                               {"title"},
                               {"description", Type::text, optional},
                               {"reporter", Type::text, optional},
                               {"app_version", Type::text, optional},
                               {"os_version", Type::text, optional},
                               {"device_model", Type::text, optional},
                               {"device_name", Type::text, optional},
                               {"metadata", Type::freeForm},
                               {"status"},
                               {"pr_url", Type::url, optional},
                               {"occurred_at", Type::date},
                               {"created_at", Type::date},
                               {"updated_at", Type::date},
                               {"duplicate_of", Type::text, optional},
                               {"app_id", Type::uuid},
                               {"bundle_id"},
                               {"app_name"}};

std::vector<Key> summaryKeys() {
    std::vector<Key> keys = bugKeys;
    keys.push_back({"attachment_count", Type::integer});
    keys.push_back({"comment_count", Type::integer});
    return keys;
}

std::vector<Key> detailKeys() {
    std::vector<Key> keys = bugKeys;
    keys.push_back({"log_s3_key", Type::text, optional});
    return keys;
}

const std::vector<Key> attachmentKeys{{"id", Type::uuid},
                                      {"bug_id"},
                                      {"comment_id", Type::uuid, optional},
                                      {"filename"},
                                      {"content_type"},
                                      {"size_bytes", Type::integer},
                                      {"kind"},
                                      {"created_at", Type::date},
                                      {"download_url", Type::url, optional}};

const std::vector<Key> commentKeys{{"id", Type::uuid},
                                   {"bug_id"},
                                   {"body"},
                                   {"created_at", Type::date},
                                   {"updated_at", Type::date},
                                   {"attachments", Type::list},
                                   {"author_type", Type::text, optional},
                                   {"metadata", Type::freeForm, optional}};

const std::vector<Key> createdBugKeys{{"id"},
                                      {"created_at", Type::date},
                                      {"app_id", Type::uuid},
                                      {"bundle_id"},
                                      {"attachments_count", Type::integer}};

std::vector<Key> bugResponseKeys() {
    return {{"bug", Type::record, Presence::required, [] { return json::value(complete(detailKeys())); }},
            {"attachments", Type::list},
            {"comments", Type::list},
            {"log_url", Type::url, optional}};
}

std::vector<Key> commentResponseKeys() {
    return {{"comment", Type::record, Presence::required, [] { return json::value(complete(commentKeys)); }}};
}

std::vector<RecordShape> shapes() {
    return {shape<QLAppDTO>("QLAppDTO", appKeys),
            shape<QLAppListResponse>("QLAppListResponse", {{"apps", Type::list}}),
            shape<QLBugSummaryDTO>("QLBugSummaryDTO", summaryKeys()),
            shape<QLBugListResponse>("QLBugListResponse", {{"bugs", Type::list}}),
            shape<QLBugDetailDTO>("QLBugDetailDTO", detailKeys()),
            shape<QLAttachmentDTO>("QLAttachmentDTO", attachmentKeys),
            shape<QLCommentDTO>("QLCommentDTO", commentKeys),
            shape<QLBugDetailResponse>("QLBugDetailResponse", bugResponseKeys()),
            shape<QLCommentsResponse>("QLCommentsResponse", {{"comments", Type::list}}),
            shape<QLCreateCommentResponse>("QLCreateCommentResponse", commentResponseKeys()),
            shape<QLCreateBugResponse>("QLCreateBugResponse", createdBugKeys)};
}

std::vector<KeyCase> everyKey() {
    std::vector<KeyCase> cases;
    for (const RecordShape& shape : shapes()) {
        for (const Key& key : shape.keys) {
            cases.push_back({shape, key});
        }
    }
    return cases;
}

class RecordKeyTest : public testing::TestWithParam<KeyCase> {
  protected:
    /// The error of decoding the complete record with another value for this key; nothing when it decodes.
    std::optional<DecodingError> errorWith(json::value value) const {
        json::object answer = complete(row.shape.keys);
        answer[row.key.name] = std::move(value);
        return errorOf(answer);
    }

    std::optional<DecodingError> errorWithoutKey() const {
        json::object answer = complete(row.shape.keys);
        answer.erase(row.key.name);
        return errorOf(answer);
    }

    std::optional<DecodingError> errorOf(const json::object& answer) const {
        try {
            row.shape.decode(json::serialize(answer));
            return std::nullopt;
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.codingPath(), std::string(row.shape.name) + "." + row.key.name);
            return error;
        }
    }

    bool isOptional() const { return row.key.presence == Presence::optional; }

    const KeyCase row = GetParam();
};

TEST_P(RecordKeyTest, MayBeAbsentOnlyWhenItIsOptional) {
    const auto error = errorWithoutKey();
    EXPECT_EQ(error.has_value(), !isOptional());
    EXPECT_EQ(error ? error->reason() : Reason::keyNotFound, Reason::keyNotFound);
}

TEST_P(RecordKeyTest, MayBeNullOnlyWhenItIsOptionalOrFreeForm) {
    const auto error = errorWith(nullptr);
    EXPECT_EQ(error.has_value(), !isOptional() && row.key.type != Type::freeForm);
    EXPECT_EQ(error ? error->reason() : Reason::typeMismatch, Reason::typeMismatch);
}

TEST_P(RecordKeyTest, MustBeOfItsTypeUnlessItIsFreeForm) {
    const auto error = errorWith(valueOfAnotherType(row.key));
    EXPECT_EQ(error.has_value(), row.key.type != Type::freeForm);
    EXPECT_EQ(error ? error->reason() : Reason::typeMismatch, Reason::typeMismatch);
}

TEST_P(RecordKeyTest, MustBeWellFormedWhenItIsAUuidADateOrAUrl) {
    const std::set<Type> withForm{Type::uuid, Type::date, Type::url};
    const auto error = withForm.contains(row.key.type) ? errorWith("no form at all") : std::nullopt;
    EXPECT_EQ(error.has_value(), withForm.contains(row.key.type));
    EXPECT_EQ(error ? error->reason() : Reason::dataCorrupted, Reason::dataCorrupted);
}

TEST_P(RecordKeyTest, MaySpellAnIntegerWithAFractionOfZeroOnly) {
    if (row.key.type == Type::integer) {
        EXPECT_FALSE(errorWith(7.0));
        EXPECT_TRUE(errorWith(7.5));
    } else {
        EXPECT_EQ(errorWith(7.0).has_value(), row.key.type != Type::freeForm);
    }
}

INSTANTIATE_TEST_SUITE_P(Records, RecordKeyTest, testing::ValuesIn(everyKey()));

}  // namespace
}  // namespace quernlight

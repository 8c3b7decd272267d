#include "quernlight/queue/bug_queue_item_json.hpp"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>

#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {
namespace json = boost::json;

class BugQueueItemJsonTest : public test::QueueFixture {
  protected:
    void SetUp() override {}

    static json::object encoded(const BugQueueItem& item) { return json::value_from(item).as_object(); }

    static BugQueueItem decoded(json::object object) {
        return json::value_to<BugQueueItem>(json::value(std::move(object)));
    }

    /// The field that decoding `value` complains about.
    static std::string complaint(const json::value& value) {
        try {
            json::value_to<BugQueueItem>(value);
        } catch (const BugQueueItemDecodingError& error) {
            return error.field();
        }
        return "no complaint";
    }

    static std::string complaint(const std::string& field, json::value value) {
        json::object object = encoded(fullItem());
        object[field] = std::move(value);
        return complaint(json::value(std::move(object)));
    }
};

TEST_F(BugQueueItemJsonTest, EveryFieldComesBackAsItWas) {
    const BugQueueItem item = fullItem();
    EXPECT_EQ(decoded(encoded(item)), item);
}

TEST_F(BugQueueItemJsonTest, AbsentFieldsAreLeftOutAndComeBackAbsent) {
    const BugQueueItem item{.bugURL = Url::parse("https://bugs.example/").value()};
    const json::object object = encoded(item);
    EXPECT_FALSE(object.contains("errorMessage"));
    EXPECT_EQ(object.size(), 14U);
    EXPECT_EQ(decoded(object), item);
}

TEST_F(BugQueueItemJsonTest, KeysAreTheNamesOfTheFields) {
    std::vector<std::string> keys;
    for (const auto& pair : encoded(fullItem())) {
        keys.emplace_back(pair.key());
    }
    EXPECT_THAT(keys, testing::ElementsAre("id", "bugID", "appID", "appName", "bundleID", "title", "bugURL",
                                           "queuePosition", "queueMode", "status", "goalFlow", "priority",
                                           "activeSessionID", "codexSessionID", "errorMessage", "createdAt",
                                           "addedAt", "startedAt", "completedAt", "cancelledAt"));
}

TEST_F(BugQueueItemJsonTest, ValuesHaveTheirStoredForm) {
    const BugQueueItem item = fullItem();
    const json::object object = encoded(item);
    EXPECT_EQ(object.at("id"), json::value(upperCaseText(item.id)));
    EXPECT_EQ(object.at("queueMode"), "manual");
    EXPECT_EQ(object.at("goalFlow"), "address_review");
    EXPECT_EQ(object.at("createdAt"), "2026-03-01T00:00:00.001Z");
}

TEST_F(BugQueueItemJsonTest, ANullInAnOptionalFieldCountsAsAbsent) {
    json::object object = encoded(fullItem());
    object["startedAt"] = nullptr;
    EXPECT_EQ(decoded(object).startedAt, std::nullopt);
}

TEST_F(BugQueueItemJsonTest, UnusableFieldsAreToldByName) {
    EXPECT_EQ(complaint("id", "no uuid"), "id");
    EXPECT_EQ(complaint("bugURL", "not absolute"), "bugURL");
    EXPECT_EQ(complaint("queuePosition", "4"), "queuePosition");
    EXPECT_EQ(complaint("status", "Running"), "status");
    EXPECT_EQ(complaint("addedAt", nullptr), "addedAt");
    EXPECT_EQ(complaint("completedAt", "yesterday"), "completedAt");
}

TEST_F(BugQueueItemJsonTest, EveryRequiredFieldThatIsMissingIsToldByName) {
    for (const char* field :
         {"id", "bugID", "appID", "appName", "bundleID", "title", "bugURL", "queuePosition", "queueMode",
          "status", "goalFlow", "priority", "createdAt", "addedAt"}) {
        json::object object = encoded(fullItem());
        object.erase(field);
        EXPECT_EQ(complaint(json::value(std::move(object))), field);
    }
}

TEST_F(BugQueueItemJsonTest, AMissingFieldAndAValueThatIsNoObjectAreTold) {
    EXPECT_EQ(complaint(json::parse("{}")), "id");
    EXPECT_EQ(complaint(json::parse("[]")), "");
    EXPECT_STREQ(BugQueueItemDecodingError("id").what(),
                 "The queue item's field \"id\" is missing or unusable.");
}

}  // namespace
}  // namespace quernlight

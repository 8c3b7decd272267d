#include "host/control/control_peer.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/asker_rates.hpp"

namespace quernlight::host {
namespace {

constexpr const char* one = "11111111-0000-4000-8000-000000000000";
constexpr const char* other = "22222222-0000-4000-8000-000000000000";
constexpr pid_t owner = 50;

PeerProcess process(pid_t pid, const std::string& mark = "", bool isStartedHere = false) {
    return {.entry = {.pid = pid}, .mark = mark, .isStartedHere = isStartedHere};
}

struct PeerRow {
    const char* story;
    std::vector<PeerProcess> line;
    bool isPerson;
    const char* session = "";
    const char* ownersMark = "";
};

void PrintTo(const PeerRow& row, std::ostream* out) {
    *out << row.story;
}

class ControlPeerTest : public testing::TestWithParam<PeerRow> {};

TEST_P(ControlPeerTest, AnAgentsProcessesAreKnownByTheirMarkAndTheirAncestors) {
    const PeerRow& row = GetParam();
    const ControlPeer peer = judgePeer(row.line, process(owner, row.ownersMark));
    EXPECT_EQ(peer.isPerson, row.isPerson);
    EXPECT_EQ(peer.session, parseUuid(row.session));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ControlPeerTest,
    testing::Values(
        PeerRow{"a person's command", {process(90), process(80)}, true},
        PeerRow{"one that has gone", {}, false}, PeerRow{"the owner itself", {process(owner)}, true},
        PeerRow{"the owner's own git or notification",
                {process(90), process(60, "", true), process(owner)},
                true},
        PeerRow{"an agent", {process(60, one, true), process(owner)}, false, one},
        PeerRow{"its tool server, whose environment it has stripped",
                {process(90), process(60, one, true), process(owner)},
                false,
                one},
        PeerRow{"its command with another session's mark",
                {process(90, other), process(60, one, true), process(owner)},
                false,
                one},
        PeerRow{"a daemon of it that has kept the mark", {process(90, one)}, false, one},
        PeerRow{"a daemon of it that has dropped the mark", {process(90), process(owner)}, false},
        PeerRow{"what carries a mark that names nothing", {process(90, "x")}, false},
        PeerRow{"a person's command where the owner itself is an agent's work",
                {process(90, one), process(80, one)},
                true,
                "",
                one},
        PeerRow{
            "an agent of that owner", {process(90, other, true), process(owner, one)}, false, other, one}));

TEST(AskerRatesTest, NobodyTakesFromAnothersBucket) {
    AskerRates rates(0.001, 2);
    const RateLimiter::TimePoint now{std::chrono::hours(1)};
    EXPECT_TRUE(rates.takeNow("one", now));
    EXPECT_TRUE(rates.takeNow("one", now));
    EXPECT_FALSE(rates.takeNow("one", now));
    EXPECT_TRUE(rates.takeNow("other", now));
}

TEST(AskerRatesTest, OnlySoManyAreRemembered) {
    AskerRates rates(0.001, 1);
    for (std::size_t asker = 0; asker < 2 * AskerRates::most; ++asker) {
        rates.takeNow(std::to_string(asker), RateLimiter::TimePoint(std::chrono::seconds(asker)));
    }
    EXPECT_EQ(rates.count(), AskerRates::most);
    EXPECT_FALSE(rates.takeNow(std::to_string(2 * AskerRates::most - 1),
                               RateLimiter::TimePoint(std::chrono::seconds(2 * AskerRates::most))));
}

}  // namespace
}  // namespace quernlight::host

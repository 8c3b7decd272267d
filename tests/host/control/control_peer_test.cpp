#include "host/control/control_peer.hpp"

#include <map>
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

PeerProcess older(pid_t pid, const std::string& mark = "") {
    return {.entry = {.pid = pid}, .mark = mark, .isOlder = true};
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
        PeerRow{"of an orphan older than any agent", {process(90), older(60), process(owner)}, true},
        PeerRow{"of such an orphan, with an agent's mark",
                {process(90, one), older(60), process(owner)},
                false,
                one},
        PeerRow{"what carries a mark that names nothing", {process(90, "x")}, false},
        PeerRow{"a person's command where the owner itself is an agent's work",
                {process(90, one), process(80, one)},
                true,
                "",
                one},
        PeerRow{
            "an agent of that owner", {process(90, other, true), process(owner, one)}, false, other, one}));

/// The owner 50, its agent 60, and 100, which descends from it through so many others without a mark.
class FakeProcesses {
  public:
    explicit FakeProcesses(int between) {
        add(owner, 1);
        add(60, owner, one);
        for (int index = 0; index < between; ++index) {
            add(1000 + index, index == 0 ? 60 : 999 + index);
        }
        add(100, between == 0 ? 60 : 999 + between);
    }

    FakeProcesses& add(pid_t pid, pid_t parent, const std::string& mark = "") {
        processes_[pid] = {.entry = {.pid = pid, .parent = parent, .startTime = "1"}, .mark = mark};
        return *this;
    }
    /// Ends when it is looked at, so that its children come to the owner.
    FakeProcesses& ending(pid_t pid) {
        ending_.push_back(pid);
        return *this;
    }
    FakeProcesses& changing() {
        isChanging_ = true;
        return *this;
    }

    PeerProcess look(pid_t pid) {
        if (std::erase(ending_, pid) != 0) {
            end(pid);
        }
        PeerProcess& found = processes_[pid];
        found.entry.startTime += isChanging_ ? "1" : "";
        return found;
    }

  private:
    void end(pid_t pid) {
        processes_.erase(pid);
        for (auto& [child, process] : processes_) {
            process.entry.parent = process.entry.parent == pid ? owner : process.entry.parent;
        }
    }

    std::map<pid_t, PeerProcess> processes_;
    std::vector<pid_t> ending_;
    bool isChanging_ = false;
};

struct LineRow {
    const char* story;
    FakeProcesses processes;
    ControlPeer peer;
};

void PrintTo(const LineRow& row, std::ostream* out) {
    *out << row.story;
}

class PeerLineTest : public testing::TestWithParam<LineRow> {};

TEST_P(PeerLineTest, APeerWhoseAncestorsCannotAllBeToldIsNoPersons) {
    FakeProcesses processes = GetParam().processes;
    const auto line = lineTo(owner, 100, [&](pid_t pid) { return processes.look(pid); });
    EXPECT_EQ(judgePeer(line, process(owner)), GetParam().peer);
}

const ControlPeer nobodys{};
const ControlPeer agents{.session = parseUuid(one)};
const ControlPeer persons{.isPerson = true};

INSTANTIATE_TEST_SUITE_P(
    Table, PeerLineTest,
    testing::Values(LineRow{"an agent's child", FakeProcesses(0), agents},
                    LineRow{"a hundred processes away from the agent", FakeProcesses(100), agents},
                    LineRow{"more than anybody follows", FakeProcesses(1000), nobodys},
                    LineRow{"its parent ends meanwhile", FakeProcesses(1).ending(1000), nobodys},
                    LineRow{"an ancestor ends meanwhile", FakeProcesses(3).ending(1001), nobodys},
                    LineRow{"another one at each look", FakeProcesses(0).changing(), nobodys},
                    LineRow{"it has ended itself", FakeProcesses(0).ending(100), nobodys},
                    LineRow{"a parent that the system does not show", FakeProcesses(0).add(100, 70), persons},
                    LineRow{"a person's", FakeProcesses(0).add(1, 0).add(70, 1).add(100, 70), persons}));

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

#include "host/control/caller.hpp"

#include <map>
#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/caller_rates.hpp"

namespace quernlight::host {
namespace {

constexpr const char* one = "11111111-0000-4000-8000-000000000000";
constexpr const char* other = "22222222-0000-4000-8000-000000000000";
constexpr pid_t owner = 50;

CallerProcess process(pid_t pid, const std::string& mark = "", bool isStartedHere = false) {
    return {.entry = {.pid = pid}, .mark = mark, .isStartedHere = isStartedHere};
}

CallerProcess older(pid_t pid, const std::string& mark = "") {
    return {.entry = {.pid = pid}, .mark = mark, .isOlder = true};
}

struct CallerRow {
    const char* story;
    std::vector<CallerProcess> line;
    bool isPerson;
    const char* session = "";
    const char* ownersMark = "";
};

void PrintTo(const CallerRow& row, std::ostream* out) {
    *out << row.story;
}

class CallerTest : public testing::TestWithParam<CallerRow> {};

TEST_P(CallerTest, AnAgentsProcessesAreKnownByTheirMarkAndTheirAncestors) {
    const CallerRow& row = GetParam();
    const Caller caller = judgeCaller(row.line, process(owner, row.ownersMark));
    EXPECT_EQ(caller.isPerson, row.isPerson);
    EXPECT_EQ(caller.session, parseUuid(row.session));
}

INSTANTIATE_TEST_SUITE_P(
    Table, CallerTest,
    testing::Values(
        CallerRow{"a person's command", {process(90), process(80)}, true},
        CallerRow{"one that has gone", {}, false}, CallerRow{"the owner itself", {process(owner)}, true},
        CallerRow{"the owner's own git or notification",
                  {process(90), process(60, "", true), process(owner)},
                  true},
        CallerRow{"an agent", {process(60, one, true), process(owner)}, false, one},
        CallerRow{"its tool server, whose environment it has stripped",
                  {process(90), process(60, one, true), process(owner)},
                  false,
                  one},
        CallerRow{"its command with another session's mark",
                  {process(90, other), process(60, one, true), process(owner)},
                  false,
                  one},
        CallerRow{"a daemon of it that has kept the mark", {process(90, one)}, false, one},
        CallerRow{"a daemon of it that has dropped the mark", {process(90), process(owner)}, false},
        CallerRow{"of an orphan older than any agent", {process(90), older(60), process(owner)}, true},
        CallerRow{"of such an orphan, with an agent's mark",
                  {process(90, one), older(60), process(owner)},
                  false,
                  one},
        CallerRow{"what carries a mark that names nothing", {process(90, "x")}, false},
        CallerRow{"a person's command where the owner itself is an agent's work",
                  {process(90, one), process(80, one)},
                  true,
                  "",
                  one},
        CallerRow{
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

    CallerProcess look(pid_t pid) {
        if (std::erase(ending_, pid) != 0) {
            end(pid);
        }
        CallerProcess& found = processes_[pid];
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

    std::map<pid_t, CallerProcess> processes_;
    std::vector<pid_t> ending_;
    bool isChanging_ = false;
};

struct LineRow {
    const char* story;
    FakeProcesses processes;
    Caller caller;
};

void PrintTo(const LineRow& row, std::ostream* out) {
    *out << row.story;
}

class PeerLineTest : public testing::TestWithParam<LineRow> {};

TEST_P(PeerLineTest, APeerWhoseAncestorsCannotAllBeToldIsNoPersons) {
    FakeProcesses processes = GetParam().processes;
    const auto line = lineTo(owner, 100, [&](pid_t pid) { return processes.look(pid); });
    EXPECT_EQ(judgeCaller(line, process(owner)), GetParam().caller);
}

const Caller nobodys{};
const Caller agents{.session = parseUuid(one)};
const Caller persons{.isPerson = true};

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

TEST(CallerRatesTest, NobodyTakesFromAnothersBucket) {
    CallerRates rates(0.001, 2);
    const RateLimiter::TimePoint now{std::chrono::hours(1)};
    EXPECT_TRUE(rates.takeNow("one", now));
    EXPECT_TRUE(rates.takeNow("one", now));
    EXPECT_FALSE(rates.takeNow("one", now));
    EXPECT_TRUE(rates.takeNow("other", now));
}

TEST(CallerRatesTest, OnlySoManyAreRemembered) {
    CallerRates rates(0.001, 1);
    for (std::size_t caller = 0; caller < 2 * CallerRates::most; ++caller) {
        rates.takeNow(std::to_string(caller), RateLimiter::TimePoint(std::chrono::seconds(caller)));
    }
    EXPECT_EQ(rates.count(), CallerRates::most);
    EXPECT_FALSE(rates.takeNow(std::to_string(2 * CallerRates::most - 1),
                               RateLimiter::TimePoint(std::chrono::seconds(2 * CallerRates::most))));
}

}  // namespace
}  // namespace quernlight::host

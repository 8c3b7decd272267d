#include "host/dispatcher/admission.hpp"

#include <functional>

#include <gmock/gmock.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;

BugQueueItem queued(const std::string& bugID) {
    BugQueueItem item;
    item.id = randomUuid();
    item.bugID = bugID;
    item.bundleID = "com.acme.shop";
    return item;
}

ItemFacts startable(const std::string& bugID = "3f2a9c1d") {
    return {.item = queued(bugID), .repository = "/src/shop"};
}

/// One item that would start, with what keeps it from that.
struct WaitRow {
    const char* name;
    std::function<void(ItemFacts&, ProgramFacts&)> change;
    WaitCause cause;
    bool passesByItself;
    std::string sentence;
};

/// In the order in which the reasons count.
const std::vector<WaitRow>& waitRows() {
    static const std::vector<WaitRow> rows{
        {"ItsSession", [](ItemFacts& item, ProgramFacts&) { item.work = ItemWork::session; },
         WaitCause::running, false, "its session runs"},
        {"ItsReconciliation", [](ItemFacts& item, ProgramFacts&) { item.work = ItemWork::reconciliation; },
         WaitCause::reconciling, true, "its last session was interrupted and has to be reconciled first"},
        {"ItsRetirement", [](ItemFacts& item, ProgramFacts&) { item.work = ItemWork::retirement; },
         WaitCause::retiring, false, "its work is merged; it leaves the queue"},
        {"ALiveStatus", [](ItemFacts& item, ProgramFacts&) { item.item.status = QueueItemStatus::running; },
         WaitCause::running, false, "its session runs"},
        {"NoMapping",
         [](ItemFacts& item, ProgramFacts&) { item.item.status = QueueItemStatus::waitingForMapping; },
         WaitCause::noMapping, false,
         "no mapping for com.acme.shop; add one with: quernlight-dispatch map set"},
        {"TheManualQueue", [](ItemFacts& item, ProgramFacts&) { item.item.queueMode = QueueMode::manual; },
         WaitCause::startNotRequested, false, "until: queue start 3f2a9c1d"},
        {"TroubleAMomentAgo", [](ItemFacts& item, ProgramFacts&) { item.restsAfterTrouble = true; },
         WaitCause::restsAfterTrouble, true, "its last session ended on trouble a moment ago"},
        {"APause",
         [](ItemFacts& item, ProgramFacts&) {
             item.pause = StartPause{.cause = "git fetch fails.", .left = std::chrono::seconds(4)};
         },
         WaitCause::startsPaused, false, "it is tried again in 4 s: git fetch fails."},
        {"ADispatcherThatEnds", [](ItemFacts&, ProgramFacts& program) { program.stopping = true; },
         WaitCause::stopping, true, "the dispatcher is being stopped"},
        {"AHomeThatIsAway", [](ItemFacts&, ProgramFacts& program) { program.homeIsInPlace = false; },
         WaitCause::homeAway, true, "the dispatch home is not in its place"},
        {"AFullDisk", [](ItemFacts&, ProgramFacts& program) { program.homeIsWritable = false; },
         WaitCause::homeUnwritable, true, "the dispatch home cannot be written"},
        {"AMappingThatIsGone", [](ItemFacts& item, ProgramFacts&) { item.repository.reset(); },
         WaitCause::mappingGone, true,
         "no mapping for com.acme.shop; add one with: quernlight-dispatch map set"},
        {"ABrokenRepository",
         [](ItemFacts& item, ProgramFacts&) { item.repositoryTrouble = "The repository is gone."; },
         WaitCause::repositoryBroken, true, "The repository is gone."},
        {"NoAgent", [](ItemFacts&, ProgramFacts& program) { program.missingAgent = "There is no program."; },
         WaitCause::agentMissing, true, "There is no program."},
        {"NoPlace", [](ItemFacts&, ProgramFacts& program) { program.sessionsRunning = 2; },
         WaitCause::noPlace, true, "2 of 2 sessions run"},
        {"TooLittleMemory", [](ItemFacts&, ProgramFacts& program) { program.memoryAvailableMiB = 512; },
         WaitCause::memoryShort, true, "512 MiB free, 1024 wanted"},
        {"AProcess", [](ItemFacts& item, ProgramFacts&) { item.worktree = WorktreeLook{.process = 77}; },
         WaitCause::worktreeInUse, false,
         "process 77 still runs in its worktree; it starts once that has ended."}};
    return rows;
}

class AdmissionTest : public testing::TestWithParam<std::size_t> {
  protected:
    const WaitRow& row() const { return waitRows().at(GetParam()); }

    std::optional<WaitReason> reason() const { return admit({{item}, program}).at(0).reason; }

    ItemFacts item = startable();
    ProgramFacts program{.maxSessions = 2, .memoryAvailableMiB = 2048, .memoryWantedMiB = 1024};
};

TEST_P(AdmissionTest, EachReasonAloneKeepsAnItemWaitingAndSaysSo) {
    ASSERT_EQ(reason(), std::nullopt);
    row().change(item, program);
    ASSERT_TRUE(reason());
    EXPECT_EQ(reason()->cause, row().cause);
    EXPECT_EQ(sentenceOf(*reason()), row().sentence);
    EXPECT_EQ(passesByItself(reason()->cause), row().passesByItself);
}

TEST_P(AdmissionTest, OfItAndAllLaterReasonsItIsTheOneThatIsGiven) {
    for (std::size_t later = waitRows().size(); later-- > GetParam();) {
        waitRows().at(later).change(item, program);
    }
    ASSERT_TRUE(reason());
    EXPECT_EQ(reason()->cause, row().cause);
}

INSTANTIATE_TEST_SUITE_P(Reasons, AdmissionTest, testing::Range(std::size_t{0}, waitRows().size()),
                         [](const auto& row) { return std::string(waitRows().at(row.param).name); });

/// "+" for each item that starts and "-" for each that waits, in list order.
std::string startsAmong(const AdmissionFacts& facts) {
    std::string text;
    for (const AdmissionDecision& decision : admit(facts)) {
        text += decision.starts() ? "+" : "-";
    }
    return text;
}

TEST(AdmissionOfListsTest, ItemsStartInListOrderUpToThePlaces) {
    AdmissionFacts facts{.items = {startable("1"), startable("2"), startable("3")},
                         .program = {.sessionsRunning = 1, .maxSessions = 3}};
    EXPECT_EQ(startsAmong(facts), "++-");
    EXPECT_EQ(sentenceOf(*admit(facts).at(2).reason), "3 of 3 sessions run");
}

TEST(AdmissionOfListsTest, AnItemThatWaitsTakesNoPlace) {
    AdmissionFacts facts{.items = {startable("1"), startable("2"), startable("3")},
                         .program = {.maxSessions = 2}};
    facts.items.at(0).worktree = WorktreeLook{.process = 77};
    EXPECT_EQ(startsAmong(facts), "-++");
}

TEST(AdmissionOfListsTest, ALowerMaximumThanThereAreSessionsStartsNothing) {
    AdmissionFacts facts{.items = {startable("1")}, .program = {.sessionsRunning = 3, .maxSessions = 1}};
    EXPECT_EQ(startsAmong(facts), "-");
}

TEST(AdmissionOfListsTest, AManualItemStartsOnceAPersonHasAskedForIt) {
    ItemFacts item = startable();
    item.item.queueMode = QueueMode::manual;
    item.startRequested = true;
    EXPECT_EQ(startsAmong({.items = {item}}), "+");
}

/// Nothing but a person's mapping lets it go on, also while the dispatcher goes on with other things.
TEST(AdmissionOfListsTest, AManualItemWithoutAMappingWaitsForAPersonOnceItsStartWasAskedFor) {
    ItemFacts item = startable();
    item.item.queueMode = QueueMode::manual;
    item.repository.reset();
    const auto cause = [&] { return admit({.items = {item}}).at(0).reason.value().cause; };
    EXPECT_EQ(cause(), WaitCause::startNotRequested);
    item.startRequested = true;
    EXPECT_EQ(cause(), WaitCause::noMapping);
    EXPECT_FALSE(passesByItself(cause()));
}

TEST(AdmissionOfListsTest, MemoryOfWhichNothingIsKnownHoldsNothingBack) {
    EXPECT_EQ(startsAmong({.items = {startable()}, .program = {.memoryWantedMiB = 1024}}), "+");
}

TEST(AdmissionOfListsTest, APauseWithoutAnEndNamesItsCauseOnly) {
    const WaitReason reason{.cause = WaitCause::startsPaused, .about = "git fetch fails."};
    EXPECT_EQ(sentenceOf(reason), "git fetch fails.");
}

TEST(AdmissionOfListsTest, NamesFromOutsideActOnNoTerminal) {
    EXPECT_EQ(sentenceOf({.cause = WaitCause::noMapping, .about = "a\x1b[2J"}),
              R"(no mapping for a\x1b[2J; add one with: quernlight-dispatch map set)");
    EXPECT_EQ(sentenceOf({.cause = WaitCause::repositoryBroken, .about = "a\x1b[2J"}), R"(a\x1b[2J)");
    EXPECT_EQ(sentenceOf({.cause = WaitCause::startNotRequested, .about = "a;b"}),
              "until: queue start 'a;b'");
}

}  // namespace
}  // namespace quernlight::host

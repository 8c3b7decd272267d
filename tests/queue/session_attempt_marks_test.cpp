#include <functional>

#include "quernlight/queue/session_attempt_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::instant;
using test::runTask;

const Instant marked = test::instant("2026-04-01T00:00:00.250Z");
const Instant commented = test::instant("2026-03-31T00:00:00.125Z");
const Uuid noted = randomUuid();

/// One of the operations that note how an attempt goes on: what it does, and what of the record it changes.
struct Mark {
    const char* name;
    std::function<Task<void>(const SessionAttemptRepository&, const Uuid&)> apply;
    std::function<void(SessionAttemptRecord&)> expect;
};

void PrintTo(const Mark& mark, std::ostream* out) {
    *out << mark.name;
}

std::vector<Mark> allMarks() {
    using Repository = SessionAttemptRepository;
    using Record = SessionAttemptRecord;
    return {
        {"MarkRunning",
         [](const Repository& repository, const Uuid& id) { return repository.markRunning(id, 99); },
         [](Record& record) {
             record.state = SessionAttemptState::running;
             record.pid = 99;
         }},
        {"SetCodexSession",
         [](const Repository& repository, const Uuid& id) { return repository.setCodexSession(id, noted); },
         [](Record& record) { record.codexSessionID = noted; }},
        {"MarkLastOutput",
         [](const Repository& repository, const Uuid& id) { return repository.markLastOutput(id, marked); },
         [](Record& record) { record.lastOutputAt = marked; }},
        {"MarkExited",
         [](const Repository& repository, const Uuid& id) { return repository.markExited(id, 137, marked); },
         [](Record& record) {
             record.state = SessionAttemptState::exited;
             record.exitCode = 137;
             record.endedAt = marked;
         }},
        {"MarkExitedWithoutACode",
         [](const Repository& repository, const Uuid& id) {
             return repository.markExited(id, std::nullopt, marked);
         },
         [](Record& record) {
             record.state = SessionAttemptState::exited;
             record.exitCode = std::nullopt;
             record.endedAt = marked;
         }},
        {"MarkCompleted",
         [](const Repository& repository, const Uuid& id) {
             return repository.markCompleted(id, noted, commented, marked);
         },
         [](Record& record) {
             record.state = SessionAttemptState::completed;
             record.completionCommentID = noted;
             record.completionCommentCreatedAt = commented;
             record.endedAt = marked;
             record.failureReason = std::nullopt;
         }},
        {"MarkFailed",
         [](const Repository& repository, const Uuid& id) {
             return repository.markFailed(id, "late", marked);
         },
         [](Record& record) {
             record.state = SessionAttemptState::failed;
             record.failureReason = "late";
             record.endedAt = marked;
         }},
    };
}

class SessionAttemptMarkTest : public test::QueueFixture, public testing::WithParamInterface<Mark> {
  protected:
    /// An attempt whose every field is set, in that state.
    SessionAttemptRecord add(SessionAttemptState state) {
        const SessionAttemptRecord attempt{.id = randomUuid(),
                                           .attemptNumber = ++added_,
                                           .bugID = "3f2a9c10",
                                           .agentWorkspacePath = "/trees",
                                           .codexSessionID = randomUuid(),
                                           .pid = 1,
                                           .state = state,
                                           .exitCode = 2,
                                           .startedAt = instant("2026-03-01T00:00:00Z"),
                                           .lastOutputAt = instant("2026-03-02T00:00:00Z"),
                                           .endedAt = instant("2026-03-03T00:00:00Z"),
                                           .completionCommentID = randomUuid(),
                                           .completionCommentCreatedAt = instant("2026-03-04T00:00:00Z"),
                                           .failureReason = "went quiet"};
        runTask(repository.insert(attempt));
        return attempt;
    }

    SessionAttemptRecord latest() { return runTask(repository.latestAttempt("3f2a9c10")).value(); }

    void apply(const Uuid& id) { runTask(GetParam().apply(repository, id)); }

    const SessionAttemptRepository repository{database};

  private:
    std::int64_t added_ = 0;
};

TEST_P(SessionAttemptMarkTest, ChangesItsFieldsAloneWhateverTheStateWas) {
    for (const SessionAttemptState state : allSessionAttemptStates) {
        SessionAttemptRecord expected = add(state);
        apply(expected.id);
        GetParam().expect(expected);
        EXPECT_EQ(latest(), expected) << rawValue(state);
    }
}

TEST_P(SessionAttemptMarkTest, ChangesNothingWhenTheAttemptIsUnknown) {
    const SessionAttemptRecord attempt = add(SessionAttemptState::created);
    EXPECT_NO_THROW(apply(randomUuid()));
    EXPECT_EQ(latest(), attempt);
}

INSTANTIATE_TEST_SUITE_P(Marks, SessionAttemptMarkTest, testing::ValuesIn(allMarks()),
                         [](const auto& mark) { return std::string(mark.param.name); });

}  // namespace
}  // namespace quernlight

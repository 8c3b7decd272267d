#include "host/health/failure_policy.hpp"

#include <filesystem>
#include <new>
#include <ostream>
#include <system_error>

#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

struct Met {
    const char* name;
    std::exception_ptr failure;
    FailureKind inSession;
    FailureKind inProgram;
};

void PrintTo(const Met& met, std::ostream* out) {
    *out << met.name;
}

/// What SQLite throws.
std::exception_ptr databaseError() {
    try {
        Connection("/nowhere/queue.sqlite");
    } catch (const DatabaseError&) {
        return std::current_exception();
    }
    return nullptr;
}

class FailurePolicyTest : public testing::TestWithParam<Met> {};

TEST_P(FailurePolicyTest, SaysWhatIsToBeDoneAboutIt) {
    const Met& met = GetParam();
    EXPECT_EQ(failurePolicy(met.failure, FailureScope::session).kind, met.inSession);
    EXPECT_EQ(failurePolicy(met.failure, FailureScope::program).kind, met.inProgram);
}

INSTANTIATE_TEST_SUITE_P(
    Failures, FailurePolicyTest,
    testing::Values(
        Met{"no memory", std::make_exception_ptr(std::bad_alloc()), FailureKind::shortage,
            FailureKind::shortage},
        Met{"no descriptors",
            std::make_exception_ptr(std::system_error(std::make_error_code(std::errc::too_many_files_open))),
            FailureKind::shortage, FailureKind::shortage},
        Met{"the database", databaseError(), FailureKind::unwritable, FailureKind::unwritable},
        Met{"a file of the home",
            std::make_exception_ptr(std::filesystem::filesystem_error(
                "no room", std::make_error_code(std::errc::no_space_on_device))),
            FailureKind::unwritable, FailureKind::unwritable},
        Met{"a report nobody knows of", std::make_exception_ptr(ReportUnknown("silent")),
            FailureKind::reportUnknown, FailureKind::reportUnknown},
        Met{"a wrong setting", std::make_exception_ptr(UserError("wrong")), FailureKind::failsBug,
            FailureKind::endsProgram},
        Met{"no exception of the library's", std::make_exception_ptr(7), FailureKind::failsBug,
            FailureKind::endsProgram},
        Met{"anything else", std::make_exception_ptr(std::runtime_error("odd")), FailureKind::failsBug,
            FailureKind::endsProgram}));

TEST(ReasonToReconcileTest, NamesWhatCouldNotBeRecordedOrWhyTheSessionFailed) {
    EXPECT_EQ(reasonToReconcile({.kind = FailureKind::unwritable, .sentence = "disk is full"}),
              "The session was ended, since it could not be recorded: disk is full");
    EXPECT_EQ(reasonToReconcile({.kind = FailureKind::reportUnknown, .sentence = "It was silent."}),
              "It was silent.");
}

}  // namespace
}  // namespace quernlight::host

#include "host/health/failure_policy.hpp"

#include <filesystem>
#include <new>
#include <ostream>
#include <system_error>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "quernlight/storage/connection.hpp"

namespace quernlight::host {
namespace {

template <class Error>
std::exception_ptr thrown(const Error& error) {
    return std::make_exception_ptr(error);
}

std::exception_ptr systemError(std::errc code) {
    return thrown(std::system_error(std::make_error_code(code)));
}

std::exception_ptr fileError(std::errc code) {
    return thrown(
        std::filesystem::filesystem_error("Unable to write", "/home/q", std::make_error_code(code)));
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

enum Meaning : std::size_t { cancelled, shortage, database, file, reportPending, backendAway, permanent };

struct Met {
    const char* name;
    std::exception_ptr failure;
    Meaning meaning;
    FailureKind inSession;
};

void PrintTo(const Met& met, std::ostream* out) {
    *out << met.name;
}

class FailurePolicyTest : public testing::TestWithParam<Met> {};

TEST_P(FailurePolicyTest, HasOneMeaningAndSaysWhatBecomesOfASession) {
    const Met& met = GetParam();
    EXPECT_EQ(meaningOf(met.failure).index(), std::size_t{met.meaning});
    EXPECT_EQ(sessionPolicy(met.failure).kind, met.inSession);
    EXPECT_NE(sessionPolicy(met.failure).sentence, "");
}

INSTANTIATE_TEST_SUITE_P(
    Failures, FailurePolicyTest,
    testing::Values(
        Met{"cancelled", thrown(boost::system::system_error(boost::asio::error::operation_aborted)),
            cancelled, FailureKind::failsBug},
        Met{"no memory", thrown(std::bad_alloc()), shortage, FailureKind::shortage},
        Met{"no descriptors", systemError(std::errc::too_many_files_open), shortage, FailureKind::shortage},
        Met{"no descriptors for a file", fileError(std::errc::too_many_files_open), shortage,
            FailureKind::shortage},
        Met{"the database", databaseError(), database, FailureKind::unwritable},
        Met{"a full disk", fileError(std::errc::no_space_on_device), file, FailureKind::unwritable},
        Met{"a report nobody knows of", thrown(ReportUnknown("silent")), reportPending,
            FailureKind::reportUnknown},
        Met{"a report nobody knows of, at a stop", thrown(ReportUnknown("stop", WithoutReport::goesBack)),
            reportPending, FailureKind::reportPending},
        Met{"the backend", thrown(BackendUnavailable("No list.", "HTTP 503", std::nullopt)), backendAway,
            FailureKind::failsBug},
        Met{"a refused token", thrown(UserError("The token is refused.")), permanent, FailureKind::failsBug},
        Met{"another error of the system",
            thrown(boost::system::system_error(boost::asio::error::connection_refused)), permanent,
            FailureKind::failsBug},
        Met{"a mistake", thrown(std::logic_error("out of order")), permanent, FailureKind::failsBug},
        Met{"no exception of the library's", std::make_exception_ptr(7), permanent, FailureKind::failsBug}));

TEST(MeaningOfTest, KeepsWhatTheBackendSaid) {
    const FailureMeaning meaning =
        meaningOf(thrown(BackendUnavailable("No list.", "HTTP 429", std::chrono::seconds(7))));
    const auto* away = std::get_if<BackendAway>(&meaning);
    ASSERT_TRUE(away);
    EXPECT_EQ(away->cause, "HTTP 429");
    EXPECT_EQ(away->retryAfter, std::chrono::seconds(7));
}

TEST(ReasonToReconcileTest, NamesWhatCouldNotBeRecordedOrWhyTheSessionFailed) {
    EXPECT_EQ(reasonToReconcile({.kind = FailureKind::unwritable, .sentence = "disk is full"}),
              "The session was ended, since it could not be recorded: disk is full");
    EXPECT_EQ(reasonToReconcile({.kind = FailureKind::reportUnknown, .sentence = "It was silent."}),
              "It was silent.");
}

}  // namespace
}  // namespace quernlight::host

#include "host/dispatcher/chore_failure.hpp"

#include <new>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include "host/health/failure_policy.hpp"
#include "host/intake/bug_source.hpp"

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

enum Meaning : std::size_t { cancelled, shortage, database, file, reportPending, backendAway, programFails };

struct FailureRow {
    const char* name;
    std::exception_ptr failure;
    Meaning meaning;
};

class ChoreFailureTest : public testing::TestWithParam<FailureRow> {};

TEST_P(ChoreFailureTest, HasOneMeaning) {
    EXPECT_EQ(choreFailure(GetParam().failure).index(), std::size_t{GetParam().meaning});
}

INSTANTIATE_TEST_SUITE_P(
    Failures, ChoreFailureTest,
    testing::Values(
        FailureRow{"Cancelled", thrown(boost::system::system_error(boost::asio::error::operation_aborted)),
                   cancelled},
        FailureRow{"NoMemory", thrown(std::bad_alloc()), shortage},
        FailureRow{"NoDescriptors", systemError(std::errc::too_many_files_open), shortage},
        FailureRow{"NoDescriptorsForAFile", fileError(std::errc::too_many_files_open), shortage},
        FailureRow{"TheDatabase", thrown(DatabaseError(DatabaseError::Kind::stepFailed, "disk is full")),
                   database},
        FailureRow{"AFullDisk", fileError(std::errc::no_space_on_device), file},
        FailureRow{"AnUnknownReport", thrown(ReportUnknown("The agent was silent.")), reportPending},
        FailureRow{"TheBackend", thrown(BackendUnavailable("No list.", "HTTP 503", std::nullopt)),
                   backendAway},
        FailureRow{"ARefusedToken", thrown(UserError("The token is refused.")), programFails},
        FailureRow{"AnotherSystemError",
                   thrown(boost::system::system_error(boost::asio::error::connection_refused)), programFails},
        FailureRow{"AMistake", thrown(std::logic_error("out of order")), programFails},
        FailureRow{"SomethingElse", std::make_exception_ptr(1), programFails}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ChoreFailureOfTheBackendTest, KeepsWhatTheBackendSaid) {
    const ChoreFailure failure =
        choreFailure(thrown(BackendUnavailable("No list.", "HTTP 429", std::chrono::seconds(7))));
    const auto* away = std::get_if<BackendAway>(&failure);
    ASSERT_TRUE(away);
    EXPECT_EQ(away->cause, "HTTP 429");
    EXPECT_EQ(away->retryAfter, std::chrono::seconds(7));
}

}  // namespace
}  // namespace quernlight::host

#include "quernlight/platform/task.hpp"

#include <stdexcept>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

namespace quernlight {
namespace {

/// What is written to standard error about an exception.
template <class Failure>
std::string reportOf(const Failure& failure) {
    testing::internal::CaptureStderr();
    reportFailure("reader", std::make_exception_ptr(failure));
    return testing::internal::GetCapturedStderr();
}

TEST(FailureReportTest, NamesTheWorkAndSaysWhatHappened) {
    EXPECT_EQ(reportOf(std::runtime_error("no such thing")), "reader: no such thing\n");
    const boost::system::error_code broken = boost::asio::error::broken_pipe;
    EXPECT_EQ(reportOf(boost::system::system_error(broken, "write")),
              std::string("reader: ") + boost::system::system_error(broken, "write").what() + "\n");
    EXPECT_EQ(reportOf(7), "reader: an exception of an unknown kind\n");
}

TEST(FailureReportTest, WritesOneShortLineInWhichNothingActs) {
    const std::string report = reportOf(std::runtime_error("\x1b[2Jno\n" + std::string(1 << 20, 'x')));
    EXPECT_TRUE(report.starts_with(R"(reader: \x1b[2Jno\nxxx)")) << report.substr(0, 100);
    EXPECT_LT(report.size(), 400U);
    EXPECT_EQ(report.find('\n'), report.size() - 1);
}

TEST(FailureReportTest, GoesToTheSinkThatIsSetAndThenToStandardErrorAgain) {
    std::string taken;
    setFailureSink([&taken](const std::string& line) { taken += line + "|"; });
    EXPECT_EQ(reportOf(std::runtime_error("no such thing")), "");
    EXPECT_EQ(reportOf(7), "");
    setFailureSink({});
    EXPECT_EQ(taken, "reader: no such thing|reader: an exception of an unknown kind|");
    EXPECT_EQ(reportOf(std::runtime_error("no such thing")), "reader: no such thing\n");
}

TEST(FailureReportTest, SaysNothingOfWorkThatWasCancelledOrEndedWell) {
    const boost::system::error_code cancelled = boost::asio::error::operation_aborted;
    EXPECT_EQ(reportOf(boost::system::system_error(cancelled)), "");
    testing::internal::CaptureStderr();
    reportFailure("reader", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace quernlight

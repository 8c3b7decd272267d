#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

/// Bugs of one repository whose remote counts who reads from it, and answers once `bugs` of them have begun.
class FetchSharingTest : public test::DispatchFixture {
  protected:
    void countReaders(int bugs) {
        const auto transport = repository.scratch("transport");
        test::writeFile(transport, "#!/bin/sh\ncase \"$*\" in *git-upload-pack*)\n  echo read >> " +
                                       readers().string() + "\n  while [ $(ls -d " + home().string() +
                                       "/sessions/*/attempts/* | wc -l) -lt " + std::to_string(bugs) +
                                       " ]; do sleep 0.02; done;;\nesac\nexec " STANDIN_GIT_TRANSPORT_PATH
                                       " " +
                                       repository.scratch("served").string() + " \"$@\"\n");
        std::filesystem::permissions(transport, std::filesystem::perms::owner_all);
        repository.git({"config", "core.sshCommand", transport.string()});
    }
    std::ptrdiff_t timesRead() const {
        const std::string lines = test::readFile(readers());
        return std::count(lines.begin(), lines.end(), '\n');
    }
    std::filesystem::path readers() const { return repository.scratch("readers"); }
};

/// The first to fetch began before the others had asked; they share the next one.
TEST_F(FetchSharingTest, BugsThatWaitForOneRepositoryShareAFetch) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        report(bugID, "It does not work");
    }
    mapApp();
    countReaders(3);
    dispatch({"config", "set", "sessions.max", "3", "--home", home()});
    startBackend();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(status("33333333"), "awaitingUserInput");
    EXPECT_THAT(timesRead(), testing::AllOf(testing::Ge(1), testing::Le(2)));
}

}  // namespace
}  // namespace quernlight

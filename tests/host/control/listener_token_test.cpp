#include "host/control/listener_token.hpp"

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::ThrowsMessage;

class ListenerTokenTest : public testing::Test {
  protected:
    void write(const std::string& text, mode_t mode = 0600) {
        quernlight::test::writeFile(file, text);
        ASSERT_EQ(chmod(file.c_str(), mode), 0);
    }
    void expectRefusal(const std::string& why) {
        EXPECT_THAT([this] { listenerToken(home.path()); },
                    ThrowsMessage<UserError>(AllOf(HasSubstr(file.string()), HasSubstr(why),
                                                   HasSubstr("remove it, and a new one is made"))));
    }

    quernlight::test::TemporaryDirectory home;
    const std::filesystem::path file = listenerTokenFile(home.path());
    const std::string digits = std::string(64, 'a');
};

TEST_F(ListenerTokenTest, IsMadeOnceAndKeptForItsUserAlone) {
    const std::string made = listenerToken(home.path());
    EXPECT_THAT(made, MatchesRegex("[0-9a-f]{64}"));
    EXPECT_EQ(listenerToken(home.path()), made);
    struct stat found {};
    ASSERT_EQ(lstat(file.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777U, 0600U);
}

TEST_F(ListenerTokenTest, AnotherHomeHasAnotherOne) {
    const quernlight::test::TemporaryDirectory other;
    EXPECT_NE(listenerToken(home.path()), listenerToken(other.path()));
}

TEST_F(ListenerTokenTest, AFileThatOthersMayReadIsNotTrusted) {
    for (const mode_t mode : {0640U, 0604U, 0620U}) {
        write(digits, mode);
        expectRefusal("may be read by other users");
    }
}

TEST_F(ListenerTokenTest, AFileThatHoldsSomethingElseIsNotTaken) {
    for (const std::string& text : {std::string(), std::string("\n"), std::string(63, 'a'),
                                    std::string(65, 'a'), std::string(64, 'x'), digits + "\n" + digits}) {
        write(text);
        expectRefusal("holds no token");
    }
}

TEST_F(ListenerTokenTest, ALinkIsNotFollowed) {
    quernlight::test::writeFile(home / "elsewhere", digits);
    std::filesystem::permissions(home / "elsewhere", std::filesystem::perms(0600));
    std::filesystem::create_symlink(home / "elsewhere", file);
    expectRefusal("cannot be read");
    std::filesystem::remove(file);
    std::filesystem::create_hard_link(home / "elsewhere", file);
    expectRefusal("is no file of yours alone");
}

TEST_F(ListenerTokenTest, APipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    expectRefusal("is no file of yours alone");
}

}  // namespace
}  // namespace quernlight::host

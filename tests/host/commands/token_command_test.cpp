#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/terminal_shell.hpp"
#include "tests/support/session_keyring.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Without a session bus, unless a test starts one.
class TokenCommandTest : public test::DispatchFixture {
  protected:
    test::Outcome token(std::vector<std::string> words, const std::string& typed = "") {
        environment["TYPED"] = typed;
        startedBy = {"/bin/sh", "-c", "printf %s \"$TYPED\" | \"$@\"", "sh"};
        const auto outcome = dispatch(wordsOf(std::move(words)));
        startedBy.clear();
        return outcome;
    }
    std::vector<std::string> wordsOf(std::vector<std::string> words) {
        words.insert(words.begin(), "token");
        words.insert(words.end(), {"--backend", "https://bugs.example", "--home", home()});
        return words;
    }
};

/// With a real, unlocked keyring.
class StoredTokenTest : public TokenCommandTest {
  protected:
    void SetUp() override {
        keyring.startBus();
        keyring.startService("a password");
        environment["DBUS_SESSION_BUS_ADDRESS"] = keyring.busAddress();
        ASSERT_TRUE(test::eventually([&] {
            return token({"set"}, "first").exitCode == 0 && token({"delete"}).exitCode == 0;
        })) << token({"set"}, "first").error;
    }

    test::SessionKeyring keyring;
};

TEST_F(StoredTokenTest, ATokenFromStandardInputIsStoredToldOfAndDeleted) {
    EXPECT_THAT(token({"status"}).output, HasSubstr("No token for it is in the token store."));
    EXPECT_EQ(token({"set"}, " s3cret \n").output,
              "The token for https://bugs.example is in the token store.\n");
    EXPECT_EQ(token({"status"}).output,
              "backend: https://bugs.example\nA token for it is in the token store.\n"
              "run takes the token from the token store.\n");
    EXPECT_EQ(
        token({"status", "--json"}).output,
        R"({"backend":"https://bugs.example","stored":true,"trouble":null,"source":"store","file":null})"
        "\n");
    EXPECT_EQ(token({"delete"}).output,
              "The token for https://bugs.example is deleted from the token store.\n");
    EXPECT_EQ(token({"delete"}).output, "No token for https://bugs.example is in the token store.\n");
    EXPECT_FALSE(std::filesystem::exists(home()));
}

TEST_F(StoredTokenTest, ForProgramsWhatWasDoneIsOneObject) {
    const std::string stored =
        R"({"backend":"https://bugs.example","stored":true,"trouble":null,"source":"store","file":null})"
        "\n";
    EXPECT_EQ(token({"set", "--json"}, "s3cret").output, stored);
    const std::string gone = R"({"backend":"https://bugs.example","stored":false,"trouble":null,"source":)";
    EXPECT_THAT(token({"delete", "--json"}).output, AllOf(StartsWith(gone), HasSubstr(R"("deleted":true})")));
    EXPECT_THAT(token({"delete", "--json"}).output,
                AllOf(StartsWith(gone), HasSubstr(R"("deleted":false})")));
}

TEST_F(StoredTokenTest, WhatCannotBeATokenIsRefusedWithoutBeingPrinted) {
    for (const std::string typed : {"", " \n", "one\ntwo", "a\x1b[2Jb"}) {
        const auto outcome = token({"set"}, typed);
        EXPECT_EQ(outcome.exitCode, 1) << typed;
        EXPECT_THAT(outcome.error,
                    AllOf(StartsWith("quernlight-dispatch: The token that was given "),
                          HasSubstr("; give the administrator token alone."), Not(HasSubstr("two"))));
    }
}

TEST_F(StoredTokenTest, AFileThatComesFirstIsNamed) {
    environment["QUERNLIGHT_TOKEN_FILE"] = tokenFile();
    EXPECT_THAT(token({"set"}, "s3cret").output,
                HasSubstr("But run takes it from the file " + tokenFile().string() +
                          " (environment variable QUERNLIGHT_TOKEN_FILE), which comes first.\n"));
    EXPECT_THAT(token({"status", "--json"}).output,
                HasSubstr(R"("source":"environment","file":")" + tokenFile().string() + R"("})"));
}

TEST_F(StoredTokenTest, RunAndItsDryRunTakeItFromThere) {
    startBackend();
    const auto run = runWith();
    const std::string backend = run[2];
    ASSERT_EQ(dispatch({"config", "set", "backend.url", backend + "/", "--home", home()}).exitCode, 0);
    const auto missing = dispatch({"run", "--once", "--home", home()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.error, HasSubstr("There is no administrator token for " + backend +
                                         "/; store it with: quernlight-dispatch token set, or name a file"));
    environment["TYPED"] = DispatchFixture::token;
    startedBy = {"/bin/sh", "-c", "printf %s \"$TYPED\" | \"$@\"", "sh"};
    ASSERT_EQ(dispatch({"token", "set", "--home", home()}).exitCode, 0);
    startedBy.clear();
    EXPECT_EQ(dispatch({"run", "--once", "--home", home()}).exitCode, 0);
    EXPECT_EQ(dispatch({"run", "--once", "--dry-run", "--home", home(), "--backend", backend}).exitCode, 0);
}

TEST_F(StoredTokenTest, ATypedTokenIsNotShownAndTheTerminalEchoesAgain) {
    environment["TERM"] = "xterm";
    test::TerminalShell shell(wordsOf({"set"}), environment);
    shell.shownUpTo("Administrator token for https://bugs.example (is not shown): ");
    shell.type("s3cret\n");
    EXPECT_THAT(shell.shownUpToTheEnd(),
                AllOf(HasSubstr("The token for https://bugs.example is in the token store."),
                      HasSubstr("status 0"), HasSubstr(" echo "), Not(HasSubstr("s3cret"))));
}

TEST_F(StoredTokenTest, CtrlCLeavesTheTerminalAsItWasAndStoresNothing) {
    test::TerminalShell shell(wordsOf({"set"}), environment);
    shell.shownUpTo("(is not shown): ");
    shell.type("s3c\x1a\x03");
    EXPECT_THAT(shell.shownUpToTheEnd(), AllOf(HasSubstr("status 130"), HasSubstr(" echo "),
                                               HasSubstr("susp = ^Z"), Not(HasSubstr("s3c"))));
    EXPECT_THAT(token({"status"}).output, HasSubstr("No token"));
}

TEST_F(TokenCommandTest, WithoutATokenStoreAFileIsAdvised) {
    for (const char* command : {"set", "delete"}) {
        const auto outcome = token({command}, "s3cret");
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, AllOf(HasSubstr("The token store cannot be used (There is no session bus"),
                                         HasSubstr("(umask 077; cat > ~/.quernlight-token)")));
    }
    const auto status = token({"status", "--json"});
    EXPECT_EQ(status.exitCode, 0);
    EXPECT_THAT(status.output, HasSubstr(R"("stored":null,"trouble":"The token store cannot be used)"));
}

TEST_F(TokenCommandTest, ATokenFileMayBeNamedInTheEnvironmentOrASetting) {
    startBackend();
    const std::string backend = runWith()[2];
    const std::vector<std::string> words{"run", "--once", "--backend", backend, "--home", home()};
    EXPECT_EQ(dispatch(words).exitCode, 1);
    environment["QUERNLIGHT_TOKEN_FILE"] = tokenFile();
    EXPECT_EQ(dispatch(words).exitCode, 0);
    environment.erase("QUERNLIGHT_TOKEN_FILE");
    ASSERT_EQ(dispatch({"config", "set", "backend.token_file", tokenFile(), "--home", home()}).exitCode, 0);
    EXPECT_EQ(dispatch(words).exitCode, 0);
}

TEST_F(TokenCommandTest, WithoutABackendNothingIsStored) {
    const auto outcome = dispatch({"token", "status", "--home", home()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, HasSubstr("There is no backend yet"));
}

}  // namespace
}  // namespace quernlight

#include "quernlight/backend/keychain_store.hpp"

#include <csignal>
#include <optional>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/session_keyring.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

struct Answer {
    int status = 0;
    std::string text{};

    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* stream) {
    *stream << answer.status << " \"" << answer.text << "\"";
}

const Answer nothing{3, ""};
const Answer done{0, ""};

/// Probes on a bus and a keyring of their own.
class KeychainStoreTest : public testing::Test {
  protected:
    void startKeyring(const std::string& password) {
        keyring.startService(password);
        ASSERT_TRUE(test::eventually([&] { return probe("save", "nobody", "asks") == done; }))
            << probe("save", "nobody", "asks").text;
    }
    /// A bus that takes connections and never says a word.
    FileDescriptor startSilentBus() {
        FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = directory / "silent";
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener.get(), 5), 0);
        environment.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + path);
        return listener;
    }
    Answer token(const std::string& account) { return probe("token", "Quernlight", account); }
    Answer save(const std::string& account, const std::string& text) {
        return probe("save", "Quernlight", account, text);
    }
    /// Keyring and attributes of each item, one a line.
    std::string items(const std::string& account) { return probe("list", "Quernlight", account).text; }

    Answer remove(const std::string& account) { return probe("delete", "Quernlight", account); }

    Answer probe(const std::string& operation, const std::string& service, const std::string& account,
                 const std::string& input = "") {
        const auto output = directory / "answer";
        const pid_t child = keyring.spawn(KEYCHAIN_PROBE_PATH,
                                          {"keychain-probe", operation, service, account}, input, output);
        int status = 0;
        waitpid(child, &status, 0);
        return {exitCodeOfWaitStatus(status), test::readFile(output)};
    }

    test::SessionKeyring keyring;
    test::TemporaryDirectory& directory = keyring.directory;
    std::vector<std::string>& environment = keyring.environment;
};

/// With a real, unlocked keyring.
class UnlockedKeychainTest : public KeychainStoreTest {
  protected:
    void SetUp() override {
        keyring.startBus();
        startKeyring("a password");
    }
};

TEST_F(UnlockedKeychainTest, AnAccountThatWasNeverSavedHasNothingAndDeletingItSucceeds) {
    EXPECT_EQ(token("admin"), nothing);
    EXPECT_EQ(remove("admin"), done);
}

TEST_F(UnlockedKeychainTest, WhatIsSavedIsReadBackAndDeletedForGood) {
    EXPECT_EQ(save("admin", "s3cret with blanks\nand ünïcödé"), done);
    EXPECT_EQ(token("admin"), (Answer{0, "s3cret with blanks\nand ünïcödé"}));
    EXPECT_EQ(remove("admin"), done);
    EXPECT_EQ(token("admin"), nothing);
}

TEST_F(UnlockedKeychainTest, SavingTwiceLeavesOneItemWithTheSecondToken) {
    save("admin", "first");
    save("admin", "second");
    EXPECT_EQ(token("admin"), (Answer{0, "second"}));
    EXPECT_EQ(items("admin"),
              "login account=admin service=Quernlight xdg:schema=org.quernlight.dispatch.Token\n");
}

TEST_F(UnlockedKeychainTest, AnItemInAnotherKeyringIsUpdatedThereAndNotDoubled) {
    ASSERT_EQ(probe("save-elsewhere", "Quernlight", "admin", "first"), done);
    EXPECT_EQ(token("admin"), (Answer{0, "first"}));
    EXPECT_EQ(save("admin", "second"), done);
    EXPECT_EQ(token("admin"), (Answer{0, "second"}));
    EXPECT_EQ(items("admin"),
              "session account=admin service=Quernlight xdg:schema=org.quernlight.dispatch.Token\n");
}

TEST_F(UnlockedKeychainTest, DeletingTakesEveryItemOfTheAccount) {
    save("admin", "here");
    probe("save-elsewhere", "Quernlight", "admin", "there");
    EXPECT_EQ(remove("admin"), done);
    EXPECT_EQ(items("admin"), "");
}

TEST_F(UnlockedKeychainTest, AnEmptyTokenIsSavedAndReadBackAsEmptyText) {
    EXPECT_EQ(save("admin", ""), done);
    EXPECT_EQ(token("admin"), done);
}

TEST_F(UnlockedKeychainTest, ServicesAndAccountsAreKeptApart) {
    save("admin", "one");
    probe("save", "Another", "admin", "two");
    save("guest", "three");
    EXPECT_EQ(token("admin").text, "one");
    EXPECT_EQ(probe("token", "Another", "admin").text, "two");
    remove("admin");
    EXPECT_EQ(probe("token", "Another", "admin").text, "two");
    EXPECT_EQ(token("guest").text, "three");
}

TEST_F(UnlockedKeychainTest, AnAccountWhoseNameIsNoTextIsRefused) {
    const Answer refused{1, "The name of the token's service or account is not UTF-8 text; choose another."};
    EXPECT_EQ(save("admin\xff", "secret"), refused);
    EXPECT_EQ(token("admin\xff"), refused);
    EXPECT_EQ(remove("admin\xff"), refused);
    EXPECT_EQ(probe("save", "Quernlight\xff", "admin", "secret"), refused);
}

TEST_F(UnlockedKeychainTest, BytesThatAreNoTextAreReadAsNothing) {
    save("admin", "\xff\xfe");
    EXPECT_EQ(token("admin"), nothing);
}

TEST_F(UnlockedKeychainTest, ALockedKeyringIsAnErrorThatSaysSoAndAsksNobody) {
    save("admin", "secret");
    keyring.stopService();
    keyring.startService();
    ASSERT_TRUE(test::eventually([&] {
        return save("admin", "other").text.find("locked") != std::string::npos;
    })) << save("admin", "other").text;
    const Answer locked{1, "The keyring is locked; unlock it and try again."};
    EXPECT_EQ(token("admin"), locked);
    EXPECT_EQ(save("admin", "other"), locked);
    EXPECT_EQ(remove("admin"), locked);
}

/// Apart from the others, since the thread sanitizer can watch it: GLib's threads, of which it knows nothing,
/// do not run here, and the timer's does.
class NoSessionBusTest : public KeychainStoreTest {};

TEST_F(NoSessionBusTest, EveryOperationSaysSo) {
    const Answer noBus{1,
                       "There is no session bus, so no secret service can be asked; log in to a session that "
                       "has one, or keep the token in a file."};
    EXPECT_EQ(token("admin"), noBus);
    EXPECT_EQ(save("admin", "secret"), noBus);
    EXPECT_EQ(remove("admin"), noBus);
    EXPECT_FALSE(std::filesystem::exists(directory / "data"));
}

TEST_F(KeychainStoreTest, ABusWithoutASecretServiceIsAnErrorInItsOwnWords) {
    keyring.startBus();
    const Answer answer = save("admin", "secret");
    EXPECT_EQ(answer, (Answer{1, "The name org.freedesktop.secrets was not provided by any .service files"}));
}

TEST_F(KeychainStoreTest, ASecretServiceWithoutADefaultKeyringSavesNothing) {
    keyring.startBus();
    keyring.startService();
    ASSERT_TRUE(test::eventually([&] { return token("admin") == nothing; })) << token("admin").text;
    EXPECT_EQ(save("admin", "secret"),
              (Answer{1, "The secret service has no default keyring; make one and try again."}));
    EXPECT_EQ(remove("admin"), done);
}

TEST_F(KeychainStoreTest, ABusThatIsNotThereIsAnError) {
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + (directory / "none").string());
    EXPECT_EQ(token("admin"), (Answer{1, "Could not connect: No such file or directory"}));
}

TEST_F(KeychainStoreTest, ABusThatNeverAnswersIsGivenUpAfterTwentySeconds) {
    const FileDescriptor silentBus = startSilentBus();
    EXPECT_EQ(token("admin"), (Answer{1, "The secret service did not answer within 20 seconds."}));
}

TEST(KeychainErrorTest, ItsTextIsTheSystemsOrNamesTheStatus) {
    EXPECT_STREQ(KeychainError(-25293, "The password is wrong.").what(), "The password is wrong.");
    EXPECT_STREQ(KeychainError(-25293, std::nullopt).what(), "Keychain error -25293");
    EXPECT_EQ(KeychainError(-25293, std::nullopt).code(), -25293);
}

}  // namespace
}  // namespace quernlight

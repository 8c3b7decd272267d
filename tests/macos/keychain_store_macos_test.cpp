#include <gtest/gtest.h>

#include "quernlight/backend/keychain_store.hpp"
#include "tests/macos/fake_keychain.hpp"
#include "tests/macos/framework_objects.hpp"

namespace quernlight {
namespace {

using test::FakeKeychain;

/// The store of macOS over a keychain in memory.
class MacKeychainStoreTest : public testing::Test {
  protected:
    MacKeychainStoreTest() { keychain = FakeKeychain(); }

    ~MacKeychainStoreTest() override {
        keychain = FakeKeychain();
        EXPECT_EQ(test::liveFrameworkObjects(), objectsBefore) << "a framework object was not released";
    }

    static FakeKeychain::Attributes item(const std::string& account, const std::string& token) {
        auto attributes = query(account);
        attributes["data"] = token;
        attributes["accessible"] = "after first unlock";
        return attributes;
    }

    static FakeKeychain::Attributes query(const std::string& account) {
        return {{"class", "generic password"}, {"service", "quernlight"}, {"account", account}};
    }

    void failWith(const std::string& operation, OSStatus status) { keychain.failures[operation] = status; }

    template <class Operation>
    static std::pair<std::int32_t, std::string> errorOf(Operation operation) {
        try {
            operation();
        } catch (const KeychainError& error) {
            return {error.code(), error.what()};
        }
        return {0, "no error"};
    }

    FakeKeychain& keychain = FakeKeychain::shared();
    const long objectsBefore = test::liveFrameworkObjects();
    const KeychainStore store{"quernlight"};
};

TEST_F(MacKeychainStoreTest, AnAccountThatWasNeverSavedReadsAsNothing) {
    EXPECT_EQ(store.token("admin"), std::nullopt);
}

TEST_F(MacKeychainStoreTest, ReadingAsksForTheDataOfOneItem) {
    EXPECT_EQ(store.token("admin"), std::nullopt);
    auto asked = query("admin");
    asked["return-data"] = "true";
    asked["match-limit"] = "one";
    EXPECT_EQ(keychain.calls, (std::vector<FakeKeychain::Call>{{.operation = "copy", .query = asked}}));
}

TEST_F(MacKeychainStoreTest, AFirstSaveAddsAnItemReadableAfterTheFirstUnlock) {
    store.saveToken("secret", "admin");
    EXPECT_EQ(keychain.items, (std::vector{item("admin", "secret")}));
    EXPECT_EQ(store.token("admin"), "secret");
}

TEST_F(MacKeychainStoreTest, SavingTwiceLeavesOneItemWithTheSecondToken) {
    store.saveToken("first", "admin");
    store.saveToken("second", "admin");
    EXPECT_EQ(keychain.items, (std::vector{item("admin", "second")}));
}

TEST_F(MacKeychainStoreTest, ALaterSaveChangesOnlyTheData) {
    store.saveToken("first", "admin");
    keychain.calls.clear();
    store.saveToken("second", "admin");
    EXPECT_EQ(keychain.calls,
              (std::vector<FakeKeychain::Call>{
                  {.operation = "update", .query = query("admin"), .change = {{"data", "second"}}}}));
}

TEST_F(MacKeychainStoreTest, AccountsAndServicesAreKeptApart) {
    store.saveToken("one", "admin");
    store.saveToken("two", "other");
    KeychainStore("elsewhere").saveToken("three", "admin");
    EXPECT_EQ(store.token("admin"), "one");
    EXPECT_EQ(store.token("other"), "two");
    EXPECT_EQ(KeychainStore("elsewhere").token("admin"), "three");
}

TEST_F(MacKeychainStoreTest, AnEmptyTokenIsReadBackAsEmptyText) {
    store.saveToken("", "admin");
    EXPECT_EQ(store.token("admin"), "");
}

TEST_F(MacKeychainStoreTest, DataThatIsNotUtf8ReadsAsNothing) {
    keychain.items = {item("admin", "\xff\xfe")};
    EXPECT_EQ(store.token("admin"), std::nullopt);
}

TEST_F(MacKeychainStoreTest, AMatchThatIsNoDataReadsAsNothing) {
    store.saveToken("secret", "admin");
    keychain.answersWithoutData = true;
    EXPECT_EQ(store.token("admin"), std::nullopt);
}

TEST_F(MacKeychainStoreTest, DeletingRemovesTheItem) {
    store.saveToken("secret", "admin");
    store.deleteToken("admin");
    EXPECT_TRUE(keychain.items.empty());
}

TEST_F(MacKeychainStoreTest, DeletingWhatIsNotThereSucceeds) {
    store.deleteToken("admin");
    EXPECT_EQ(keychain.calls,
              (std::vector<FakeKeychain::Call>{{.operation = "delete", .query = query("admin")}}));
}

TEST_F(MacKeychainStoreTest, AnAccountWhoseNameIsNoTextIsRefused) {
    const std::pair refused{
        -50, std::string("The name of the token's service or account is not UTF-8 text; choose another.")};
    for (const std::string& account : {std::string("admin\xff"), std::string("admin\0x", 7)}) {
        EXPECT_EQ(errorOf([&] { store.saveToken("secret", account); }), refused);
        EXPECT_EQ(errorOf([&] { store.token(account); }), refused);
        EXPECT_EQ(errorOf([&] { store.deleteToken(account); }), refused);
    }
    EXPECT_TRUE(keychain.items.empty());
}

TEST_F(MacKeychainStoreTest, AFailureCarriesTheStatusAndTheSystemsMessage) {
    failWith("copy", -25308);
    keychain.messages[-25308] = "User interaction is not allowed.";
    EXPECT_EQ(errorOf([&] { store.token("admin"); }),
              (std::pair{-25308, std::string("User interaction is not allowed.")}));
}

TEST_F(MacKeychainStoreTest, AFailureWithoutAMessageNamesItsStatus) {
    for (const char* operation : {"update", "add", "delete"}) {
        keychain.failures = {{operation, -61}};
        const auto error = errorOf([&] {
            store.saveToken("secret", "admin");
            store.deleteToken("admin");
        });
        EXPECT_EQ(error, (std::pair{-61, std::string("Keychain error -61")})) << operation;
    }
}

TEST_F(MacKeychainStoreTest, AnUpdateThatFailsAddsNothing) {
    failWith("update", -61);
    errorOf([&] { store.saveToken("secret", "admin"); });
    EXPECT_TRUE(keychain.items.empty());
}

}  // namespace
}  // namespace quernlight

#include "tests/macos/fake_keychain.hpp"

#include <algorithm>

#include <Security/Security.h>

#include "tests/macos/framework_objects.hpp"

using quernlight::test::FakeKeychain;

namespace {

FakeKeychain::Attributes attributesOf(CFDictionaryRef dictionary) {
    FakeKeychain::Attributes attributes;
    for (const auto& [key, value] : dictionary->entries) {
        attributes[key->text] = value->text;
    }
    return attributes;
}

/// Whether the item carries everything that the query asks for; how to return a match is no attribute.
bool matches(const FakeKeychain::Attributes& item, const FakeKeychain::Attributes& query) {
    return std::all_of(query.begin(), query.end(), [&](const auto& asked) {
        if (asked.first.starts_with("return-") || asked.first.starts_with("match-")) {
            return true;
        }
        const auto found = item.find(asked.first);
        return found != item.end() && found->second == asked.second;
    });
}

/// Records the call; the status that the test wants it to fail with, or success.
OSStatus begin(FakeKeychain::Call call) {
    auto& keychain = FakeKeychain::shared();
    const auto failure = keychain.failures.find(call.operation);
    keychain.calls.push_back(std::move(call));
    return failure == keychain.failures.end() ? OSStatus{errSecSuccess} : failure->second;
}

}  // namespace

FakeKeychain& FakeKeychain::shared() {
    static FakeKeychain keychain;
    return keychain;
}

extern "C" {

const __CFString classKey{"class"};
const __CFString genericPassword{"generic password"};
const __CFString serviceKey{"service"};
const __CFString accountKey{"account"};
const __CFString accessibleKey{"accessible"};
const __CFString afterFirstUnlock{"after first unlock"};
const __CFString dataKey{"data"};
const __CFString returnDataKey{"return-data"};
const __CFString matchLimitKey{"match-limit"};
const __CFString matchLimitOne{"one"};

const CFStringRef kSecClass = &classKey;
const CFStringRef kSecClassGenericPassword = &genericPassword;
const CFStringRef kSecAttrService = &serviceKey;
const CFStringRef kSecAttrAccount = &accountKey;
const CFStringRef kSecAttrAccessible = &accessibleKey;
const CFStringRef kSecAttrAccessibleAfterFirstUnlock = &afterFirstUnlock;
const CFStringRef kSecValueData = &dataKey;
const CFStringRef kSecReturnData = &returnDataKey;
const CFStringRef kSecMatchLimit = &matchLimitKey;
const CFStringRef kSecMatchLimitOne = &matchLimitOne;

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
    const auto& keychain = FakeKeychain::shared();
    const auto wanted = attributesOf(query);
    if (const OSStatus status = begin({.operation = "copy", .query = wanted})) {
        return status;
    }
    for (const auto& item : keychain.items) {
        if (matches(item, wanted)) {
            const auto& data = item.at("data");
            if (keychain.answersWithoutData) {
                *result = new __CFString{data};
            } else {
                *result = new __CFData{data};
            }
            return errSecSuccess;
        }
    }
    return errSecItemNotFound;
}

OSStatus SecItemUpdate(CFDictionaryRef query, CFDictionaryRef attributesToUpdate) {
    const auto wanted = attributesOf(query);
    const auto change = attributesOf(attributesToUpdate);
    if (const OSStatus status = begin({.operation = "update", .query = wanted, .change = change})) {
        return status;
    }
    OSStatus status = errSecItemNotFound;
    for (auto& item : FakeKeychain::shared().items) {
        if (matches(item, wanted)) {
            std::for_each(change.begin(), change.end(),
                          [&](const auto& entry) { item[entry.first] = entry.second; });
            status = errSecSuccess;
        }
    }
    return status;
}

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef*) {
    const auto item = attributesOf(attributes);
    if (const OSStatus status = begin({.operation = "add", .query = item})) {
        return status;
    }
    FakeKeychain::shared().items.push_back(item);
    return errSecSuccess;
}

OSStatus SecItemDelete(CFDictionaryRef query) {
    const auto wanted = attributesOf(query);
    if (const OSStatus status = begin({.operation = "delete", .query = wanted})) {
        return status;
    }
    const auto removed =
        std::erase_if(FakeKeychain::shared().items, [&](const auto& item) { return matches(item, wanted); });
    return removed == 0 ? OSStatus{errSecItemNotFound} : OSStatus{errSecSuccess};
}

CFStringRef SecCopyErrorMessageString(OSStatus status, void*) {
    const auto& messages = FakeKeychain::shared().messages;
    const auto message = messages.find(status);
    return message == messages.end() ? nullptr : new __CFString{message->second};
}

}  // extern "C"

#include "quernlight/backend/keychain_store.hpp"

#include <memory>
#include <string_view>
#include <type_traits>

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

struct Release {
    void operator()(const void* object) const { CFRelease(object); }
};
template <class Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, Release>;

Owned<CFStringRef> cfString(const std::string& text) {
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

Owned<CFDataRef> cfData(const std::string& bytes) {
    return Owned<CFDataRef>(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                         static_cast<CFIndex>(bytes.size())));
}

Owned<CFMutableDictionaryRef> dictionary() {
    return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

/// What finds the item of this service and account.
Owned<CFMutableDictionaryRef> baseQuery(const std::string& service, const std::string& account) {
    if (const auto refusal = keychainNameRefusal(service, account)) {
        throw KeychainError(errSecParam, refusal);
    }
    auto query = dictionary();
    CFDictionarySetValue(query.get(), kSecClass, kSecClassGenericPassword);
    CFDictionarySetValue(query.get(), kSecAttrService, cfString(service).get());
    CFDictionarySetValue(query.get(), kSecAttrAccount, cfString(account).get());
    return query;
}

std::optional<std::string> textOf(CFStringRef string) {
    const CFIndex capacity =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::string text(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(string, text.data(), capacity, kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    text.resize(text.find('\0'));
    return text;
}

[[noreturn]] void fail(OSStatus status) {
    const Owned<CFStringRef> message(SecCopyErrorMessageString(status, nullptr));
    throw KeychainError(status, message ? textOf(message.get()) : std::nullopt);
}

void requireSuccess(OSStatus status) {
    if (status != errSecSuccess) {
        fail(status);
    }
}

}  // namespace

std::optional<std::string> KeychainStore::token(const std::string& account) const {
    const auto query = baseQuery(service, account);
    CFDictionarySetValue(query.get(), kSecReturnData, kCFBooleanTrue);
    CFDictionarySetValue(query.get(), kSecMatchLimit, kSecMatchLimitOne);
    CFTypeRef found = nullptr;
    const OSStatus status = SecItemCopyMatching(query.get(), &found);
    const Owned<CFTypeRef> result(found);
    if (status == errSecItemNotFound) {
        return std::nullopt;
    }
    requireSuccess(status);
    if (!result || CFGetTypeID(result.get()) != CFDataGetTypeID()) {
        return std::nullopt;
    }
    const auto data = static_cast<CFDataRef>(result.get());
    std::string text(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                     static_cast<std::size_t>(CFDataGetLength(data)));
    return isValidUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
}

/// Update first and add only what is not there, so that there is never a second item.
void KeychainStore::saveToken(const std::string& token, const std::string& account) const {
    const auto data = cfData(token);
    const auto change = dictionary();
    CFDictionarySetValue(change.get(), kSecValueData, data.get());
    const auto query = baseQuery(service, account);
    const OSStatus updated = SecItemUpdate(query.get(), change.get());
    if (updated != errSecItemNotFound) {
        return requireSuccess(updated);
    }
    CFDictionarySetValue(query.get(), kSecValueData, data.get());
    CFDictionarySetValue(query.get(), kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock);
    requireSuccess(SecItemAdd(query.get(), nullptr));
}

void KeychainStore::deleteToken(const std::string& account) const {
    const OSStatus status = SecItemDelete(baseQuery(service, account).get());
    if (status != errSecItemNotFound) {
        requireSuccess(status);
    }
}

}  // namespace quernlight

#include "quernlight/backend/attachment.hpp"

#include <memory>
#include <string>
#include <type_traits>

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

// The C interface to uniform types is marked deprecated in favour of one that only Objective-C can call.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace quernlight {
namespace {

struct Release {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

using Text = std::unique_ptr<std::remove_pointer_t<CFStringRef>, Release>;

Text makeText(const std::string& text) {
    return Text(CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

std::string utf8(CFStringRef text) {
    const CFIndex capacity =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::string bytes(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(text, bytes.data(), capacity, kCFStringEncodingUTF8)) {
        return {};
    }
    bytes.resize(bytes.find('\0'));
    return bytes;
}

std::string preferredMimeType(const std::string& extension) {
    const Text tag = makeText(extension);
    const Text type(
        tag ? UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, tag.get(), nullptr)
            : nullptr);
    const Text mimeType(type ? UTTypeCopyPreferredTagWithClass(type.get(), kUTTagClassMIMEType) : nullptr);
    return mimeType ? utf8(mimeType.get()) : std::string();
}

void closeScope(CFURLRef url) {
    CFURLStopAccessingSecurityScopedResource(url);
    CFRelease(url);
}

}  // namespace

std::string mimeTypeForExtension(const std::string& extension) {
    const std::string known = extension.empty() ? std::string() : preferredMimeType(extension);
    return known.empty() ? "application/octet-stream" : known;
}

std::shared_ptr<const void> openSecurityScope(const std::filesystem::path& file) {
    const std::string& path = file.native();
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                                 static_cast<CFIndex>(path.size()), false);
    if (url == nullptr) {
        return nullptr;
    }
    if (!CFURLStartAccessingSecurityScopedResource(url)) {
        CFRelease(url);
        return nullptr;
    }
    return std::shared_ptr<const void>(url, [url](const void*) { closeScope(url); });
}

}  // namespace quernlight

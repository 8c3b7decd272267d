#include <memory>
#include <type_traits>

#include <CoreServices/CoreServices.h>

#include "quernlight/backend/mime_type.hpp"

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

}  // namespace

std::string mimeTypeForExtension(const std::string& extension) {
    const std::string known = extension.empty() ? std::string() : preferredMimeType(extension);
    return known.empty() ? "application/octet-stream" : known;
}

}  // namespace quernlight

#include <string>

#include <CoreFoundation/CoreFoundation.h>

#include "quernlight/backend/security_scope.hpp"

namespace quernlight {
namespace {

void closeScope(CFURLRef url) {
    CFURLStopAccessingSecurityScopedResource(url);
    CFRelease(url);
}

}  // namespace

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

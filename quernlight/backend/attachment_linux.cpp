#include "quernlight/backend/attachment.hpp"

#include <memory>

#include <gio/gio.h>

#include "quernlight/platform/shared_library.hpp"

namespace quernlight {
namespace {

/// What is used of GLib, loaded when the type of a file is first asked for.
struct ContentTypes {
    decltype(&g_content_type_guess) guess = nullptr;
    decltype(&g_content_type_get_mime_type) mimeType = nullptr;
    decltype(&g_free) free = nullptr;
};

ContentTypes loadContentTypes() {
    const SharedLibrary library("libgio-2.0.so.0");
    ContentTypes types;
    library.find(types.guess, "g_content_type_guess");
    library.find(types.mimeType, "g_content_type_get_mime_type");
    library.find(types.free, "g_free");
    return types;
}

const ContentTypes& contentTypes() {
    static const ContentTypes types = loadContentTypes();
    return types;
}

struct Free {
    void operator()(char* text) const { contentTypes().free(text); }
};

using GText = std::unique_ptr<char, Free>;

}  // namespace

std::string mimeTypeForExtension(const std::string& extension) {
    const std::string unknown = "application/octet-stream";
    if (extension.empty()) {
        return unknown;
    }
    // The name before the dot is made up, so that no rule for a whole file name ("Makefile") can match.
    const std::string name = "attachment." + extension;
    const GText contentType(contentTypes().guess(name.c_str(), nullptr, 0, nullptr));
    const GText mimeType(contentType ? contentTypes().mimeType(contentType.get()) : nullptr);
    return mimeType ? std::string(mimeType.get()) : unknown;
}

std::shared_ptr<const void> openSecurityScope(const std::filesystem::path&) {
    return nullptr;
}

}  // namespace quernlight

#include "quernlight/backend/attachment.hpp"

#include <memory>

#include <gio/gio.h>

namespace quernlight {
namespace {

struct Free {
    void operator()(char* text) const { g_free(text); }
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
    const GText contentType(g_content_type_guess(name.c_str(), nullptr, 0, nullptr));
    const GText mimeType(contentType ? g_content_type_get_mime_type(contentType.get()) : nullptr);
    return mimeType ? std::string(mimeType.get()) : unknown;
}

std::shared_ptr<const void> openSecurityScope(const std::filesystem::path&) {
    return nullptr;
}

}  // namespace quernlight

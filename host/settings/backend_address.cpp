#include "host/settings/backend_address.hpp"

#include <charconv>
#include <system_error>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

/// Of digits, or absent.
bool isPort(std::string_view text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return text.empty() ||
           (error == std::errc() && end == text.data() + text.size() && port > 0 && port < 65536);
}

}  // namespace

bool holdsCredentials(std::string_view address) {
    const std::size_t scheme = address.find("://");
    const std::string_view rest = scheme == std::string_view::npos ? address : address.substr(scheme + 3);
    return rest.substr(0, rest.find_first_of("/?#")).find('@') != std::string_view::npos;
}

std::optional<Url> usableAddress(std::string_view text) {
    auto url = Url::parse(text);
    const bool isUsable = url && (url->scheme() == "http" || url->scheme() == "https") &&
                          !url->host().empty() && isPort(url->port()) &&
                          url->withoutQueryAndFragment() == url;
    return isUsable ? std::move(url) : std::nullopt;
}

Url parseBackendAddress(const std::string& text) {
    if (holdsCredentials(text)) {
        throw UserError(credentialsRefusal);
    }
    auto url = usableAddress(text);
    if (!url) {
        throw UserError("The backend \"" + text +
                        "\" is not a valid URL; give one like https://bugs.example.");
    }
    return *std::move(url);
}

Url backendAddress(const std::optional<Url>& given, const Settings& settings) {
    if (given) {
        return *given;
    }
    if (settings.backendURL.empty()) {
        throw UserError(
            "There is no backend yet; name one with --backend URL, or for good with: "
            "quernlight-dispatch config set backend.url URL");
    }
    return parseBackendAddress(settings.backendURL);
}

}  // namespace quernlight::host

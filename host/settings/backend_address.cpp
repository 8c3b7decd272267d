#include "host/settings/backend_address.hpp"

#include "host/process/user_error.hpp"

namespace quernlight::host {

bool holdsCredentials(std::string_view address) {
    const std::size_t scheme = address.find("://");
    const std::string_view rest = scheme == std::string_view::npos ? address : address.substr(scheme + 3);
    return rest.substr(0, rest.find_first_of("/?#")).find('@') != std::string_view::npos;
}

Url parseBackendAddress(const std::string& text) {
    if (holdsCredentials(text)) {
        throw UserError(credentialsRefusal);
    }
    const auto url = Url::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https") || url->host().empty()) {
        throw UserError("The backend \"" + text +
                        "\" is not a valid URL; give one like https://bugs.example.");
    }
    return *url;
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

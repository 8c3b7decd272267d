#include "host/backend_address.hpp"

#include "host/user_error.hpp"

namespace quernlight::host {

Url parseBackendAddress(const std::string& text) {
    const auto url = Url::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https") || url->host().empty()) {
        throw UserError("The backend \"" + text + "\" is no address; give one like https://bugs.example.");
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

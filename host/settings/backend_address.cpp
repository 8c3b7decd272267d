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

/// Why it is no address of a server; nullptr when it may be one.
const char* serverTroubleOf(const std::optional<Url>& url) {
    if (!url || (url->scheme() != "http" && url->scheme() != "https") || url->host().empty()) {
        return "is not a valid URL";
    }
    return isPort(url->port()) ? nullptr : "has a port that does not exist";
}

/// The same for a backend.
const char* troubleOf(const std::optional<Url>& url) {
    if (const char* trouble = serverTroubleOf(url)) {
        return trouble;
    }
    return url->withoutQueryAndFragment() == *url ? nullptr : "holds a query or a fragment";
}

}  // namespace

bool holdsCredentials(std::string_view address) {
    const std::size_t scheme = address.find("://");
    const std::string_view rest = scheme == std::string_view::npos ? address : address.substr(scheme + 3);
    return rest.substr(0, rest.find_first_of("/?#")).find('@') != std::string_view::npos;
}

Url parseBackendAddress(const std::string& text) {
    if (holdsCredentials(text)) {
        throw UserError(credentialsRefusal);
    }
    auto url = Url::parse(text);
    if (const char* trouble = troubleOf(url)) {
        throw UserError("The backend \"" + text + "\" " + trouble + "; give one like https://bugs.example.");
    }
    return *std::move(url);
}

Url parseWebhookAddress(const std::string& text) {
    if (holdsCredentials(text)) {
        throw UserError(
            "notify.webhook must not hold a user name or password, since settings are shown; give it without.");
    }
    auto url = Url::parse(text);
    if (const char* trouble = serverTroubleOf(url)) {
        throw UserError("The webhook \"" + text + "\" " + trouble +
                        "; give one like https://hooks.example/bugs.");
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

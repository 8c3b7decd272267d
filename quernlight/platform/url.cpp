#include "quernlight/platform/url.hpp"

#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/pchars.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>
#include <boost/url/url.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace urls = boost::urls;
namespace {

std::string percentEncoded(const std::string& text) {
    return urls::encode(text, urls::unreserved_chars);
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
    const auto parsed = urls::parse_uri(urls::string_view(text.data(), text.size()));
    if (!parsed) {
        return std::nullopt;
    }
    // The library takes "https://host:word/" for a host without a port and a path that begins with "word";
    // behind a host a path begins with a slash (RFC 3986, section 3.3).
    const auto path = parsed->encoded_path();
    const bool isBrokenPort = parsed->has_authority() && !path.empty() && path.front() != '/';
    return isBrokenPort ? std::nullopt : std::optional(Url(std::string(text)));
}

std::string Url::scheme() const {
    std::string scheme(urls::url_view(text_).scheme());
    for (char& character : scheme) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return scheme;
}

std::string Url::host() const {
    return urls::url_view(text_).host_address();
}

std::string Url::port() const {
    return std::string(urls::url_view(text_).port());
}

// Not by Boost.URL's view of segments, which has none for the "." of a "/./" at the start.
std::vector<std::string> Url::pathSegments() const {
    std::vector<std::string> segments;
    for (const std::string_view piece : piecesBetweenSlashes(urls::url_view(text_).encoded_path())) {
        segments.push_back(urls::pct_string_view(piece).decode());
    }
    return segments;
}

// As text, since Boost.URL's ways to edit a path add or take a "." where it begins with "/./".
Url Url::appendingPath(const std::vector<std::string>& segments) const {
    std::string place = withoutQueryAndFragment().text();
    const std::string queryAndFragment = text_.substr(place.size());
    const std::string_view path = urls::url_view(text_).encoded_path();
    const std::size_t slashesAtItsEnd = path.size() - (path.find_last_not_of('/') + 1);
    place.erase(place.size() - slashesAtItsEnd);
    for (const std::string& segment : segments) {
        place += "/" + urls::encode(segment, urls::pchars);
    }
    return Url(place + queryAndFragment);
}

Url Url::withoutQueryAndFragment() const {
    urls::url url(text_);
    url.remove_query();
    url.remove_fragment();
    return Url(std::string(url.buffer()));
}

Url Url::withQuery(const std::vector<std::pair<std::string, std::string>>& items) const {
    urls::url url(text_);
    url.remove_query();
    for (const auto& [name, value] : items) {
        url.encoded_params().append({percentEncoded(name), percentEncoded(value)});
    }
    return Url(std::string(url.buffer()));
}

}  // namespace quernlight

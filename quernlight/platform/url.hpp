#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quernlight {

/// An absolute URL (RFC 3986, with a scheme) that keeps its text to the letter as it was received. A value to
/// copy and compare (by its text), usable from any thread.
class Url {
  public:
    /// An empty URL, so that records can be built field by field; `parse` never returns one.
    Url() = default;

    /// Nothing when the text is not an absolute URL.
    static std::optional<Url> parse(std::string_view text);

    /// The URL's text as it was given.
    const std::string& text() const { return text_; }

    /// Scheme in lower case, host as written (without brackets for IPv6), port as written or empty.
    std::string scheme() const;
    std::string host() const;
    std::string port() const;

    /// The path's decoded segments, empty ones left out.
    std::vector<std::string> pathSegments() const;

    /// This URL with segments added behind its path, each percent-encoded where it must be, so that a "/" or
    /// a blank in a segment stays inside it. All else stays as it is, a query and a fragment too.
    Url appendingPath(const std::vector<std::string>& segments) const;

    /// What names the place alone: all that stands before the query.
    Url withoutQueryAndFragment() const;

    /// This URL with query items (name, value) in the given order; any query before is replaced. All but
    /// letters, digits and "-._~" is percent-encoded, the "+" too, which many servers read as a blank.
    Url withQuery(const std::vector<std::pair<std::string, std::string>>& items) const;

    bool operator==(const Url&) const = default;

  private:
    explicit Url(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

}  // namespace quernlight

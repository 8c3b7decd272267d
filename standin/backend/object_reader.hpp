#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <boost/json.hpp>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::standin {

/// What came from outside is not what it should be; the message is one sentence that says what is wrong.
class InvalidInput : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads one JSON object member by member. `name` is what the object is called in messages ("The body",
/// "bugs[2]"). Every operation throws InvalidInput for a member of the wrong kind; an optional member may
/// also be null. Borrows the value.
class ObjectReader {
  public:
    ObjectReader(const boost::json::value& value, std::string name);

    /// Whether the member is there, null included.
    bool has(std::string_view key) const;
    /// A text that must be there and must not be empty.
    std::string text(std::string_view key) const;
    std::optional<std::string> optionalText(std::string_view key) const;
    std::optional<Url> optionalUrl(std::string_view key) const;
    std::optional<Instant> optionalInstant(std::string_view key) const;
    std::optional<Uuid> optionalUuid(std::string_view key) const;
    /// A whole number within the bounds, both included.
    std::optional<std::int64_t> optionalInteger(std::string_view key, std::int64_t least,
                                                std::int64_t most) const;
    std::optional<boost::json::object> optionalObject(std::string_view key) const;
    /// False when it is absent.
    bool flag(std::string_view key) const;
    /// Empty when it is absent.
    const boost::json::array& array(std::string_view key) const;

    /// A member that nobody reads is most likely a misspelt one.
    void refuseOthersThan(std::initializer_list<std::string_view> keys) const;

  private:
    /// Null when the member is absent or null.
    const boost::json::value* member(std::string_view key) const;
    [[noreturn]] void refuse(std::string_view key, std::string_view demand) const;

    const boost::json::object* object_;
    std::string name_;
};

}  // namespace quernlight::standin

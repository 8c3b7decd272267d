#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

/// JSON that is not of the form that was agreed; the sentence names the member.
class Misread : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The members of a JSON object, read by name and kind. One that is missing counts as null. Every operation
/// throws Misread for a member of another kind, and those without "optional" for null. The object outlives
/// this.
class JsonFields {
  public:
    /// Throws Misread for what is no object.
    explicit JsonFields(const boost::json::value& value);

    std::string text(std::string_view name) const;
    std::optional<std::string> optionalText(std::string_view name) const;
    std::int64_t integer(std::string_view name) const;
    std::optional<std::int64_t> optionalInteger(std::string_view name) const;
    bool flag(std::string_view name) const;
    bool flag(std::string_view name, bool otherwise) const;
    Instant instant(std::string_view name) const;
    std::optional<Instant> optionalInstant(std::string_view name) const;
    Uuid uuid(std::string_view name) const;
    std::optional<Uuid> optionalUuid(std::string_view name) const;
    std::optional<Url> optionalUrl(std::string_view name) const;
    const boost::json::array& list(std::string_view name) const;
    std::vector<std::string> texts(std::string_view name) const;

    /// Throws Misread for what is missing.
    void require(std::string_view name) const;

    /// Null for what is missing.
    const boost::json::value& value(std::string_view name) const;

    /// What `parse` makes of the member's text; it returns nothing for a text that it does not know.
    template <class Parse>
    auto parsed(std::string_view name, Parse parse) const {
        const auto known = parse(text(name));
        if (!known) {
            throw misread(name);
        }
        return *known;
    }

  private:
    static Misread misread(std::string_view name);
    template <class Parse>
    auto parsedIfAny(std::string_view name, Parse parse) const;

    const boost::json::object& object_;
};

/// The text for others, whose bytes need not be valid UTF-8.
boost::json::value jsonText(std::string_view text);

// Null for nothing.
boost::json::value jsonIfAny(const std::optional<std::string>& text);
boost::json::value jsonIfAny(const std::optional<Uuid>& uuid);
boost::json::value jsonIfAny(const std::optional<Instant>& instant);
boost::json::value jsonIfAny(const std::optional<Url>& url);
boost::json::value jsonIfAny(const std::optional<std::int32_t>& number);

/// An array of what `shown` makes of each element.
template <class Values, class Shown>
boost::json::array jsonArray(const Values& values, Shown shown) {
    boost::json::array array;
    array.reserve(values.size());
    for (const auto& value : values) {
        array.push_back(shown(value));
    }
    return array;
}

/// What `read` makes of each element of an array.
template <class Read>
auto readEach(const boost::json::array& array, Read read) {
    std::vector<decltype(read(array.front()))> values;
    values.reserve(array.size());
    for (const boost::json::value& value : array) {
        values.push_back(read(value));
    }
    return values;
}

}  // namespace quernlight::host

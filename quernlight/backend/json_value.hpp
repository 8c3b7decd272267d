#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quernlight {

/// Any JSON value, for metadata whose shape the backend leaves free. A value to copy and compare, usable from
/// any thread.
class JSONValue {
  public:
    using Object = std::map<std::string, JSONValue>;
    using Array = std::vector<JSONValue>;

    enum class Kind { object, array, string, number, boolean, null };

    /// JSON null.
    JSONValue() : storage_(std::monostate()) {}

    static JSONValue object(Object members) { return JSONValue(Storage(std::move(members))); }
    static JSONValue array(Array elements) { return JSONValue(Storage(std::move(elements))); }
    static JSONValue string(std::string text) { return JSONValue(Storage(std::move(text))); }
    static JSONValue number(double number) { return JSONValue(Storage(number)); }
    static JSONValue boolean(bool truth) { return JSONValue(Storage(truth)); }
    static JSONValue null() { return {}; }

    Kind kind() const { return static_cast<Kind>(storage_.index()); }
    bool isNull() const { return kind() == Kind::null; }

    // Each gives nothing when the value is of another case. What is borrowed lives as long as this value.

    const Object* objectValue() const { return std::get_if<Object>(&storage_); }
    const Array* arrayValue() const { return std::get_if<Array>(&storage_); }
    const double* numberValue() const { return std::get_if<double>(&storage_); }
    std::optional<std::string_view> stringValue() const;
    std::optional<bool> boolValue() const;

    /// For numbers without a fractional part that 64 bits can hold.
    std::optional<std::int64_t> intValue() const;

    bool operator==(const JSONValue&) const = default;

  private:
    using Storage =
        std::variant<Object, Array, std::string, double, bool, std::monostate>;  // in the order of Kind

    explicit JSONValue(Storage storage) : storage_(std::move(storage)) {}

    Storage storage_;
};

}  // namespace quernlight

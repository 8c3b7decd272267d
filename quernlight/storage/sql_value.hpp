#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quernlight {

/// A value that is bound to a statement's parameter or was read from a column. Built by name
/// (`SQLValue::text("auto")`), so that a literal never picks a case by accident; a blob reads as null. Equal
/// when the case and the payload are.
class SQLValue {
  public:
    enum class Kind { text, integer, real, null };

    /// Null.
    SQLValue() = default;

    /// UTF-8. Only what stands before a first NUL is ever bound.
    static SQLValue text(std::string_view text) { return SQLValue(std::string(text)); }
    static SQLValue integer(std::int64_t integer) { return SQLValue(integer); }
    /// SQLite stores what is not a number as null.
    static SQLValue real(double real) { return SQLValue(real); }
    static SQLValue null() { return {}; }

    Kind kind() const { return static_cast<Kind>(payload_.index()); }
    bool isNull() const { return kind() == Kind::null; }

    /// The payload when the value is of that case, otherwise nothing.
    const std::string* asText() const { return std::get_if<std::string>(&payload_); }
    std::optional<std::int64_t> asInteger() const { return payloadOf<std::int64_t>(); }
    std::optional<double> asReal() const { return payloadOf<double>(); }

    bool operator==(const SQLValue&) const = default;

  private:
    using Payload = std::variant<std::string, std::int64_t, double, std::monostate>;

    explicit SQLValue(Payload payload) : payload_(std::move(payload)) {}

    template <class Type>
    std::optional<Type> payloadOf() const {
        const Type* payload = std::get_if<Type>(&payload_);
        return payload ? std::optional(*payload) : std::nullopt;
    }

    Payload payload_ = std::monostate{};
};

/// A value that lies elsewhere, in a SQLValue or in a row.
struct SQLValueView {
    SQLValue::Kind kind = SQLValue::Kind::null;
    std::string_view text{};   ///< of a text
    std::int64_t integer = 0;  ///< of an integer
};

/// Bound to the parameters 1, 2, 3, ... of a statement.
using SQLValues = std::vector<SQLValue>;

/// One row by column name (an alias given with AS is the name). Of two columns of one name the later counts.
using Row = std::map<std::string, SQLValue, std::less<>>;

}  // namespace quernlight

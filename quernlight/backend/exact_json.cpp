#include "quernlight/backend/exact_json.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <boost/json/array.hpp>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value_stack.hpp>

namespace quernlight {
namespace json = boost::json;
namespace {

/// The integer `digits` times ten to the `exponent`, exactly what a text says.
struct Decimal {
    bool negative = false;
    std::string digits{};  // without zeros at either end; none when the number is zero
    std::int64_t exponent = 0;

    std::string sign() const { return negative ? "-" : ""; }
};

/// Of "12", "+12" or "-12"; the parser has refused what does not fit.
std::int64_t exponentOf(std::string_view text) {
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    std::int64_t exponent = 0;
    std::from_chars(text.data(), text.data() + text.size(), exponent);
    return exponent;
}

void removeOuterZeros(Decimal& number) {
    std::string& digits = number.digits;
    digits.erase(0, digits.find_first_not_of('0'));
    const std::size_t size = digits.find_last_not_of('0') + 1;
    number.exponent += static_cast<std::int64_t>(digits.size() - size);
    digits.resize(size);
}

/// `text` is a number by JSON's grammar.
Decimal decimalOf(std::string_view text) {
    const std::size_t mark = std::min(text.find_first_of("eE"), text.size());
    Decimal number;
    number.exponent = mark < text.size() ? exponentOf(text.substr(mark + 1)) : 0;
    bool inFraction = false;
    for (const char character : text.substr(0, mark)) {
        if (character == '-') {
            number.negative = true;
        } else if (character == '.') {
            inFraction = true;
        } else {
            number.digits += character;
            number.exponent -= inFraction ? 1 : 0;
        }
    }
    removeOuterZeros(number);
    return number;
}

std::optional<std::int64_t> integerOf(const Decimal& number) {
    constexpr std::int64_t mostDigits = 19;
    if (number.digits.empty()) {
        return 0;
    }
    if (number.exponent < 0 || std::ssize(number.digits) + number.exponent > mostDigits) {
        return std::nullopt;
    }
    const std::string zeros(static_cast<std::size_t>(number.exponent), '0');
    const std::string text = number.sign() + number.digits + zeros;
    std::int64_t integer = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), integer);
    return error == std::errc() ? std::optional(integer) : std::nullopt;
}

/// `number` is not zero.
double nearestDouble(const Decimal& number) {
    // The middle between two doubles has 768 digits at most: what follows so many tells only that there is
    // more.
    constexpr std::size_t enoughDigits = 800;
    std::string digits = number.digits.substr(0, enoughDigits);
    const std::size_t left = number.digits.size() - digits.size();
    std::int64_t exponent = number.exponent + static_cast<std::int64_t>(left);
    if (left > 0) {
        digits += '1';
        --exponent;
    }
    // Beyond these bounds it is zero or infinite in any case. Without a point the text means the same in
    // every locale.
    exponent = std::clamp<std::int64_t>(exponent, -2000, 2000);
    return std::strtod((number.sign() + digits + "e" + std::to_string(exponent)).c_str(), nullptr);
}

/// Builds the value as `json::parse` does, but takes no double from the parser, only its text. That text is
/// whole, because the parser gets the whole document at once.
struct ExactHandler {
    using Error = json::error_code;
    using Text = json::string_view;

    static constexpr std::size_t max_object_size = json::object::max_size();
    static constexpr std::size_t max_array_size = json::array::max_size();
    static constexpr std::size_t max_key_size = json::string::max_size();
    static constexpr std::size_t max_string_size = json::string::max_size();

    json::storage_ptr memory{};
    json::value_stack stack{};

    explicit ExactHandler(json::storage_ptr memoryOfTheValue) : memory(std::move(memoryOfTheValue)) {}

    bool on_document_begin(Error&) {
        stack.reset(memory);
        return true;
    }
    bool on_document_end(Error&) { return true; }
    bool on_object_begin(Error&) { return true; }
    bool on_object_end(std::size_t count, Error&) {
        stack.push_object(count);
        return true;
    }
    bool on_array_begin(Error&) { return true; }
    bool on_array_end(std::size_t count, Error&) {
        stack.push_array(count);
        return true;
    }
    bool on_key_part(Text text, std::size_t, Error&) {
        stack.push_chars(text);
        return true;
    }
    bool on_key(Text text, std::size_t, Error&) {
        stack.push_key(text);
        return true;
    }
    bool on_string_part(Text text, std::size_t, Error&) {
        stack.push_chars(text);
        return true;
    }
    bool on_string(Text text, std::size_t, Error&) {
        stack.push_string(text);
        return true;
    }
    bool on_number_part(Text, Error&) { return true; }
    bool on_int64(std::int64_t number, Text, Error&) {
        stack.push_int64(number);
        return true;
    }
    bool on_uint64(std::uint64_t number, Text, Error&) {
        stack.push_double(static_cast<double>(number));
        return true;
    }
    bool on_double(double, Text text, Error&) {
        const Decimal number = decimalOf({text.data(), text.size()});
        if (const auto integer = integerOf(number)) {
            stack.push_int64(*integer);
        } else {
            stack.push_double(nearestDouble(number));
        }
        return true;
    }
    bool on_bool(bool truth, Error&) {
        stack.push_bool(truth);
        return true;
    }
    bool on_null(Error&) {
        stack.push_null();
        return true;
    }
    bool on_comment_part(Text, Error&) { return true; }
    bool on_comment(Text, Error&) { return true; }
};

}  // namespace

json::value parseExactly(std::string_view text, const json::parse_options& options, json::error_code& error,
                         json::storage_ptr memory) {
    json::basic_parser<ExactHandler> parser(options, std::move(memory));
    const std::size_t used = parser.write_some(false, text.data(), text.size(), error);
    if (!error && used < text.size()) {
        error = json::error::extra_data;
    }
    return error ? json::value() : parser.handler().stack.release();
}

}  // namespace quernlight

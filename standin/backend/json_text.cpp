#include "standin/backend/json_text.hpp"

#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

void appendPretty(std::string& text, const boost::json::value& value, const std::string& indent);

void appendPretty(std::string& text, const boost::json::object& object, const std::string& indent) {
    const char* separator = "{\n";
    for (const auto& member : object) {
        text += separator + indent + "  " + boost::json::serialize(member.key()) + ": ";
        appendPretty(text, member.value(), indent + "  ");
        separator = ",\n";
    }
    text += "\n" + indent + "}";
}

void appendPretty(std::string& text, const boost::json::array& array, const std::string& indent) {
    const char* separator = "[\n";
    for (const auto& element : array) {
        text += separator + indent + "  ";
        appendPretty(text, element, indent + "  ");
        separator = ",\n";
    }
    text += "\n" + indent + "]";
}

void appendPretty(std::string& text, const boost::json::value& value, const std::string& indent) {
    if (const auto* object = value.if_object(); object && !object->empty()) {
        appendPretty(text, *object, indent);
    } else if (const auto* array = value.if_array(); array && !array->empty()) {
        appendPretty(text, *array, indent);
    } else {
        text += boost::json::serialize(value);
    }
}

}  // namespace

boost::json::value parseJson(std::string_view text, std::string_view name) {
    boost::json::parse_options options;
    options.max_depth = 512;
    boost::json::error_code error;
    auto value = boost::json::parse(text, error, {}, options);
    if (error) {
        throw InvalidInput(std::string(name) + " is not valid JSON: " + error.message() + ".");
    }
    return value;
}

std::string prettyJson(const boost::json::value& value) {
    std::string text;
    appendPretty(text, value, "");
    return text + "\n";
}

std::string base64(std::string_view bytes) {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::string_view group = bytes.substr(start, 3);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            bits = bits << 8 | (index < group.size() ? static_cast<std::uint8_t>(group[index]) : 0U);
        }
        for (std::size_t index = 0; index < 4; ++index) {
            text += index <= group.size() ? alphabet[bits >> (18 - 6 * index) & 0x3F] : '=';
        }
    }
    return text;
}

std::string readTextFile(const std::filesystem::path& path, const std::string& name) {
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file || std::filesystem::is_directory(path)) {
        throw std::runtime_error(name + " " + path.string() + " cannot be read.");
    }
    return content;
}

}  // namespace quernlight::standin

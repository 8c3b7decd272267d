#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <boost/json.hpp>

namespace quernlight::standin {

/// The value of a JSON text, nested up to 512 deep. Throws InvalidInput as "NAME is not valid JSON: ...".
boost::json::value parseJson(std::string_view text, std::string_view name);

/// Two blanks of indentation, one member a line, members in their order, a line feed at the end.
std::string prettyJson(const boost::json::value& value);

/// Base64 with padding (RFC 4648).
std::string base64(std::string_view bytes);

/// A whole file. Throws std::runtime_error with one sentence.
std::string readTextFile(const std::filesystem::path& path, const std::string& name);

}  // namespace quernlight::standin

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quernlight::standin {

/// One part of a multipart/form-data body.
struct FormPart {
    std::string name;
    std::optional<std::string> filename;     ///< with its escapes undone
    std::optional<std::string> contentType;  ///< as it was sent
    std::string content;
};

/// The boundary of a multipart/form-data content type; nothing for any other content type.
std::optional<std::string> multipartBoundary(std::string_view contentType);

/// The parts of a body in their order. Read strictly (lines end in CR LF, the closing boundary must be there,
/// nothing may follow it), because a client that writes it loosely should be found out.
/// Throws InvalidInput.
std::vector<FormPart> parseMultipart(std::string_view body, std::string_view boundary);

}  // namespace quernlight::standin

#include "standin/backend/multipart.hpp"

#include <algorithm>
#include <utility>

#include <boost/algorithm/string/predicate.hpp>

#include "quernlight/platform/text.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

constexpr std::string_view lineEnd = "\r\n";

bool sameWord(std::string_view one, std::string_view other) {
    return boost::algorithm::iequals(one, other, std::locale::classic());
}

/// Takes what lies before `mark` and the mark itself off the front of `rest`.
std::string_view takeUntil(std::string_view& rest, std::string_view mark, const char* complaint) {
    const auto position = rest.find(mark);
    if (position == std::string_view::npos) {
        throw InvalidInput(complaint);
    }
    const auto taken = rest.substr(0, position);
    rest.remove_prefix(position + mark.size());
    return taken;
}

/// The value at the front of `rest`: a quoted string with its escapes undone, or all up to a semicolon.
std::string takeParameterValue(std::string_view& rest) {
    std::string value;
    const bool quoted = rest.starts_with('"');
    std::size_t index = quoted ? 1 : 0;
    for (; index < rest.size() && rest[index] != (quoted ? '"' : ';'); ++index) {
        if (quoted && rest[index] == '\\' && index + 1 < rest.size()) {
            ++index;
        }
        value += rest[index];
    }
    if (quoted && index == rest.size()) {
        throw InvalidInput("A quoted text of the multipart body has no end.");
    }
    rest.remove_prefix(quoted ? index + 1 : index);
    return value;
}

/// The parameter `name` of a header value such as: form-data; name="body"; filename="a.txt"
std::optional<std::string> parameterOf(std::string_view header, std::string_view name) {
    std::string_view rest = header.substr(std::min(header.find(';'), header.size()));
    while (rest.starts_with(';')) {
        rest.remove_prefix(1);
        const auto key =
            trimmed(takeUntil(rest, "=", "A header parameter of the multipart body has no \"=\"."));
        std::string value = takeParameterValue(rest);
        if (sameWord(key, name)) {
            return value;
        }
        rest = trimmed(rest);
    }
    return std::nullopt;
}

void readPartHeader(FormPart& part, std::string_view line) {
    std::string_view rest = line;
    const auto key = takeUntil(rest, ":", "A header line of the multipart body has no colon.");
    const auto value = trimmed(rest);
    if (sameWord(key, "Content-Type")) {
        part.contentType = std::string(value);
    } else if (sameWord(key, "Content-Disposition") && value.starts_with("form-data")) {
        part.name = parameterOf(value, "name").value_or("");
        part.filename = parameterOf(value, "filename");
    }
}

FormPart parsePart(std::string_view text) {
    FormPart part;
    std::string_view rest = text;
    constexpr const char* complaint = "The headers of a part of the multipart body have no end.";
    for (auto line = takeUntil(rest, lineEnd, complaint); !line.empty();
         line = takeUntil(rest, lineEnd, complaint)) {
        readPartHeader(part, line);
    }
    if (part.name.empty()) {
        throw InvalidInput("A part of the multipart body has no name.");
    }
    part.content = std::string(rest);
    return part;
}

}  // namespace

std::optional<std::string> multipartBoundary(std::string_view contentType) {
    const auto type = trimmed(contentType.substr(0, contentType.find(';')));
    if (!sameWord(type, "multipart/form-data")) {
        return std::nullopt;
    }
    auto boundary = parameterOf(contentType, "boundary");
    if (!boundary || boundary->empty()) {
        throw InvalidInput("The multipart content type names no boundary.");
    }
    return boundary;
}

std::vector<FormPart> parseMultipart(std::string_view body, std::string_view boundary) {
    const std::string opening = "--" + std::string(boundary);
    const std::string separator = std::string(lineEnd) + opening;
    if (!body.starts_with(opening)) {
        throw InvalidInput("The multipart body does not begin with its boundary.");
    }
    std::string_view rest = body.substr(opening.size());
    std::vector<FormPart> parts;
    while (rest.starts_with(lineEnd)) {
        rest.remove_prefix(lineEnd.size());
        parts.push_back(
            parsePart(takeUntil(rest, separator, "A part of the multipart body has no closing boundary.")));
    }
    if (rest != "--\r\n" && rest != "--") {
        throw InvalidInput("The multipart body does not end with its closing boundary.");
    }
    return parts;
}

}  // namespace quernlight::standin

#include "host/text/wrapped_text.hpp"

#include <algorithm>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

std::string utf8(const std::u32string& characters, std::size_t begin, std::size_t end) {
    std::string bytes;
    for (std::size_t at = begin; at < end; ++at) {
        appendUtf8(bytes, characters[at]);
    }
    return bytes;
}

/// One line without its line end; those at its end become nothing.
std::u32string withBlanks(std::string_view line) {
    std::u32string characters;
    bool blankIsDue = false;
    for (const char32_t character : unicodeScalars(line)) {
        if (isActingCharacter(character)) {
            blankIsDue = true;
            continue;
        }
        if (blankIsDue) {
            characters.push_back(U' ');
        }
        blankIsDue = false;
        characters.push_back(character);
    }
    return characters;
}

/// Where the line that begins there ends, at the latest; at least one character on.
std::size_t endOfRoom(const std::u32string& characters, std::size_t begin, std::size_t columns) {
    std::size_t end = begin;
    for (std::size_t used = 0; end < characters.size(); ++end) {
        used += characterWidth(characters[end]);
        if (used > columns && end > begin) {
            break;
        }
    }
    return end;
}

/// Behind the last blank, unless that wastes half of the line.
std::size_t breakBefore(const std::u32string& characters, std::size_t begin, std::size_t end) {
    if (end == characters.size() || characters[end] == U' ') {
        return end;
    }
    for (std::size_t at = end; at > begin + (end - begin) / 2; --at) {
        if (characters[at - 1] == U' ') {
            return at;
        }
    }
    return end;
}

void appendWrapped(std::vector<std::string>& lines, std::string_view line, std::size_t columns,
                   std::size_t most) {
    const std::u32string characters = withBlanks(line);
    std::size_t begin = 0;
    do {
        const std::size_t end = breakBefore(characters, begin, endOfRoom(characters, begin, columns));
        lines.push_back(utf8(characters, begin, end));
        begin = end < characters.size() && characters[end] == U' ' ? end + 1 : end;
    } while (begin < characters.size() && lines.size() <= most);
}

}  // namespace

std::vector<std::string> wrapped(std::string_view text, std::size_t columns, std::size_t most) {
    std::vector<std::string> lines;
    for (const std::string_view line : linesOf(text)) {
        if (lines.size() <= most) {
            appendWrapped(lines, line, std::max<std::size_t>(columns, 1), most);
        }
    }
    if (lines.size() > most) {
        lines.resize(most);
        if (most > 0) {
            lines.back() = fitted(lines.back() + std::string(columns, ' ') + "…", columns);
        }
    }
    return lines.empty() && most > 0 ? std::vector<std::string>{""} : lines;
}

}  // namespace quernlight::host

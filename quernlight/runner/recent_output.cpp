#include "quernlight/runner/recent_output.hpp"

#include <algorithm>
#include <optional>

#include "quernlight/platform/text.hpp"
#include "quernlight/runner/utf8_decoding.hpp"

namespace quernlight {
namespace {

/// So much is kept before it is cut: the search for the characters stays out of the path of every chunk.
constexpr std::size_t leastBytesToCut = 128 * 1024;

/// So much is kept before characters are told apart by all of Unicode's rules, which takes long.
constexpr std::size_t leastBytesToCutByAllRules = RecentOutput::characterLimit * 128;

/// What the recent characters may take, so that one with endless marks does not grow for ever: 1 KiB each,
/// far more than any writing system needs.
constexpr std::size_t recentByteLimit = RecentOutput::characterLimit * 1024;

bool isAscii(char byte) {
    return (static_cast<unsigned char>(byte) & 0x80U) == 0;
}

/// Whether a character ends between the bytes, whatever stands around them: two of ASCII always are two
/// characters, but for CR LF.
bool isSureBoundary(char before, char after) {
    return isAscii(before) && isAscii(after) && !(before == '\r' && after == '\n');
}

/// Where text begins that surely holds so many characters, or nothing.
std::optional<std::size_t> startOfSureCharacters(std::string_view bytes, std::size_t count) {
    for (std::size_t start = bytes.size(); start > 1;) {
        --start;
        if (isSureBoundary(bytes[start - 1], bytes[start]) && --count == 0) {
            return start;
        }
    }
    return std::nullopt;
}

/// The end of `text`, at most `count` bytes.
std::string_view lastBytes(std::string_view text, std::size_t count) {
    return text.substr(text.size() - std::min(count, text.size()));
}

/// Without the bytes in front that continue a character whose beginning was cut off.
std::string_view fromScalarBoundary(std::string_view text) {
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    const auto start = std::find_if_not(text.begin(), text.end(), isContinuation);
    return text.substr(static_cast<std::size_t>(start - text.begin()));
}

}  // namespace

void RecentOutput::append(std::string_view bytes) {
    if (const std::size_t unfinished = incompleteUtf8SuffixLength(bytes_)) {
        bytes_.replace(bytes_.size() - unfinished, unfinished, "\uFFFD");
    }
    bytes_.append(bytes);
    if (bytes_.size() > std::max(leastBytesToCut, bytesToCut_)) {
        cut();
    }
}

void RecentOutput::cut() {
    if (const auto start = startOfSureCharacters(bytes_, characterLimit)) {
        bytes_.erase(0, *start);
    } else if (bytes_.size() > leastBytesToCutByAllRules) {
        const std::string valid = validUtf8(bytes_);
        const auto bounded = fromScalarBoundary(lastBytes(valid, recentByteLimit));
        bytes_ = std::string(lastCharacters(bounded, characterLimit));
    }
    bytesToCut_ = 2 * bytes_.size();
}

std::string_view RecentOutput::text() const {
    if (!isValidUtf8(bytes_)) {
        bytes_ = validUtf8(bytes_);
    }
    return lastCharacters(bytes_, characterLimit);
}

}  // namespace quernlight

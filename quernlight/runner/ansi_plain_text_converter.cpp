#include "quernlight/runner/ansi_plain_text_converter.hpp"

#include <array>
#include <cstdint>
#include <cstring>

#include "quernlight/runner/utf8_decoding.hpp"

namespace quernlight {
namespace {

constexpr char bell = '\a';
constexpr char escape = '\x1B';
constexpr std::string_view replacementCharacter = "\uFFFD";

enum class ByteClass : unsigned char { plain, carriageReturn, sequenceStart, nonAscii };

constexpr std::array<ByteClass, 256> byteClasses() {
    std::array<ByteClass, 256> classes{};
    for (std::size_t byte = 0x80; byte < classes.size(); ++byte) {
        classes[byte] = ByteClass::nonAscii;
    }
    classes['\r'] = ByteClass::carriageReturn;
    classes[static_cast<unsigned char>(escape)] = ByteClass::sequenceStart;
    return classes;
}

constexpr std::array<ByteClass, 256> classOf = byteClasses();

ByteClass classAt(std::string_view bytes, std::size_t offset) {
    return classOf[static_cast<unsigned char>(bytes[offset])];
}

/// Whether any of eight bytes is not plain: has its high bit set, or is a carriage return or an escape. A
/// byte is zero exactly when taking one from it borrows into its high bit.
bool anyNotPlain(std::uint64_t bytes) {
    constexpr std::uint64_t ones = 0x0101010101010101;
    constexpr std::uint64_t highBits = 0x8080808080808080;
    const std::uint64_t carriageReturns = bytes ^ (ones * '\r');
    const std::uint64_t escapes = bytes ^ (ones * static_cast<unsigned char>(escape));
    return ((bytes | ((carriageReturns - ones) & ~carriageReturns) | ((escapes - ones) & ~escapes)) &
            highBits) != 0;
}

/// Where the run of plain bytes that begins at `offset` ends.
std::size_t endOfPlainRun(std::string_view bytes, std::size_t offset) {
    std::uint64_t eight = 0;
    for (; offset + sizeof(eight) <= bytes.size(); offset += sizeof(eight)) {
        std::memcpy(&eight, bytes.data() + offset, sizeof(eight));
        if (anyNotPlain(eight)) {
            break;
        }
    }
    while (offset < bytes.size() && classAt(bytes, offset) == ByteClass::plain) {
        ++offset;
    }
    return offset;
}

/// Past the first byte of "@" to "~" from `offset` on. Bytes of longer characters never lie in that range.
std::size_t endOfControlSequence(std::string_view bytes, std::size_t offset) {
    while (offset < bytes.size()) {
        const char byte = bytes[offset++];
        if (byte >= 0x40 && byte <= 0x7E) {
            break;
        }
    }
    return offset;
}

/// Past the first bell, or the first escape followed by a backslash, from `offset` on.
std::size_t endOfOperatingSystemCommand(std::string_view bytes, std::size_t offset) {
    for (; offset < bytes.size(); ++offset) {
        if (bytes[offset] == bell) {
            return offset + 1;
        }
        if (bytes[offset] == escape && offset + 1 < bytes.size() && bytes[offset + 1] == '\\') {
            return offset + 2;
        }
    }
    return offset;
}

/// Past what the escape at `offset` makes disappear; only itself when it begins no sequence, so that an
/// escape directly after an escape begins anew.
std::size_t endOfEscape(std::string_view bytes, std::size_t offset) {
    const std::size_t next = offset + 1;
    if (next < bytes.size() && bytes[next] == '[') {
        return endOfControlSequence(bytes, next + 1);
    }
    if (next < bytes.size() && bytes[next] == ']') {
        return endOfOperatingSystemCommand(bytes, next + 1);
    }
    return next;
}

}  // namespace

// What is copied unchanged, whole characters included, goes to the text in runs as long as possible: `copied`
// is where the bytes begin that are still to be copied.
void ANSIPlainTextConverter::appendPlain(std::string& text, std::string_view bytes) {
    std::size_t copied = 0;
    std::size_t offset = 0;
    const auto replace = [&](std::string_view replacement, std::size_t resume) {
        text.append(bytes, copied, offset - copied);
        text.append(replacement);
        offset = copied = resume;
    };
    while ((offset = endOfPlainRun(bytes, offset)) < bytes.size()) {
        switch (classAt(bytes, offset)) {
            case ByteClass::carriageReturn:
                replace("\n", offset + 1);
                break;
            case ByteClass::sequenceStart:
                replace({}, endOfEscape(bytes, offset));
                break;
            default:
                const Utf8Piece piece = utf8PieceAt(bytes, offset);
                if (piece.kind == Utf8Piece::Kind::character) {
                    offset += piece.length;
                } else {
                    replace(replacementCharacter, offset + piece.length);
                }
        }
    }
    text.append(bytes, copied);
}

std::string ANSIPlainTextConverter::plain(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    appendPlain(text, bytes);
    return text;
}

}  // namespace quernlight

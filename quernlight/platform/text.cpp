#include "quernlight/platform/text.hpp"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace quernlight {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

char32_t nextScalar(std::string_view text, std::size_t& offset) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    auto index = static_cast<std::int64_t>(offset);
    const auto length = static_cast<std::int64_t>(text.size());
    UChar32 scalar = 0;
    U8_NEXT(bytes, index, length, scalar);
    offset = static_cast<std::size_t>(index);
    return scalar < 0 ? replacementCharacter : static_cast<char32_t>(scalar);
}

char32_t previousScalar(std::string_view text, std::size_t& offset) {
    // The macro counts in 32 bits; a scalar has four bytes at most, so a window of four is enough.
    const std::size_t start = offset > U8_MAX_LENGTH ? offset - U8_MAX_LENGTH : 0;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data() + start);
    auto index = static_cast<std::int32_t>(offset - start);
    UChar32 scalar = 0;
    U8_PREV(bytes, 0, index, scalar);
    offset = start + static_cast<std::size_t>(index);
    return scalar < 0 ? replacementCharacter : static_cast<char32_t>(scalar);
}

bool isWhiteSpace(char32_t scalar) {
    return u_isUWhiteSpace(static_cast<UChar32>(scalar));
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char character) { return static_cast<unsigned char>(character) < 0x80; });
}

/// ASCII without a carriage return: every byte is a character of its own (CR LF is one).
bool isOneByteACharacter(std::string_view text) {
    return isAscii(text) && text.find('\r') == std::string_view::npos;
}

icu::StringPiece pieceOf(std::string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

/// How ICU folds for the user's language.
std::uint32_t foldingOptions() {
    const std::string_view language = icu::Locale::getDefault().getLanguage();
    return language == "tr" || language == "az" ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

std::string caseFolded(std::string_view text, std::uint32_t options) {
    std::string folded;
    icu::StringByteSink<std::string> sink(&folded);
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8Fold(options, pieceOf(text), sink, nullptr, status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("Unable to fold the case of text: ") + u_errorName(status) +
                                 ".");
    }
    return folded;
}

/// Steps over a text by user-perceived characters.
class CharacterBoundaries {
  public:
    explicit CharacterBoundaries(std::string_view text) {
        UErrorCode status = U_ZERO_ERROR;
        text_ = utext_openUTF8(text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
        iterator_.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_SUCCESS(status)) {
            iterator_->setText(text_, status);
        }
        if (U_FAILURE(status)) {
            utext_close(text_);
            throw std::runtime_error(std::string("Unable to split text into characters: ") +
                                     u_errorName(status) + ".");
        }
    }
    CharacterBoundaries(const CharacterBoundaries&) = delete;
    CharacterBoundaries& operator=(const CharacterBoundaries&) = delete;
    ~CharacterBoundaries() { utext_close(text_); }

    icu::BreakIterator& iterator() { return *iterator_; }

  private:
    UText* text_ = nullptr;
    std::unique_ptr<icu::BreakIterator> iterator_;
};

}  // namespace

std::string_view trimmed(std::string_view text) {
    std::size_t first = 0;
    for (std::size_t next = 0; first < text.size() && isWhiteSpace(nextScalar(text, next));) {
        first = next;
    }
    std::size_t last = text.size();
    for (std::size_t previous = last; last > first && isWhiteSpace(previousScalar(text, previous));) {
        last = previous;
    }
    return text.substr(first, last - first);
}

std::string lowercased(std::string_view text) {
    std::string lowered;
    icu::StringByteSink<std::string> sink(&lowered);
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, pieceOf(text), sink, nullptr, status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("Unable to lower-case text: ") + u_errorName(status) + ".");
    }
    return lowered;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    const std::uint32_t options = foldingOptions();
    return caseFolded(text, options).find(caseFolded(part, options)) != std::string::npos;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count || isOneByteACharacter(text)) {
        return text.substr(0, count);
    }
    CharacterBoundaries boundaries(text);
    boundaries.iterator().first();
    const auto end = boundaries.iterator().next(static_cast<std::int32_t>(count));
    return end == icu::BreakIterator::DONE ? text : text.substr(0, static_cast<std::size_t>(end));
}

std::string_view lastCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count) {
        return text;
    }
    if (isOneByteACharacter(text)) {
        return text.substr(text.size() - count);
    }
    CharacterBoundaries boundaries(text);
    boundaries.iterator().last();
    const auto start = boundaries.iterator().next(-static_cast<std::int32_t>(count));
    return start == icu::BreakIterator::DONE ? text : text.substr(static_cast<std::size_t>(start));
}

bool isAlphanumeric(char32_t scalar) {
    return (U_GET_GC_MASK(static_cast<UChar32>(scalar)) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

std::u32string unicodeScalars(std::string_view text) {
    std::u32string scalars;
    scalars.reserve(text.size());
    for (std::size_t offset = 0; offset < text.size();) {
        scalars.push_back(nextScalar(text, offset));
    }
    return scalars;
}

void appendUtf8(std::string& text, char32_t scalar) {
    char bytes[U8_MAX_LENGTH];
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(scalar));
    text.append(bytes, static_cast<std::size_t>(length));
}

std::string validUtf8(std::string_view bytes) {
    std::string valid;
    valid.reserve(bytes.size());
    for (std::size_t offset = 0; offset < bytes.size();) {
        appendUtf8(valid, nextScalar(bytes, offset));
    }
    return valid;
}

bool isValidUtf8(std::string_view bytes) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto length = static_cast<std::int64_t>(bytes.size());
    for (std::int64_t index = 0; index < length;) {
        UChar32 scalar = 0;
        U8_NEXT(data, index, length, scalar);
        if (scalar < 0) {
            return false;
        }
    }
    return true;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::vector<std::string_view> piecesBetweenSlashes(std::string_view path) {
    std::vector<std::string_view> pieces;
    while (!path.empty()) {
        const auto end = path.find('/');
        if (const auto piece = path.substr(0, end); !piece.empty()) {
            pieces.push_back(piece);
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return pieces;
}

}  // namespace quernlight

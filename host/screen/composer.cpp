#include "host/screen/composer.hpp"

#include <algorithm>
#include <span>
#include <utility>

#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t textIndent = 2;      // the prompt glyph and a blank
constexpr std::size_t rowsOfQuestion = 6;  // above a field for its answer

/// A "[Pasted Content 1507 chars]" in a text, with the "#2" that may follow it.
struct Placeholder {
    std::size_t from = 0, end = 0;
    std::size_t characters = 0;
};

constexpr bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Reads digits from `at` on, which moves behind them.
std::size_t readNumber(std::string_view text, std::size_t& at) {
    constexpr std::size_t most = 1'000'000'000;
    std::size_t number = 0;
    for (; at < text.size() && isDigit(text[at]); ++at) {
        number = std::min(number * 10 + static_cast<std::size_t>(text[at] - '0'), most);
    }
    return number;
}

std::optional<Placeholder> nextPlaceholder(std::string_view text, std::size_t from) {
    constexpr std::string_view beginning = "[Pasted Content ", middle = " char";
    for (from = text.find(beginning, from); from != text.npos; from = text.find(beginning, from + 1)) {
        std::size_t at = from + beginning.size();
        const std::size_t characters = readNumber(text, at);
        const std::size_t end = text.find(']', at);
        if (end == text.npos || !text.substr(at).starts_with(middle) || end > at + middle.size() + 1) {
            continue;
        }
        at = end + 1;
        if (text.substr(at).starts_with(" #")) {
            at += 2;
            readNumber(text, at);
        }
        return Placeholder{.from = from, .end = at, .characters = characters};
    }
    return std::nullopt;
}

std::u32string columnsOfRow(const std::vector<std::string>& lines, int row) {
    return columnsOf(lines[static_cast<std::size_t>(row)]);
}

struct Prompt {
    int row = 0;
    std::size_t indent = 0;
};

/// The prompt glyph to whose text the cursor belongs.
std::optional<Prompt> promptOn(const ScreenPicture& picture) {
    const auto cursorColumn = static_cast<std::size_t>(picture.cursorColumn);
    for (int row = picture.cursorShown ? picture.cursorRow : -1; row >= 0; --row) {
        const std::u32string columns = columnsOfRow(picture.lines, row);
        const std::size_t indent = indentOf(columns);
        const bool isPrompt = indent < columns.size() && isPromptGlyph(columns[indent]) &&
                              (columns.size() == indent + 1 || columns[indent + 1] == U' ');
        if (isPrompt) {
            return cursorColumn >= indent + textIndent ? std::optional(Prompt{row, indent}) : std::nullopt;
        }
        if (!isBlank(columns) && indent < textIndent) {
            return std::nullopt;  // other text is between the cursor and whatever is above
        }
    }
    return std::nullopt;
}

/// The text of one row, from the column of the composer's text.
std::u32string textColumns(const ScreenPicture& picture, int row, std::size_t column) {
    const std::u32string columns = columnsOfRow(picture.brightLines, row);
    return columns.size() > column ? columns.substr(column) : std::u32string();
}

/// What was written between a row's text and that of the next one: nothing, a blank, or a line end.
std::string_view joint(std::u32string_view row, std::u32string_view next, std::size_t room) {
    const std::size_t word = std::min(next.find(U' '), next.size());
    const bool wouldHaveFitted = row.size() + 1 + word < room;
    if (row.empty() || next.empty() || wouldHaveFitted) {
        return "\n";
    }
    const bool isCutWord = row.find(U' ') == row.npos && row.size() + 1 >= room;
    return isCutWord ? "" : " ";
}

std::string joinedText(const ScreenPicture& picture, int firstRow, std::size_t column) {
    const std::size_t room = static_cast<std::size_t>(picture.columns) - column;
    std::u32string last = textColumns(picture, firstRow, column);
    std::string text = textOf(last);
    for (int row = firstRow + 1; row < picture.rows; ++row) {
        std::u32string next = textColumns(picture, row, column);
        if (row > picture.cursorRow && isBlank(columnsOfRow(picture.lines, row))) {
            break;  // what follows is not the composer's
        }
        text.append(joint(last, next, room)).append(textOf(next));
        last = std::move(next);
    }
    return std::string(trimmed(text));
}

std::vector<std::size_t> pastesIn(std::string_view text) {
    std::vector<std::size_t> pastes;
    for (auto paste = nextPlaceholder(text, 0); paste; paste = nextPlaceholder(text, paste->end)) {
        pastes.push_back(paste->characters);
    }
    return pastes;
}

std::string withoutWhiteSpace(std::string_view text) {
    std::string solid;
    for (const char32_t scalar : unicodeScalars(text)) {
        std::string character;
        appendUtf8(character, scalar);
        solid += trimmed(character);
    }
    return solid;
}

/// The pieces of the composer's text around placeholders, without white space.
std::vector<std::string> piecesBetweenPastes(std::string_view text) {
    std::vector<std::string> pieces;
    std::size_t from = 0;
    for (auto paste = nextPlaceholder(text, 0); paste; paste = nextPlaceholder(text, from)) {
        pieces.push_back(withoutWhiteSpace(text.substr(from, paste->from - from)));
        from = paste->end;
    }
    pieces.push_back(withoutWhiteSpace(text.substr(from)));
    return pieces;
}

/// Whether the pieces follow one another in the text, the first at its beginning and the last at its end.
bool matchesWithPastes(const std::vector<std::string>& pieces, std::string_view text) {
    if (!text.starts_with(pieces.front()) || !text.ends_with(pieces.back())) {
        return false;
    }
    std::size_t from = 0;
    for (const std::string& piece : pieces) {
        const std::size_t found = text.find(piece, from);
        if (found == text.npos) {
            return false;
        }
        from = found + piece.size();
    }
    return true;
}

}  // namespace

std::optional<Composer> composerOn(const ScreenPicture& picture) {
    const auto prompt = promptOn(picture);
    if (!prompt || prompt->indent > 0) {
        return std::nullopt;
    }
    std::string text = joinedText(picture, prompt->row, textIndent);
    std::vector<std::size_t> pastes = pastesIn(text);
    return Composer{.row = prompt->row,
                    .column = static_cast<int>(textIndent),
                    .text = std::move(text),
                    .pastes = std::move(pastes)};
}

std::optional<std::string> questionOfAnswerField(const ScreenPicture& picture) {
    const auto prompt = promptOn(picture);
    if (!prompt) {
        return std::nullopt;
    }
    const auto rows = std::span(picture.lines);
    const auto saysHowToSubmit = [](const std::string& line) {
        return holdsAnyOf(line, {"enter to submit", "esc to cancel"});
    };
    const auto row = static_cast<std::size_t>(prompt->row);
    if (prompt->indent == 0 && std::ranges::none_of(rows.subspan(row + 1), saysHowToSubmit)) {
        return std::nullopt;
    }
    std::string question;
    for (const std::string& line :
         rows.subspan(row - std::min(row, rowsOfQuestion), std::min(row, rowsOfQuestion))) {
        const std::string_view text = trimmed(line);
        question.append(question.empty() || text.empty() ? "" : " ").append(text);
    }
    return question;
}

std::optional<std::string> composerText(const ScreenPicture& picture) {
    auto composer = composerOn(picture);
    return composer ? std::optional(std::move(composer->text)) : std::nullopt;
}

ComposerContent composerContent(const Composer& composer, std::string_view text) {
    const std::string written = withoutWhiteSpace(composer.text), wanted = withoutWhiteSpace(text);
    if (written.empty()) {
        return ComposerContent::empty;
    }
    if (written == wanted) {
        return ComposerContent::whole;
    }
    if (!composer.pastes.empty()) {
        return matchesWithPastes(piecesBetweenPastes(composer.text), wanted) ? ComposerContent::whole
                                                                             : ComposerContent::other;
    }
    if (wanted.starts_with(written)) {
        return ComposerContent::beginning;
    }
    return wanted.ends_with(written) ? ComposerContent::end : ComposerContent::other;
}

}  // namespace quernlight::host

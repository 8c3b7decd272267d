#include "host/screen/dialog.hpp"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "host/screen/composer.hpp"
#include "host/screen/dialog_kinds.hpp"
#include "host/screen/screen_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr int mostRowsOfOptions = 24;   // from the selected one up or down
constexpr int mostRowsOfQuestion = 20;  // above the options

using Rows = std::vector<std::u32string>;

struct NumberedLine {
    int row = 0, number = 0;
    std::size_t column = 0;  // of the number
    bool isSelected = false;
};

/// The number of a line whose columns from `at` are "N. " and a text.
std::optional<int> numberAt(std::u32string_view columns, std::size_t at) {
    int number = 0;
    std::size_t end = at;
    for (; end < columns.size() && end < at + 2 && columns[end] >= U'0' && columns[end] <= U'9'; ++end) {
        number = number * 10 + static_cast<int>(columns[end] - U'0');
    }
    const bool isNumbered = end > at && end + 2 < columns.size() && columns[end] == U'.' &&
                            columns[end + 1] == U' ' && columns[end + 2] != U' ';
    return isNumbered ? std::optional(number) : std::nullopt;
}

bool isBlankBefore(std::u32string_view columns, std::size_t at) {
    return isBlank(columns.substr(at >= 2 ? at - 2 : 0, at >= 2 ? 2 : at));
}

/// The selected option in a line: a glyph, a blank and the number, at the beginning or behind a gap.
std::optional<NumberedLine> selectedIn(std::u32string_view columns, int row) {
    for (std::size_t at = 0; at + 2 < columns.size(); ++at) {
        const bool isGlyph = isPromptGlyph(columns[at]) || columns[at] == U'>';
        if (!isGlyph || columns[at + 1] != U' ' || !isBlankBefore(columns, at)) {
            continue;
        }
        if (const auto number = numberAt(columns, at + 2)) {
            return NumberedLine{.row = row, .number = *number, .column = at + 2, .isSelected = true};
        }
    }
    return std::nullopt;
}

/// The lines with the numbers before, or behind, those of the selected one, under the same column.
std::vector<NumberedLine> neighbours(const Rows& rows, const NumberedLine& selected, int step) {
    std::vector<NumberedLine> found;
    int expected = selected.number + step;
    const int end = std::clamp(selected.row + step * mostRowsOfOptions, -1, static_cast<int>(rows.size()));
    for (int row = selected.row + step; row != end; row += step) {
        const auto& columns = rows[static_cast<std::size_t>(row)];
        if (columns.size() > selected.column && numberAt(columns, selected.column) == expected &&
            isBlankBefore(columns, selected.column)) {
            found.push_back({.row = row, .number = expected, .column = selected.column});
            expected += step;
        }
    }
    return found;
}

/// A list in what was sent stands above the composer, and one that is being written is in it.
bool belongsToComposer(const ScreenPicture& picture, const NumberedLine& selected) {
    const auto composer = composerOn(picture);
    return composer && composer->row >= selected.row;
}

bool isPromptBelow(const Rows& rows, int row) {
    return std::any_of(rows.begin() + row + 1, rows.end(), [](const std::u32string& columns) {
        return !columns.empty() && isPromptGlyph(columns.front());
    });
}

std::vector<NumberedLine> optionLines(const ScreenPicture& picture, const Rows& rows) {
    for (int row = picture.rows - 1; row >= 0; --row) {
        const auto selected = selectedIn(rows[static_cast<std::size_t>(row)], row);
        if (!selected || belongsToComposer(picture, *selected) || isPromptBelow(rows, row)) {
            continue;
        }
        std::vector<NumberedLine> lines = neighbours(rows, *selected, -1);
        std::reverse(lines.begin(), lines.end());
        lines.push_back(*selected);
        const auto behind = neighbours(rows, *selected, 1);
        lines.insert(lines.end(), behind.begin(), behind.end());
        if (lines.size() >= 2 && lines.front().number == 1) {
            return lines;
        }
    }
    return {};
}

/// The lines above the options without blank ones: up to two of these in a row, or to a line that begins
/// further left and is therefore not the dialog's. Indented options may stand right below their question.
std::vector<std::string> questionAbove(const Rows& rows, const NumberedLine& first) {
    std::vector<std::string> question;
    const std::size_t left = first.column - 2;
    int blanks = 0;
    for (int row = first.row - 1; row >= std::max(first.row - mostRowsOfQuestion, 0) && blanks < 2; --row) {
        const std::u32string_view columns = rows[static_cast<std::size_t>(row)];
        const auto own = columns.substr(std::min(left, columns.size()));
        if (!isBlank(own.substr(0, 2)) && (left == 0 || !isBlank(columns.substr(0, left)))) {
            break;
        }
        const std::string text = textOf(own);
        if (const std::string_view line = trimmed(text); !line.empty()) {
            question.emplace(question.begin(), line);
            blanks = 0;
        } else {
            blanks += question.empty() ? 0 : 1;
        }
    }
    return question;
}

std::string onOneLine(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : " ") + line;
    }
    return text;
}

}  // namespace

std::string_view nameOf(DialogKind kind) {
    constexpr std::array<std::string_view, 8> names{
        "trust question",       "login menu",           "approval",
        "update question",      "usage limit question", "replace goal question",
        "resume goal question", "unknown question"};
    return names.at(static_cast<std::size_t>(kind));
}

std::optional<Dialog> dialogOn(const ScreenPicture& picture) {
    Rows rows;
    for (const std::string& line : picture.lines) {
        rows.push_back(columnsOf(line));
    }
    const auto lines = optionLines(picture, rows);
    if (lines.empty()) {
        return std::nullopt;
    }
    const std::vector<std::string> question = questionAbove(rows, lines.front());
    Dialog dialog{.question = onOneLine(question)};
    for (const NumberedLine& line : lines) {
        const auto behind = std::u32string_view(rows[static_cast<std::size_t>(line.row)]).substr(line.column);
        const std::string text(trimmed(textOf(behind.substr(behind.find(U'.') + 1))));
        dialog.options.push_back({.number = line.number, .text = text, .isSelected = line.isSelected});
    }
    std::tie(dialog.kind, dialog.reason) = kindOf(question, dialog.options);
    return dialog;
}

}  // namespace quernlight::host

#include "host/screen/dialog.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/screen/composer.hpp"
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

/// What stands above the options: up to two blank lines, or a line that begins further left and is therefore
/// not the dialog's.
std::string questionAbove(const Rows& rows, const NumberedLine& first) {
    std::string question;
    const std::size_t left = first.column - 2;
    int blanks = 0;
    for (int row = first.row - 1; row >= std::max(first.row - mostRowsOfQuestion, 0) && blanks < 2; --row) {
        const std::u32string_view columns = rows[static_cast<std::size_t>(row)];
        const auto own = columns.substr(std::min(left, columns.size()));
        if (!isBlank(own.substr(0, 2))) {
            break;
        }
        const std::string text = textOf(own);
        const std::string_view line = trimmed(text);
        blanks = line.empty() && !question.empty() ? blanks + 1 : 0;
        question.insert(0, line.empty() || question.empty() ? std::string(line) : std::string(line) + " ");
    }
    return question;
}

struct Words {
    DialogKind kind;
    std::string_view reason;
    bool (*match)(std::string_view question, std::string_view options);
};

/// The first that matches tells the kind. Options are the agent's own words; a question may quote others.
constexpr std::array kinds{
    Words{DialogKind::replaceGoal, "an option replaces the goal",
          [](std::string_view question, std::string_view options) {
              return holdsAnyOf(options, {"replace"}) && holdsAnyOf(question, {"goal"});
          }},
    Words{DialogKind::resumeGoal, "an option resumes the goal",
          [](std::string_view question, std::string_view options) {
              return holdsAnyOf(options, {"resume"}) && holdsAnyOf(question, {"goal"});
          }},
    Words{DialogKind::login, "an option logs in",
          [](std::string_view, std::string_view options) {
              return holdsAnyOf(options, {"sign in", "log in", "login", "api key"});
          }},
    Words{DialogKind::update, "an option updates the agent",
          [](std::string_view, std::string_view options) {
              return holdsAnyOf(options, {"update now", "upgrade now"});
          }},
    Words{DialogKind::approval, "the question asks to run or change something",
          [](std::string_view question, std::string_view options) {
              return holdsAnyOf(options, {"yes", "allow", "approve"}) &&
                     holdsAnyOf(question, {"would you like to", "allow ", "approve", " $ "});
          }},
    Words{DialogKind::trust, "the question asks for trust",
          [](std::string_view question, std::string_view options) {
              return holdsAnyOf(options, {"trust"}) || holdsAnyOf(question, {"trust"});
          }},
    Words{DialogKind::usageLimit, "the question names a limit",
          [](std::string_view question, std::string_view) {
              return holdsAnyOf(question, {"usage limit", "rate limit", "credits"});
          }},
    Words{DialogKind::update, "the question names an update",
          [](std::string_view question, std::string_view) {
              return holdsAnyOf(question, {"update available"});
          }},
    Words{DialogKind::approval, "an option allows something",
          [](std::string_view, std::string_view options) {
              return holdsAnyOf(options, {"allow", "approve"});
          }},
};

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
    Dialog dialog{.question = questionAbove(rows, lines.front()), .reason = "options without known words"};
    std::string options;
    for (const NumberedLine& line : lines) {
        const auto behind = std::u32string_view(rows[static_cast<std::size_t>(line.row)]).substr(line.column);
        const std::string text(trimmed(textOf(behind.substr(behind.find(U'.') + 1))));
        dialog.options.push_back({.number = line.number, .text = text, .isSelected = line.isSelected});
        options += text + "\n";
    }
    const auto words = std::find_if(kinds.begin(), kinds.end(), [&](const Words& known) {
        return known.match(dialog.question, options);
    });
    if (words != kinds.end()) {
        dialog.kind = words->kind;
        dialog.reason = words->reason;
    }
    return dialog;
}

}  // namespace quernlight::host

#include "host/live/redraw.hpp"

#include <algorithm>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t cheapGap = 6;  // columns that are drawn again rather than passed over

bool isSame(const ScreenCell& left, const ScreenCell& right) {
    return left.character == right.character && left.marks == right.marks && left.width == right.width &&
           left.style == right.style;
}

bool isBlank(const ScreenCell& cell) {
    return isSame(cell, ScreenCell());
}

std::string placed(std::size_t row, std::size_t column) {
    return "\x1b[" + std::to_string(row + 1) + ";" + std::to_string(column + 1) + "H";
}

/// The columns from `begin` to before `end` of a row.
struct Span {
    std::size_t begin = 0, end = 0;
};

/// Both halves of a wide character belong together, in either row.
Span widened(Span span, const ScreenRow& shown, const ScreenRow& wanted) {
    const auto isSecondHalf = [&](std::size_t column) {
        return column < wanted.size() && (shown[column].width == 0 || wanted[column].width == 0);
    };
    while (span.begin > 0 && isSecondHalf(span.begin)) {
        --span.begin;
    }
    while (isSecondHalf(span.end)) {
        ++span.end;
    }
    return span;
}

std::vector<Span> changedSpans(const ScreenRow& shown, const ScreenRow& wanted) {
    std::vector<Span> spans;
    for (std::size_t column = 0; column < wanted.size(); ++column) {
        if (isSame(shown[column], wanted[column])) {
            continue;
        }
        const Span span = widened({.begin = column, .end = column + 1}, shown, wanted);
        if (!spans.empty() && span.begin <= spans.back().end + cheapGap) {
            spans.back().end = std::max(spans.back().end, span.end);
        } else {
            spans.push_back(span);
        }
    }
    return spans;
}

/// Draws cells; the style is the plain one before and after.
std::string drawn(const ScreenRow& row, Span span) {
    std::string bytes;
    CellStyle style;
    for (std::size_t column = span.begin; column < span.end; ++column) {
        const ScreenCell& cell = row[column];
        if (cell.width == 0) {
            continue;
        }
        if (!(cell.style == style)) {
            style = cell.style;
            bytes += styleSequence(style);
        }
        appendUtf8(bytes, cell.character);
        for (const char32_t mark : cell.marks) {
            if (mark != 0) {
                appendUtf8(bytes, mark);
            }
        }
    }
    return style == CellStyle() ? bytes : bytes + "\x1b[m";
}

std::string redrawnRow(std::size_t number, const ScreenRow& shown, const ScreenRow& wanted) {
    const auto lastFilled = std::find_if_not(wanted.rbegin(), wanted.rend(), isBlank);
    const auto filled = static_cast<std::size_t>(wanted.rend() - lastFilled);
    std::string bytes;
    for (const Span& span : changedSpans(shown, wanted)) {
        const Span filledPart{.begin = span.begin, .end = std::clamp(filled, span.begin, span.end)};
        bytes += placed(number, span.begin) + drawn(wanted, filledPart);
        if (filledPart.end < span.end) {
            return bytes + "\x1b[K";
        }
    }
    return bytes;
}

bool areOfOneSize(const LivePicture& left, const LivePicture& right) {
    return left.rows.size() == right.rows.size() &&
           std::equal(
               left.rows.begin(), left.rows.end(), right.rows.begin(),
               [](const ScreenRow& one, const ScreenRow& other) { return one.size() == other.size(); });
}

LivePicture blankLike(const LivePicture& picture) {
    LivePicture blank;
    for (const ScreenRow& row : picture.rows) {
        blank.rows.emplace_back(row.size());
    }
    return blank;
}

}  // namespace

std::string redraw(const LivePicture& shown, const LivePicture& wanted) {
    if (!areOfOneSize(shown, wanted)) {
        return "\x1b[?25l\x1b[m\x1b[2J" + redraw(blankLike(wanted), wanted);
    }
    std::string bytes;
    for (std::size_t row = 0; row < wanted.rows.size(); ++row) {
        bytes += redrawnRow(row, shown.rows[row], wanted.rows[row]);
    }
    if (wanted.cursor && (!bytes.empty() || shown.cursor != wanted.cursor)) {
        bytes += placed(wanted.cursor->row, wanted.cursor->column);
    }
    if (shown.cursor.has_value() != wanted.cursor.has_value()) {
        bytes += wanted.cursor ? "\x1b[?25h" : "\x1b[?25l";
    }
    return bytes;
}

LivePicture withoutStyles(LivePicture picture) {
    for (ScreenRow& row : picture.rows) {
        for (ScreenCell& cell : row) {
            cell.style = {};
        }
    }
    return picture;
}

std::vector<std::string> textLines(const LivePicture& picture) {
    std::vector<std::string> lines;
    for (const ScreenRow& row : picture.rows) {
        lines.push_back(rowText(row));
    }
    return lines;
}

}  // namespace quernlight::host

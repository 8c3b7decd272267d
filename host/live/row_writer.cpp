#include "host/live/row_writer.hpp"

#include <algorithm>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {

void RowWriter::putCharacter(char32_t character, CellStyle style) {
    const std::size_t width = characterWidth(character);
    if (width == 0) {
        const std::size_t before = column_ > 1 && row_[column_ - 1].width == 0 ? column_ - 2 : column_ - 1;
        auto* mark = column_ == 0 ? nullptr : std::ranges::find(row_[before].marks, U'\0');
        if (mark && mark != row_[before].marks.end()) {
            *mark = character;
        }
        return;
    }
    row_[column_] = {.character = character, .width = static_cast<std::uint8_t>(width), .style = style};
    if (width == 2) {
        row_[column_ + 1] = {.character = U' ', .width = 0, .style = style};
    }
    column_ += width;
}

RowWriter& RowWriter::put(std::string_view text, CellStyle style) {
    for (const char32_t character : unicodeScalars(withoutControls(text))) {
        if (characterWidth(character) > room()) {
            break;  // a narrow one behind it does not take its place
        }
        putCharacter(character, style);
    }
    return *this;
}

RowWriter& RowWriter::putFitted(std::string_view text, std::size_t width, CellStyle style) {
    const std::size_t end = column_ + std::min(width, room());
    put(fitted(withoutControls(text), end - column_), style);
    return skipTo(end);
}

RowWriter& RowWriter::skipTo(std::size_t column) {
    column_ = std::max(column_, std::min(column, row_.size()));
    return *this;
}

RowWriter& RowWriter::put(const ScreenRow& cells) {
    const std::size_t count = std::min(cells.size(), room());
    std::copy_n(cells.begin(), count, row_.begin() + static_cast<std::ptrdiff_t>(column_));
    column_ += count;
    return *this;
}

}  // namespace quernlight::host

#pragma once

#include <cstddef>
#include <string_view>

#include "host/screen/screen_grid.hpp"

namespace quernlight::host {

// The styles of the live view.
namespace styles {
inline constexpr CellStyle normal{};
inline constexpr CellStyle bold{.attributes = CellStyle::bold};
inline constexpr CellStyle dim{.attributes = CellStyle::dim};
inline constexpr CellStyle chosen{.attributes = CellStyle::inverse};
inline constexpr CellStyle green{.text = CellStyle::ofPalette + 2};
inline constexpr CellStyle yellow{.text = CellStyle::ofPalette + 3};
inline constexpr CellStyle red{.text = CellStyle::ofPalette + 1};
}  // namespace styles

/// Writes a row of cells from the left. Text may come from outside: of acting characters each run of them is
/// a blank. What does not fit is left out.
class RowWriter {
  public:
    explicit RowWriter(std::size_t columns) : row_(columns) {}

    std::size_t column() const { return column_; }
    std::size_t room() const { return row_.size() - column_; }

    RowWriter& put(std::string_view text, CellStyle style = {});

    /// In exactly so many columns, or as many as there are: filled with blanks, or cut with "…".
    RowWriter& putFitted(std::string_view text, std::size_t width, CellStyle style = {});

    /// Blanks up to that column.
    RowWriter& skipTo(std::size_t column);

    /// Cells of another row.
    RowWriter& put(const ScreenRow& cells);

    ScreenRow take() { return std::move(row_); }

  private:
    void putCharacter(char32_t character, CellStyle style);

    ScreenRow row_;
    std::size_t column_ = 0;
};

}  // namespace quernlight::host

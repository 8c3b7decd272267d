#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quernlight::host {

/// Where text is to be shown.
struct TextRoom {
    std::optional<std::size_t> columns{};  ///< of the terminal; absent: none, and any width will do
    bool coloured = false;
};

enum class CellEmphasis {
    normal,
    dim,        ///< stays in the background
    attention,  ///< something a person has to do
};

struct TableColumn {
    TableColumn(const char* columnName) : name(columnName) {}  // NOLINT: a name is a column
    std::string name;
    bool flexible = false;
};

/// The column that gives way first where there is not room for all.
TableColumn flexible(const char* name);

struct TableCell {
    TableCell(std::string cellText,
              CellEmphasis cellStyle = CellEmphasis::normal)  // NOLINT: a text is a cell
        : text(std::move(cellText)), style(cellStyle) {}
    TableCell(const char* cellText) : text(cellText) {}  // NOLINT: as above
    std::string text;
    CellEmphasis style = CellEmphasis::normal;
};

/// Rows in aligned columns below a header. What is in a cell may come from outside: nothing in it acts on a
/// terminal, and it stays on its line.
class Table {
  public:
    explicit Table(std::vector<TableColumn> columns) : columns_(std::move(columns)) {}

    /// A cell that is missing is empty.
    void add(std::vector<TableCell> cells);

    bool empty() const { return rows_.empty(); }

    /// Lines that end, the header first. Columns get what they need. Where that is more than there is room
    /// for, flexible ones are cut with "…", then all others, the widest first; columns that find no room at
    /// all are left out, the last first.
    std::string text(const TextRoom& room) const;

  private:
    std::vector<std::size_t> neededWidths() const;

    const std::vector<TableColumn> columns_;
    std::vector<std::vector<TableCell>> rows_;
};

}  // namespace quernlight::host

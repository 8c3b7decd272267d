#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace quernlight {

/// What every operation on the database throws: which step failed, and SQLite's own message about it.
class DatabaseError : public std::runtime_error {
  public:
    enum class Kind {
        openFailed,     ///< the file cannot be opened
        prepareFailed,  ///< a statement does not compile, or is empty
        stepFailed,     ///< a step ended in something else than what was expected of it
        bindFailed,     ///< a parameter cannot be bound
        missingColumn,  ///< a row lacks a required column, or holds it in an unusable form
    };

    /// `text` is SQLite's message, or the column's name for `missingColumn`.
    DatabaseError(Kind kind, std::string text)
        : std::runtime_error(kind == Kind::missingColumn ? "Missing SQLite column " + text + "." : text),
          kind_(kind),
          text_(std::move(text)) {}

    Kind kind() const { return kind_; }
    const std::string& text() const { return text_; }

    /// For people; also what `what()` says.
    std::string errorDescription() const { return what(); }

    friend bool operator==(const DatabaseError& left, const DatabaseError& right) {
        return left.kind_ == right.kind_ && left.text_ == right.text_;
    }

  private:
    Kind kind_;
    std::string text_;
};

}  // namespace quernlight

#include "quernlight/storage/database_error.hpp"

#include <utility>

namespace quernlight {
namespace {

std::string descriptionOf(DatabaseError::Kind kind, const std::string& text) {
    return kind == DatabaseError::Kind::missingColumn ? "Missing SQLite column " + text + "." : text;
}

}  // namespace

DatabaseError::DatabaseError(Kind kind, std::string text)
    : std::runtime_error(descriptionOf(kind, text)), kind_(kind), text_(std::move(text)) {}

}  // namespace quernlight

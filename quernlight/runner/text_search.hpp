#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace quernlight {

/// Finds one text in much output, by its first and last byte at once: in terminal output single bytes of it
/// are everywhere, and both at the right distance hardly ever.
class TextSearch {
  public:
    explicit TextSearch(std::string text) : text_(std::move(text)) {}

    const std::string& text() const { return text_; }

    bool isIn(std::string_view bytes) const { return find(bytes, 0) != std::string_view::npos; }

    /// As std::string_view::find.
    std::size_t find(std::string_view bytes, std::size_t from) const;

  private:
    std::string text_;
};

}  // namespace quernlight

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quernlight {

/// The last user-perceived characters of a terminal's output, for who asks seldom: output is only kept, and
/// is read as text when somebody asks. For one thread at a time, the question included.
class RecentOutput {
  public:
    static constexpr std::size_t characterLimit = 4096;

    /// Takes in one chunk, any bytes; a character does not go on in the next.
    void append(std::string_view bytes);

    /// At most `characterLimit` characters; each maximal piece of a chunk that is not UTF-8 is U+FFFD.
    std::string_view text() const;

  private:
    void cut();

    mutable std::string bytes_;  // more than `text` shows; what is not UTF-8 is replaced once it is read
    std::size_t bytesToCut_ = 0;
};

}  // namespace quernlight

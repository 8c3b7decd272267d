#pragma once

#include <stdexcept>

namespace quernlight::host {

/// Something that the person at the keyboard can put right. The text is one sentence or two, says what
/// happened and what to do, and is all that is printed before the program ends with status 1.
class UserError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace quernlight::host

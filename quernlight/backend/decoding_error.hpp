#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace quernlight {

/// A backend answer that is not the JSON its record asks for. `what()` is one sentence that names the record
/// and the key; a bad date reads "Invalid ISO-8601 date: " and the text. A value to copy.
class DecodingError : public std::runtime_error {
  public:
    enum class Reason {
        dataCorrupted,  // no JSON, or a text that is no date, UUID or URL
        keyNotFound,    // a required key is absent
        typeMismatch,   // the value, or a null where one is required, is of another JSON type
    };

    DecodingError(Reason reason, std::string codingPath, const std::string& message)
        : std::runtime_error(message), reason_(reason), codingPath_(std::move(codingPath)) {}

    Reason reason() const { return reason_; }

    /// From the outermost record to the value at fault: "QLBugListResponse.bugs[3].metadata".
    const std::string& codingPath() const { return codingPath_; }

  private:
    Reason reason_;
    std::string codingPath_;
};

}  // namespace quernlight

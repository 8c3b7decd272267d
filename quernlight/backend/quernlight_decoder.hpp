#pragma once

#include <optional>
#include <string_view>

#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/json_value.hpp"
#include "quernlight/backend/readable_list.hpp"
#include "quernlight/backend/records.hpp"

namespace quernlight {

/// Turns a JSON text into a record. A value without state, usable from any thread.
class JSONDecoder {
  public:
    /// The record in `json` (UTF-8, nested at most 512 deep). Unknown keys are ignored; of a key that is
    /// given twice the last one counts. A number is the double nearest to its text; where an integer is asked
    /// for, it must be one of 64 bits, however it is spelled. Throws `DecodingError`. Defined for every
    /// record of records.hpp and for `JSONValue`.
    template <class Record>
    Record decode(std::string_view json) const;

    // For hosts to which one record that cannot be read must not hide the others: each element of the
    // answer's list by itself, as strictly as above. An answer that holds no such list throws
    // `DecodingError`.

    ReadableList<QLBugSummaryDTO> decodeReadableBugs(std::string_view json) const;
    ReadableList<QLCommentDTO> decodeReadableComments(std::string_view json) const;

    /// The link of the bug in a `QLBugDetailResponse`, of which nothing else is read.
    std::optional<Url> decodePullRequestURL(std::string_view json) const;

  private:
    friend struct QuernlightDecoder;

    JSONDecoder() = default;
};

/// Makes the one decoder that every backend answer is read with.
struct QuernlightDecoder {
    QuernlightDecoder() = delete;

    /// Its dates are ISO 8601 internet date-times, with or without fractional seconds.
    static JSONDecoder make() { return {}; }
};

}  // namespace quernlight

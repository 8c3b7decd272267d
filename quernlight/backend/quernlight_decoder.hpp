#pragma once

#include <string_view>

#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/json_value.hpp"
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

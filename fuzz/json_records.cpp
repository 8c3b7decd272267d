#include "fuzz/property.hpp"
#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/json_value.hpp"
#include "quernlight/backend/quernlight_decoder.hpp"
#include "quernlight/backend/records.hpp"

using namespace quernlight;

namespace {

template <class Record>
bool decodes(std::string_view json) {
    try {
        QuernlightDecoder::make().decode<Record>(json);
        return true;
    } catch (const DecodingError& error) {
        fuzz::require(*error.what() != '\0', "an answer that is refused is told why");
        return false;
    }
}

}  // namespace

/// Every answer becomes a record or a DecodingError, and what is a record is JSON.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view json = fuzz::textOf(data, size);
    bool isRecord = decodes<QLAppListResponse>(json);
    isRecord |= decodes<QLBugListResponse>(json);
    isRecord |= decodes<QLBugDetailResponse>(json);
    isRecord |= decodes<QLCommentsResponse>(json);
    isRecord |= decodes<QLCommentDTO>(json);
    isRecord |= decodes<QLCreateBugResponse>(json);
    isRecord |= decodes<QLCreateCommentResponse>(json);
    fuzz::require(!isRecord || decodes<JSONValue>(json), "a record is JSON");
    return 0;
}

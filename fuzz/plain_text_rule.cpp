#include "fuzz/property.hpp"
#include "quernlight/platform/text.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"
#include "tests/runner/plain_by_scalars.hpp"

using namespace quernlight;

/// The converter, made for speed, says what the rule says that is made to be read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::textOf(data, size);
    const std::string plain = ANSIPlainTextConverter::plain(bytes);
    fuzz::require(plain == test::plainByScalars(bytes), "the plain text is that of the rule");
    fuzz::require(isValidUtf8(plain), "plain text is UTF-8");
    return 0;
}

#include <utility>

#include "fuzz/property.hpp"
#include "host/screen/agent_activity.hpp"
#include "host/screen/composer.hpp"
#include "host/screen/screen_model.hpp"
#include "host/screen/usage_limit.hpp"
#include "quernlight/platform/text.hpp"

using namespace quernlight;
using namespace quernlight::host;

/// The input is pieces of output: a byte for the length, one for a size that the terminal then gets (an even
/// one changes nothing), and the bytes. They are written whole and byte by byte.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScreenModel whole(20, 6, 50), split(20, 6, 50);
    for (std::string_view rest = fuzz::textOf(data, size); rest.size() > 2;) {
        const auto length = static_cast<std::uint8_t>(rest[0]), shape = static_cast<std::uint8_t>(rest[1]);
        const std::string_view piece = rest.substr(2, length);
        rest.remove_prefix(2 + piece.size());
        whole.write(piece);
        for (const char& byte : piece) {
            split.write({&byte, 1});
        }
        if (shape % 2 == 1) {
            whole.resize(shape / 8, shape % 16);
            split.resize(shape / 8, shape % 16);
        }
    }
    const ScreenPicture picture = whole.picture();
    fuzz::require(picture == split.picture(), "the picture is the same wherever the writes are split");
    fuzz::require(whole.takeAnswers() == split.takeAnswers(), "so are the answers");
    fuzz::require(whole.scrollBack() == split.scrollBack(), "so is the scroll-back");
    fuzz::require(std::cmp_equal(picture.lines.size(), picture.rows), "there is a line for each row");
    fuzz::require(agentActivity(picture).rule.size() > 0, "every picture is read");
    composerText(picture);
    instantOfUsageLimit(usageLimitUntil(picture).value_or(""), Instant{});
    return 0;
}

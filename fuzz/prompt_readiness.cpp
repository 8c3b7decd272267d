#include "quernlight/runner/prompt_readiness.hpp"
#include "fuzz/property.hpp"
#include "quernlight/platform/text.hpp"

using namespace quernlight;
using std::chrono::milliseconds;

/// The input is chunks of output: a byte for the time since the last one, in tenths of a second, a byte for
/// the length, and the bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Instant start{};
    const PromptReadinessConfiguration configuration;
    PromptReadiness readiness(start, configuration);
    Instant now = start;
    std::string output;
    std::string_view rest = fuzz::textOf(data, size);
    while (rest.size() > 2) {
        now += milliseconds(100) * static_cast<std::uint8_t>(rest[0]);
        const auto chunk = rest.substr(2, static_cast<std::uint8_t>(rest[1]));
        rest.remove_prefix(2 + chunk.size());
        output += chunk;
        readiness.recordOutput(chunk, now);
        fuzz::require(readiness.sentinelMatched() == (output.find(configuration.sentinel) != output.npos),
                      "a sentinel is found wherever the chunks cut it");
        fuzz::require(isValidUtf8(readiness.recentOutput()), "recent output is UTF-8");
    }
    bool wasReady = false;
    for (int tenth = 0; tenth < 600; ++tenth, now += milliseconds(100)) {
        const bool isReady = readiness.isReady(now);
        fuzz::require(isReady || !wasReady, "a prompt that is ready stays so while nothing is printed");
        wasReady = isReady;
    }
    fuzz::require(wasReady, "a prompt is ready at last");
    return 0;
}

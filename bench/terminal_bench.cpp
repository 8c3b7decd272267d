#include <cstring>
#include <utility>

#include "bench/comparison.hpp"
#include "bench/terminal_output.hpp"
#include "quernlight/runner/ansi_plain_text_converter.hpp"
#include "quernlight/runner/prompt_readiness_monitor.hpp"

namespace quernlight::bench {
namespace {

using Output = const std::string& (*)();

/// Calls `look` with each chunk of the output, as long as the benchmark runs.
template <class Look>
void readChunks(benchmark::State& state, Output output, Look look) {
    const auto chunks = chunksOf(output());
    for ([[maybe_unused]] auto round : state) {
        for (const std::string_view chunk : chunks) {
            look(chunk);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(output().size()) * state.iterations());
}

/// Through all bytes once, since none is there.
Benchmark searchForOneByte(Output output) {
    return [output](benchmark::State& state) {
        readChunks(state, output, [](std::string_view chunk) {
            benchmark::DoNotOptimize(std::memchr(chunk.data(), 1, chunk.size()));
        });
    };
}

Benchmark plainText(Output output) {
    return [output](benchmark::State& state) {
        std::string text;
        readChunks(state, output, [&](std::string_view chunk) {
            text.clear();
            ANSIPlainTextConverter::appendPlain(text, chunk);
            benchmark::DoNotOptimize(text.data());
        });
    };
}

Benchmark searchForGlyph(Output output) {
    return [output](benchmark::State& state) {
        readChunks(state, output, [glyph = std::string_view("\u203A")](std::string_view chunk) {
            // All of them, as the monitor looks at all bytes.
            while (const void* found = memmem(chunk.data(), chunk.size(), glyph.data(), glyph.size())) {
                chunk.remove_prefix(static_cast<std::size_t>(static_cast<const char*>(found) - chunk.data()) +
                                    glyph.size());
            }
            benchmark::DoNotOptimize(chunk.data());
        });
    };
}

Benchmark readiness(Output output) {
    return [output](benchmark::State& state) {
        const Instant now = currentInstant();
        PromptReadinessMonitor monitor(now, PromptReadinessConfiguration::codexDefault());
        readChunks(state, output, [&](std::string_view chunk) { monitor.recordOutput(chunk, now); });
    };
}

}  // namespace

void addTerminalRows(Table& table) {
    for (const auto& [kind, output, plainBar] :
         {std::tuple("screen", &screenOutput, 0.085), std::tuple("plain text", &plainOutput, 0.5)}) {
        const std::string name = kind;
        table.add({.what = "plain-text rule, " + name,
                   .reference = "memchr",
                   .figure = Figure::speed,
                   .bar = plainBar},
                  searchForOneByte(output), plainText(output));
        table.add({.what = "readiness monitor's look, " + name,
                   .reference = "memmem of the glyph",
                   .figure = Figure::speed,
                   .bar = 3},
                  searchForGlyph(output), readiness(output));
    }
}

}  // namespace quernlight::bench

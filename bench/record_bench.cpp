#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <boost/json/parse.hpp>

#include "bench/comparison.hpp"
#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight::bench {
namespace {

std::string bugList(std::size_t count) {
    std::ifstream file(PROJECT_ROOT "/bench/bug.json");
    const std::string bug{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::string list = "{\"bugs\": [";
    for (std::size_t number = 0; number < count; ++number) {
        list += (number == 0 ? "" : ",") + bug;
    }
    return list + "]}";
}

Benchmark documentTree(std::size_t count) {
    return [text = bugList(count)](benchmark::State& state) {
        for ([[maybe_unused]] auto round : state) {
            benchmark::DoNotOptimize(boost::json::parse(text));
        }
        state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
    };
}

Benchmark records(std::size_t count) {
    return [text = bugList(count), count](benchmark::State& state) {
        const JSONDecoder decoder = QuernlightDecoder::make();
        for ([[maybe_unused]] auto round : state) {
            const ReadableList<QLBugSummaryDTO> list = decoder.decodeReadableBugs(text);
            if (list.records.size() != count) {
                throw std::runtime_error("A bug of the benchmark cannot be read.");
            }
        }
        state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
    };
}

}  // namespace

void addRecordRows(Table& table) {
    for (const std::size_t count : {1'000U, 50'000U}) {
        table.add({.what = std::to_string(count) + " bugs, bytes to records",
                   .reference = "Boost.JSON's tree of values",
                   .figure = Figure::speed,
                   .bar = 1},
                  documentTree(count), records(count));
    }
}

}  // namespace quernlight::bench

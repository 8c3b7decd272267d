#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

namespace quernlight::bench {

/// What a benchmark's figure is, and on which side of the bar its ratio to the reference has to lie.
enum class Figure {
    speed,   ///< bytes a second of this thread's work (`SetBytesProcessed`), at least
    time,    ///< of one iteration, on the clock on the wall, at most
    work,    ///< processor time of one iteration, of all threads of this process, at most
    amount,  ///< what the benchmark reports by `reportAmount`, at most
};

/// One row of the table: what is measured, what it is held against in the same run, the ratio to pass.
struct Comparison {
    std::string what;
    std::string reference;
    Figure figure = Figure::time;
    double bar = 1;
    std::string unit{};  ///< of an amount
};

using Benchmark = std::function<void(benchmark::State&)>;

/// The figure of a benchmark that measures something other than time or speed.
void reportAmount(benchmark::State& state, double amount);

/// Runs comparisons, reference and ours one after the other in every round, so that both meet the same
/// machine.
class Table {
  public:
    /// With `smoke` each benchmark runs one iteration, which shows that it works and measures nothing.
    explicit Table(bool smoke) : smoke_(smoke) {}

    void add(Comparison comparison, Benchmark reference, Benchmark ours);

    /// Those whose `what` contains `part`. False when a benchmark failed.
    bool run(int rounds, std::string_view part);

    /// The medians of all rounds as text, one line a comparison.
    std::string text() const;

  private:
    struct Row {
        Comparison comparison;
        std::vector<double> reference{};
        std::vector<double> ours{};
    };

    void registerBenchmark(const std::string& name, Benchmark benchmark, Figure figure);
    bool measure(const Row& row, const std::string& name, std::vector<double>& figures);

    bool smoke_;
    std::vector<Row> rows_;
};

/// The middle of the figures; of an even number the lower of the two.
double median(std::vector<double> figures);

// One for each part of the library.
void addTerminalRows(Table& table);
void addQueueRows(Table& table);
void addRecordRows(Table& table);
void addSessionRows(Table& table);
void addHttpRows(Table& table);

}  // namespace quernlight::bench

#include "bench/comparison.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <optional>
#include <utility>

namespace quernlight::bench {
namespace {

constexpr const char* amountCounter = "amount";

/// Keeps the figure of the one run that it is told of.
class FigureReader : public benchmark::BenchmarkReporter {
  public:
    explicit FigureReader(Figure kind) : kind_(kind) {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::cerr << run.benchmark_name() << ": " << run.error_message << "\n";
            } else {
                figure = figureOf(run);
            }
        }
    }

    std::optional<double> figure;

  private:
    double figureOf(const Run& run) const {
        switch (kind_) {
            case Figure::speed:
                return run.counters.at("bytes_per_second");
            case Figure::amount:
                return run.counters.at(amountCounter);
            case Figure::work:
                return run.cpu_accumulated_time / static_cast<double>(run.iterations);
            case Figure::time:
                break;
        }
        return run.real_accumulated_time / static_cast<double>(run.iterations);
    }

    Figure kind_;
};

std::string formatted(double number, const char* unit) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), number < 10 ? "%.2f%s" : "%.0f%s", number, unit);
    return text.data();
}

std::string timeText(double seconds) {
    if (seconds >= 1e-3) {
        return formatted(seconds * 1e3, " ms");
    }
    return seconds >= 1e-6 ? formatted(seconds * 1e6, " us") : formatted(seconds * 1e9, " ns");
}

std::string figureText(double figure, const Comparison& comparison) {
    switch (comparison.figure) {
        case Figure::speed:
            return formatted(figure / 1e9, " GB/s");
        case Figure::amount:
            return formatted(figure, (" " + comparison.unit).c_str());
        case Figure::time:
        case Figure::work:
            break;
    }
    return timeText(figure);
}

std::string line(const std::array<std::string, 6>& cells) {
    constexpr std::array widths{48, 34, 12, 12, 8, 0};
    std::string text;
    for (std::size_t index = 0; index < cells.size(); ++index) {
        text += cells[index];
        const auto width = static_cast<std::size_t>(widths[index]);
        text.append(width > cells[index].size() ? width - cells[index].size() : 1, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

/// Of figures that were measured one after the other, round by round.
double medianRatio(const std::vector<double>& ours, const std::vector<double>& reference) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < ours.size(); ++round) {
        ratios.push_back(ours[round] / reference[round]);
    }
    return median(std::move(ratios));
}

}  // namespace

void reportAmount(benchmark::State& state, double amount) {
    state.counters[amountCounter] = amount;
}

double median(std::vector<double> figures) {
    std::sort(figures.begin(), figures.end());
    return figures.empty() ? 0 : figures[(figures.size() - 1) / 2];
}

void Table::add(Comparison comparison, Benchmark reference, Benchmark ours) {
    registerBenchmark(comparison.what + "/reference", std::move(reference), comparison.figure);
    registerBenchmark(comparison.what + "/ours", std::move(ours), comparison.figure);
    rows_.push_back({.comparison = std::move(comparison)});
}

void Table::registerBenchmark(const std::string& name, Benchmark benchmark, Figure figure) {
    auto* added = benchmark::RegisterBenchmark(name.c_str(), std::move(benchmark));
    if (figure == Figure::work) {
        added->MeasureProcessCPUTime();
    } else if (figure != Figure::speed) {
        added->UseRealTime();
    }
    if (smoke_) {
        added->Iterations(1);
    } else {
        added->MinTime(0.1);
    }
}

bool Table::run(int rounds, std::string_view part) {
    std::erase_if(rows_, [&](const Row& row) { return row.comparison.what.find(part) == std::string::npos; });
    bool good = true;
    for (int round = 0; round < rounds; ++round) {
        for (Row& row : rows_) {
            good = measure(row, "/reference", row.reference) && measure(row, "/ours", row.ours) && good;
        }
    }
    return good;
}

bool Table::measure(const Row& row, const std::string& name, std::vector<double>& figures) {
    FigureReader reader(row.comparison.figure);
    benchmark::RunSpecifiedBenchmarks(&reader, "^" + row.comparison.what + name + "(/|$)");
    if (!reader.figure) {
        return false;
    }
    figures.push_back(*reader.figure);
    return true;
}

std::string Table::text() const {
    std::string text = line({"what", "reference", "reference", "ours", "ratio", "bar"});
    for (const auto& [comparison, reference, ours] : rows_) {
        const char* side = comparison.figure == Figure::speed ? "at least " : "at most ";
        text += line({comparison.what, comparison.reference, figureText(median(reference), comparison),
                      figureText(median(ours), comparison), formatted(medianRatio(ours, reference), ""),
                      side + formatted(comparison.bar, "")});
    }
    return text;
}

}  // namespace quernlight::bench

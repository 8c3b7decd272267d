#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quernlight::host {

enum class MetricType { counter, gauge, histogram };

struct MetricSample {
    std::string suffix{};  ///< behind the metric's name: "_bucket", of a histogram
    std::vector<std::pair<std::string, std::string>> labels{};
    double value = 0;
};

struct Metric {
    std::string name{};
    std::string help{};
    MetricType type = MetricType::gauge;
    std::vector<MetricSample> samples{};
};

/// A metric of one value.
Metric metric(MetricType type, std::string name, std::string help, double value);

/// How often values up to each bound were seen. Used on one executor.
class Histogram {
  public:
    /// The bounds grow.
    explicit Histogram(std::vector<double> bounds)
        : bounds_(std::move(bounds)), counts_(bounds_.size() + 1) {}

    void add(double value);

    Metric metric(std::string name, std::string help) const;

  private:
    const std::vector<double> bounds_;
    std::vector<std::uint64_t> counts_;  // one more: those above all bounds
    double sum_ = 0;
};

constexpr const char* metricsContentType = "text/plain; version=0.0.4; charset=utf-8";

/// The metrics as text, in version 0.0.4 of Prometheus's exposition format. Pure.
std::string expositionText(const std::vector<Metric>& metrics);

}  // namespace quernlight::host

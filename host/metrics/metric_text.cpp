#include "host/metrics/metric_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace quernlight::host {
namespace {

constexpr std::array<std::string_view, 3> typeNames{"counter", "gauge", "histogram"};

/// Whole numbers without an exponent, others with as many digits as tell them apart.
std::string numberText(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    constexpr double mostExact = 9007199254740992;
    std::array<char, 64> text{};
    const bool isWhole = std::trunc(value) == value && std::abs(value) < mostExact;
    const auto end = isWhole ? std::to_chars(text.begin(), text.end(), static_cast<std::int64_t>(value)).ptr
                             : std::to_chars(text.begin(), text.end(), value).ptr;
    return {text.data(), end};
}

std::string escaped(std::string_view text, bool isLabel) {
    std::string written;
    for (const char character : text) {
        if (character == '\\' || (isLabel && character == '"')) {
            written += '\\';
        }
        written += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return written;
}

std::string labelsText(const MetricSample& sample) {
    std::string text;
    for (const auto& [name, value] : sample.labels) {
        text += (text.empty() ? "{" : ",") + name + "=\"" + escaped(value, true) + "\"";
    }
    return text.empty() ? "" : text + "}";
}

}  // namespace

Metric metric(MetricType type, std::string name, std::string help, double value) {
    return {.name = std::move(name), .help = std::move(help), .type = type, .samples = {{.value = value}}};
}

void Histogram::add(double value) {
    const auto bound = std::ranges::lower_bound(bounds_, value);
    ++counts_.at(static_cast<std::size_t>(std::distance(bounds_.begin(), bound)));
    sum_ += value;
}

/// Each bucket holds all that are smaller, too.
Metric Histogram::metric(std::string name, std::string help) const {
    Metric told{.name = std::move(name), .help = std::move(help), .type = MetricType::histogram};
    double count = 0;
    for (std::size_t index = 0; index < counts_.size(); ++index) {
        count += static_cast<double>(counts_[index]);
        const double bound = index < bounds_.size() ? bounds_[index] : INFINITY;
        told.samples.push_back({.suffix = "_bucket", .labels = {{"le", numberText(bound)}}, .value = count});
    }
    told.samples.push_back({.suffix = "_sum", .value = sum_});
    told.samples.push_back({.suffix = "_count", .value = count});
    return told;
}

std::string expositionText(const std::vector<Metric>& metrics) {
    std::string text;
    for (const Metric& told : metrics) {
        text += "# HELP " + told.name + " " + escaped(told.help, false) + "\n";
        text += "# TYPE " + told.name + " " + std::string(typeNames.at(static_cast<std::size_t>(told.type))) +
                "\n";
        for (const MetricSample& sample : told.samples) {
            text += told.name + sample.suffix + labelsText(sample) + " " + numberText(sample.value) + "\n";
        }
    }
    return text;
}

}  // namespace quernlight::host

#include "host/metrics/metric_text.hpp"

#include <cmath>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(MetricTextTest, EachMetricHasItsHelpItsTypeAndItsSamples) {
    const Metric one{.name = "quernlight_queue_bugs",
                     .help = "Bugs of the queue, by status.",
                     .samples = {{.labels = {{"status", "queued"}}, .value = 3},
                                 {.labels = {{"status", "failed"}}, .value = 0}}};
    const Metric other = metric(MetricType::counter, "quernlight_polls_total", "Polls.", 12);
    EXPECT_EQ(expositionText({one, other}), R"(# HELP quernlight_queue_bugs Bugs of the queue, by status.
# TYPE quernlight_queue_bugs gauge
quernlight_queue_bugs{status="queued"} 3
quernlight_queue_bugs{status="failed"} 0
# HELP quernlight_polls_total Polls.
# TYPE quernlight_polls_total counter
quernlight_polls_total 12
)");
}

TEST(MetricTextTest, WhatEndsALineOrATextIsEscaped) {
    const Metric odd{.name = "odd", .help = "a\\b\n\"c\"", .samples = {{.labels = {{"l", "x\\y\n\"z\""}}}}};
    EXPECT_EQ(expositionText({odd}),
              "# HELP odd a\\\\b\\n\"c\"\n# TYPE odd gauge\nodd{l=\"x\\\\y\\n\\\"z\\\"\"} 0\n");
}

struct NumberRow {
    const char* name;
    double value;
    const char* text;
};

class MetricNumberTest : public testing::TestWithParam<NumberRow> {};

TEST_P(MetricNumberTest, IsWrittenInFull) {
    const std::string text = expositionText({metric(MetricType::gauge, "m", "h", GetParam().value)});
    EXPECT_EQ(text, std::string("# HELP m h\n# TYPE m gauge\nm ") + GetParam().text + "\n");
}

INSTANTIATE_TEST_SUITE_P(Table, MetricNumberTest,
                         testing::Values(NumberRow{"Nothing", 0, "0"}, NumberRow{"Whole", 1234567, "1234567"},
                                         NumberRow{"Large", 9007199254740991, "9007199254740991"},
                                         NumberRow{"Negative", -3, "-3"}, NumberRow{"Part", 0.125, "0.125"},
                                         NumberRow{"Infinite", INFINITY, "+Inf"},
                                         NumberRow{"None", NAN, "NaN"}),
                         [](const auto& row) { return row.param.name; });

TEST(HistogramTest, EachBucketHoldsAllThatAreSmaller) {
    Histogram waits({1, 2.5});
    for (const double seconds : {0.5, 1.0, 2.0, 7.0}) {
        waits.add(seconds);
    }
    EXPECT_EQ(expositionText({waits.metric("wait_seconds", "Waits.")}), R"(# HELP wait_seconds Waits.
# TYPE wait_seconds histogram
wait_seconds_bucket{le="1"} 2
wait_seconds_bucket{le="2.5"} 3
wait_seconds_bucket{le="+Inf"} 4
wait_seconds_sum 10.5
wait_seconds_count 4
)");
}

}  // namespace
}  // namespace quernlight::host

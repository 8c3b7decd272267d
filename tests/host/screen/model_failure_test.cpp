#include "host/screen/model_failure.hpp"

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "host/screen/screen_model.hpp"

namespace quernlight::host {
namespace {

struct FailureRow {
    std::string name;
    std::string screen;  // above an empty composer
    std::string notice;  // empty: none that tells of the model
};

class ModelFailureTest : public testing::TestWithParam<FailureRow> {};

TEST_P(ModelFailureTest, IsReadFromTheLastNotice) {
    ScreenModel model(100, 30);
    model.write("\x1b[?25l" + GetParam().screen + "\r\n\r\n\x1b[?25h\u203A ");
    EXPECT_EQ(modelFailure(model.picture()).value_or(""), GetParam().notice);
}

INSTANTIATE_TEST_SUITE_P(
    Notices, ModelFailureTest,
    testing::Values(FailureRow{"Refused", "\u25A0 unexpected status 401 Unauthorized",
                               "unexpected status 401 Unauthorized"},
                    FailureRow{"Forbidden", "\u25A0 HTTP 403: no", "HTTP 403: no"},
                    FailureRow{"TooMany", "\u25A0 exceeded retry limit, last status: 429 Too Many Requests",
                               "exceeded retry limit, last status: 429 Too Many Requests"},
                    FailureRow{"ServerFault", "\u25A0 server answered 503, giving up",
                               "server answered 503, giving up"},
                    FailureRow{"Network", "\u25A0 stream disconnected: network unreachable",
                               "stream disconnected: network unreachable"},
                    FailureRow{"AnotherMark", "\u26A0 Request failed (500)", "Request failed (500)"},
                    FailureRow{"AWordAsMark", "Error: Unauthorized", "Unauthorized"},
                    FailureRow{"OnTwoLines", "\u2717 the request failed with\r\n  status 502",
                               "the request failed with status 502"},
                    FailureRow{"AnotherFailure", "\u25A0 The patch does not apply", ""},
                    FailureRow{"ANumberOfItsOwn", "\u25A0 status: 512345 lines, version 1.503", ""},
                    FailureRow{"ACount", "\u26A0 500 files were left out", ""},
                    FailureRow{"TheModelsWords", "\u2022 HTTP status 401 is handled now", ""},
                    FailureRow{"NotTheLast", "\u25A0 HTTP 401\r\n\r\n\u2022 It works again.", ""}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host

#include "host/settings/token_source.hpp"

#include <ostream>

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using Kind = TokenSource::Kind;

struct SourceRow {
    const char* name;
    const char* option;
    const char* variable;
    const char* setting;
    TokenSource source;
    const char* told;
};

void PrintTo(const SourceRow& row, std::ostream* out) {
    *out << row.name;
}

class TokenSourceTest : public testing::TestWithParam<SourceRow> {};

TEST_P(TokenSourceTest, IsTheFirstThatIsNamed) {
    const SourceRow& row = GetParam();
    const auto option = row.option ? std::optional<std::filesystem::path>(row.option) : std::nullopt;
    const EnvironmentMap environment =
        row.variable ? EnvironmentMap{{"QUERNLIGHT_TOKEN_FILE", row.variable}} : EnvironmentMap{};
    const TokenSource source = tokenSource(option, environment, {.backendTokenFile = row.setting});
    EXPECT_EQ(source, row.source);
    EXPECT_EQ(describe(source), row.told);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TokenSourceTest,
    testing::Values(
        SourceRow{"all", "/a", "/b", "/c", {Kind::option, "/a"}, "the file /a (option --token-file)"},
        SourceRow{"no option",
                  nullptr,
                  "/b",
                  "/c",
                  {Kind::environment, "/b"},
                  "the file /b (environment variable QUERNLIGHT_TOKEN_FILE)"},
        SourceRow{"an empty variable",
                  nullptr,
                  "",
                  "/c",
                  {Kind::setting, "/c"},
                  "the file /c (setting backend.token_file)"},
        SourceRow{"the setting alone",
                  nullptr,
                  nullptr,
                  "/c",
                  {Kind::setting, "/c"},
                  "the file /c (setting backend.token_file)"},
        SourceRow{"none", nullptr, nullptr, "", {Kind::store, {}}, "the token store"}));

}  // namespace
}  // namespace quernlight::host

#include "host/control/listener_gate.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::Pair;

constexpr std::uint16_t port = 8080;
const std::string token(64, 'a');

struct OriginRow {
    const char* name;
    RequestOrigin request;
    bool isTaken;
};

class ForeignTroubleTest : public testing::TestWithParam<OriginRow> {};

TEST_P(ForeignTroubleTest, OnlyRequestsForThisMachineFromItsOwnPagesAreTaken) {
    EXPECT_EQ(!foreignTrouble(GetParam().request, port), GetParam().isTaken);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ForeignTroubleTest,
    testing::Values(
        OriginRow{"TheAddress", {.hosts = {"127.0.0.1:8080"}}, true},
        OriginRow{"TheAddressWithoutAPort", {.hosts = {"127.0.0.1"}}, true},
        OriginRow{"TheName", {.hosts = {"LocalHost:8080"}}, true},
        OriginRow{"TheOtherAddress", {.hosts = {"[::1]:8080"}}, true},
        OriginRow{"AnotherPort", {.hosts = {"127.0.0.1:8081"}}, false},
        OriginRow{"ANameThatIsMadeToMeanThisMachine", {.hosts = {"evil.example:8080"}}, false},
        OriginRow{"ANameThatBeginsLikeOurs", {.hosts = {"127.0.0.1.evil.example"}}, false},
        OriginRow{"ANameThatEndsLikeOurs", {.hosts = {"evil.localhost:8080"}}, false},
        OriginRow{"NoHost", {}, false}, OriginRow{"AnEmptyHost", {.hosts = {""}}, false},
        OriginRow{"TwoHosts", {.hosts = {"127.0.0.1:8080", "evil.example"}}, false},
        OriginRow{"AnOwnPage", {.hosts = {"localhost:8080"}, .origins = {"http://localhost:8080"}}, true},
        OriginRow{"APageOfTheAddress", {.hosts = {"localhost"}, .origins = {"http://127.0.0.1:8080"}}, true},
        OriginRow{"APageOfAnotherPort", {.hosts = {"localhost"}, .origins = {"http://localhost:1"}}, false},
        OriginRow{"APageWithoutAPort", {.hosts = {"localhost"}, .origins = {"http://localhost"}}, false},
        OriginRow{
            "APageOfAnotherScheme", {.hosts = {"localhost"}, .origins = {"https://localhost:8080"}}, false},
        OriginRow{"AForeignPage", {.hosts = {"localhost"}, .origins = {"http://evil.example"}}, false},
        OriginRow{"APageOfNoOrigin", {.hosts = {"localhost"}, .origins = {"null"}}, false},
        OriginRow{"AnOwnPageAndAForeignOne",
                  {.hosts = {"localhost"}, .origins = {"http://localhost:8080", "http://evil.example"}},
                  false}),
    [](const auto& row) { return row.param.name; });

class ListenerGateTest : public testing::Test {
  protected:
    unsigned statusOf(const std::vector<std::string>& authorizations, const std::string& host = "localhost") {
        refusal = gate.refusal({.hosts = {host}, .authorizations = authorizations}, now);
        return refusal ? refusal->status : 200;
    }

    ListenerGate gate{port, token};
    ListenerGate::TimePoint now{std::chrono::hours(1)};
    std::optional<ControlResponse> refusal;
};

TEST_F(ListenerGateTest, OnlyTheTokenLetsIn) {
    const struct {
        const char* name;
        std::vector<std::string> authorizations;
        unsigned status;
    } rows[] = {
        {"the token", {"Bearer " + token}, 200},
        {"the scheme in small letters", {"bearer " + token}, 200},
        {"the scheme in capital letters", {"BEARER " + token}, 200},
        {"two blanks", {"Bearer  " + token}, 200},
        {"no blank", {"Bearer" + token}, 401},
        {"nothing", {}, 401},
        {"an empty one", {"Bearer "}, 401},
        {"the scheme alone", {"Bearer"}, 401},
        {"the token alone", {token}, 401},
        {"its beginning", {"Bearer " + token.substr(1)}, 401},
        {"more than it", {"Bearer " + token + "a"}, 401},
        {"twice its length", {"Bearer " + token + token}, 401},
        {"another one", {"Bearer " + std::string(64, 'b')}, 401},
        {"another scheme", {"Basic " + token}, 401},
        {"two of them", {"Bearer " + token, "Bearer " + token}, 401},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(statusOf(row.authorizations), row.status) << row.name;
    }
}

TEST_F(ListenerGateTest, WhoIsRefusedIsToldWhatIsMissing) {
    EXPECT_EQ(statusOf({}), 401U);
    EXPECT_THAT(refusal->fields, Contains(Pair("WWW-Authenticate", "Bearer")));
}

TEST_F(ListenerGateTest, AForeignRequestIsRefusedEvenWithTheToken) {
    EXPECT_EQ(statusOf({"Bearer " + token}, "evil.example"), 403U);
}

TEST_F(ListenerGateTest, WhoeverTriesManyTokensIsToldToWaitAndTheTokenStillLetsIn) {
    unsigned status = 401;
    for (int count = 0; count < 100 && status == 401; ++count) {
        status = statusOf({"Bearer wrong"});
    }
    EXPECT_EQ(status, 429U);
    EXPECT_EQ(statusOf({"Bearer " + token}), 200U);
    now += std::chrono::seconds(1);
    EXPECT_EQ(statusOf({"Bearer wrong"}), 401U);
}

}  // namespace
}  // namespace quernlight::host

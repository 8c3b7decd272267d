#include <ostream>

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_client.hpp"
#include "tests/backend/sample_answers.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using namespace test;
using Fault = ScriptedAnswer::Fault;
using Lines = std::vector<std::string>;

struct Refusal {
    int status = 0;
    const char* body = "";
};

void PrintTo(const Refusal& refusal, std::ostream* out) {
    *out << refusal.status << " \"" << refusal.body << "\"";
}

class FallbackTest : public testing::TestWithParam<Refusal> {
  protected:
    void refuse() { server.answer({.status = GetParam().status, .body = GetParam().body}); }

    QLCreateBugResponse createBug() const { return runTask(client.createBug(app, bug)); }
    void updateStatus() const { runTask(client.updateBugStatus("3F2A9C1D-0000", "in_review")); }

    /// The error of the backend; fails the test when there is none.
    template <class Call>
    static BackendError failure(Call call) {
        try {
            call();
        } catch (const BackendError& error) {
            return error;
        }
        ADD_FAILURE() << "the operation succeeded";
        return BackendError::invalidResponse();
    }

    json::object bodyOf(std::size_t index) const {
        return json::parse(server.requests().at(index).body).as_object();
    }

    const QLAppDTO app{.id = {}, .bundleID = "com.example.notes", .name = "Notes"};
    const CreateBugRequest bug{
        .title = "T", .description = "D", .reporter = "R", .metadata = {{{"k", "v"}}}, .logs = "ignored"};

    const ScopedUserLanguage english{"en"};
    RecordingServer server;
    QuernlightClient client{Url::parse(server.address()).value(), "secret-token",
                            std::make_shared<HttpSession>()};
};

constexpr const char* placeholder =
    "No diagnostic logs were collected.\n\nThis manual bug was filed from Quernlight Dispatch. The backend "
    "version that received it requires a non-empty logs field, so Dispatch sent this placeholder instead of "
    "collecting system logs.";

class LogsRequiredTest : public FallbackTest {};

TEST_P(LogsRequiredTest, HasTheSameBugFiledOnceMoreWithThePlaceholder) {
    refuse();
    server.answer({.status = 201, .body = createdBugJSON()});
    EXPECT_EQ(createBug().id, "3f2a9c1d");
    EXPECT_EQ(server.lines(), (Lines{"POST /v1/bugs", "POST /v1/bugs"}));
    json::object second = bodyOf(1);
    EXPECT_EQ(second.at("logs"), placeholder);
    second.erase("logs");
    EXPECT_EQ(second, bodyOf(0));
    EXPECT_EQ(bodyOf(0).if_contains("logs"), nullptr);
    EXPECT_EQ(server.requests().at(1).header("Authorization"), std::nullopt);
    EXPECT_EQ(server.requests().at(1).header("x-bundle-id"), "com.example.notes");
}

TEST_P(LogsRequiredTest, FailsWithWhatTheSecondRequestIsAnswered) {
    refuse();
    server.answer({.status = 503, .body = "later"});
    EXPECT_EQ(failure([&] { createBug(); }), BackendError::server(503, "later"));
}

TEST_P(LogsRequiredTest, IsThrownWhenThePlaceholderDoesNotHelp) {
    refuse();
    refuse();
    EXPECT_EQ(failure([&] { createBug(); }), BackendError::server(GetParam().status, GetParam().body));
    EXPECT_EQ(server.requests().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Refusals, LogsRequiredTest,
                         testing::Values(Refusal{400, "logs required"}, Refusal{400, "Logs Required"},
                                         Refusal{400, "LOGS REQUIRED"}, Refusal{400, "log\u017F required"},
                                         Refusal{400, R"({"error": "logs required by this version"})"}));

class LogsNotRequiredTest : public FallbackTest {};

TEST_P(LogsNotRequiredTest, IsThrownAsItIs) {
    refuse();
    EXPECT_EQ(failure([&] { createBug(); }), BackendError::server(GetParam().status, GetParam().body));
    EXPECT_EQ(server.requests().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Refusals, LogsNotRequiredTest,
                         testing::Values(Refusal{400, ""}, Refusal{400, "title required"},
                                         Refusal{400, "logs  required"}, Refusal{400, "log required"},
                                         Refusal{401, "logs required"}, Refusal{403, "logs required"},
                                         Refusal{404, "logs required"}, Refusal{422, "logs required"},
                                         Refusal{500, "logs required"}));

class TurkishLogsRequiredTest : public FallbackTest {};

TEST_P(TurkishLogsRequiredTest, AreRecognisedByTheLettersOfThatLanguage) {
    const ScopedUserLanguage turkish("tr");
    refuse();
    server.answer({.status = 201, .body = createdBugJSON()});
    createBug();
    EXPECT_EQ(server.requests().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Refusals, TurkishLogsRequiredTest,
                         testing::Values(Refusal{400, "Logs Required"}, Refusal{400, "LOGS REQU\u0130RED"}));

TEST_P(TurkishLogsRequiredTest, AreNotThoseWhoseIHasNoDotInThatLanguage) {
    const ScopedUserLanguage turkish("tr");
    server.answer({.status = 400, .body = "LOGS REQUIRED"});
    EXPECT_EQ(failure([&] { createBug(); }), BackendError::server(400, "LOGS REQUIRED"));
    EXPECT_EQ(server.requests().size(), 1U);
}

class StatusRefusedTest : public FallbackTest {};

TEST_P(StatusRefusedTest, HasTheSameStatusPostedWithTheToken) {
    refuse();
    server.answer({.status = 204});
    updateStatus();
    EXPECT_EQ(server.lines(), (Lines{"PATCH /v1/bugs/3f2a9c1d", "POST /v1/bugs/3f2a9c1d/status"}));
    EXPECT_EQ(bodyOf(1), json::parse(R"({"status": "in_review"})").as_object());
    EXPECT_EQ(bodyOf(1), bodyOf(0));
    EXPECT_EQ(server.requests().at(1).header("Authorization"), "Bearer secret-token");
    EXPECT_EQ(server.requests().at(1).header("Content-Type"), "application/json");
}

TEST_P(StatusRefusedTest, FailsWithWhatTheSecondRequestIsAnsweredWithoutAThird) {
    refuse();
    server.answer({.status = 403, .body = "not you"});
    EXPECT_EQ(failure([&] { updateStatus(); }), BackendError::server(403, "not you"));
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_P(StatusRefusedTest, OfAnotherOperationIsThrownAsItIs) {
    const BackendError refusal = BackendError::server(GetParam().status, GetParam().body);
    refuse();
    EXPECT_EQ(failure([&] { runTask(client.updateBugPRURL("3f2a9c1d", {})); }), refusal);
    refuse();
    EXPECT_EQ(failure([&] { runTask(client.deleteBug("3f2a9c1d")); }), refusal);
    EXPECT_EQ(server.requests().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Refusals, StatusRefusedTest,
                         testing::Values(Refusal{401, ""}, Refusal{403, ""}, Refusal{403, "no PATCH here"}));

class StatusNotAcceptedTest : public FallbackTest {};

TEST_P(StatusNotAcceptedTest, IsThrownAsItIs) {
    refuse();
    EXPECT_EQ(failure([&] { updateStatus(); }), BackendError::server(GetParam().status, GetParam().body));
    EXPECT_EQ(server.lines(), Lines{"PATCH /v1/bugs/3f2a9c1d"});
}

INSTANTIATE_TEST_SUITE_P(Refusals, StatusNotAcceptedTest,
                         testing::Values(Refusal{400, "bad status"}, Refusal{402, ""},
                                         Refusal{404, "no such bug"}, Refusal{405, ""}, Refusal{409, ""},
                                         Refusal{422, ""}, Refusal{500, "broken"}));

class OneRequestTest : public FallbackTest {};

TEST_F(OneRequestTest, AStatusOfAnUnknownBugFailsWithTheBackendsWords) {
    server.answer({.status = 404, .body = "no such bug"});
    EXPECT_STREQ(failure([&] { updateStatus(); }).what(), "The backend returned HTTP 404: no such bug");
}

TEST_F(OneRequestTest, ACutConnectionIsNoReasonForAFallback) {
    server.answer({.fault = Fault::noAnswer});
    EXPECT_THROW(updateStatus(), TransportError);
    server.answer({.fault = Fault::noAnswer});
    EXPECT_THROW(createBug(), TransportError);
    EXPECT_EQ(server.lines(), (Lines{"PATCH /v1/bugs/3f2a9c1d", "POST /v1/bugs"}));
}

// The change is done then, and its outcome is read: a second PATCH, or the fallback, would do it again.
TEST_F(OneRequestTest, AStatusWhoseOutcomeIsToBeSeenElsewhereIsPatchedOnce) {
    server.answer({.status = 303, .headers = {{"Location", "/v1/bugs/3f2a9c1d"}}});
    server.answer({.body = "{}"});
    updateStatus();
    EXPECT_EQ(server.lines(), (Lines{"PATCH /v1/bugs/3f2a9c1d", "GET /v1/bugs/3f2a9c1d"}));
}

TEST_F(OneRequestTest, AStatusThatIsForbiddenBehindARedirectIsPosted) {
    server.answer({.status = 307, .headers = {{"Location", "/v2/bugs/3f2a9c1d"}}});
    server.answer({.status = 403});
    server.answer({.status = 204});
    updateStatus();
    EXPECT_EQ(server.lines(),
              (Lines{"PATCH /v1/bugs/3f2a9c1d", "PATCH /v2/bugs/3f2a9c1d", "POST /v1/bugs/3f2a9c1d/status"}));
}

}  // namespace
}  // namespace quernlight

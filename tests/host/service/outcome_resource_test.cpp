#include "host/service/outcome_resource.hpp"

#include "tests/host/service/service_fixture.hpp"

namespace quernlight::host {
namespace {

/// The API's part about outcomes, without a home.
class OutcomeResourceTest : public test::ServiceFixture {
  protected:
    OutcomeResourceTest() { resource.offerOn(router); }

    unsigned reapWith(const std::string& body) {
        ControlRequest request{
            .method = "POST", .target = "/v1/review/reap", .body = body, .caller = {.isPerson = true}};
        return run(router.respond(std::move(request))).status;
    }

    ControlRouter router;
    OutcomeResource resource{*service};
};

/// It may have been meant to do nothing.
TEST_F(OutcomeResourceTest, AReapOfUnknownWordsIsRefused) {
    constexpr unsigned misread = 400;
    for (const char* body :
         {R"({"dryRun": true})", R"({"dry_run": true, "more": 1})", R"({"dry_run": "yes"})", "[]"}) {
        EXPECT_EQ(reapWith(body), misread) << body;
    }
    EXPECT_NE(reapWith(R"({"dry_run": true})"), misread);
    EXPECT_NE(reapWith("{}"), misread);
}

}  // namespace
}  // namespace quernlight::host

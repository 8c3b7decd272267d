#include "quernlight/backend/backend_error.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(BackendErrorTest, AServerErrorWithoutABodyNamesTheStatusOnly) {
    EXPECT_STREQ(BackendError::server(404, "").what(), "The backend returned HTTP 404");
}

TEST(BackendErrorTest, AServerErrorWithABodyQuotesIt) {
    const auto error = BackendError::server(404, "not found");
    EXPECT_STREQ(error.what(), "The backend returned HTTP 404: not found");
    EXPECT_EQ(error.status(), 404);
    EXPECT_EQ(error.body(), "not found");
}

TEST(BackendErrorTest, TheOtherCasesHaveFixedSentences) {
    EXPECT_STREQ(BackendError::invalidURL().what(), "Invalid backend URL.");
    EXPECT_STREQ(BackendError::invalidResponse().what(), "The backend returned an invalid response.");
}

TEST(BackendErrorTest, ErrorsOfTheSameCaseAndPayloadAreEqual) {
    EXPECT_EQ(BackendError::server(404, "x"), BackendError::server(404, "x"));
    EXPECT_FALSE(BackendError::server(404, "x") == BackendError::server(404, "y"));
    EXPECT_FALSE(BackendError::invalidURL() == BackendError::invalidResponse());
}

TEST(BackendErrorTest, ThePauseThatTheBackendAsksForIsNoPartOfWhatIsCompared) {
    const auto error = BackendError::server(503, "x", std::chrono::seconds(30));
    EXPECT_EQ(error.retryAfter(), std::chrono::seconds(30));
    EXPECT_EQ(error, BackendError::server(503, "x"));
    EXPECT_STREQ(error.what(), "The backend returned HTTP 503: x");
    EXPECT_EQ(BackendError::server(503, "x").retryAfter(), std::nullopt);
}

}  // namespace
}  // namespace quernlight

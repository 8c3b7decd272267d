#include "host/text/failure_sentence.hpp"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"

namespace quernlight::host {
namespace {

TEST(FailureSentenceTest, AShortAnswerIsShownAsItIs) {
    EXPECT_EQ(failureSentence(BackendError::server(404, "not found\n")),
              "The backend returned HTTP 404: not found");
    EXPECT_EQ(failureSentence(BackendError::server(503, "")), "The backend returned HTTP 503");
    EXPECT_EQ(failureSentence(BackendError::invalidURL()), "Invalid backend URL.");
}

TEST(FailureSentenceTest, ALongAnswerIsOneLineOfThreeHundredCharacters) {
    const auto error = BackendError::server(500, "a\nb\x1b[2J\u202e" + std::string(1 << 20, 'x'));
    const std::string beginning = R"(a\nb\x1b[2J\u202e)";
    EXPECT_EQ(failureSentence(error),
              "The backend returned HTTP 500: " + beginning + std::string(299 - beginning.size(), 'x') + "…");
}

TEST(FailureSentenceTest, WhatCouldNotBeReadIsCutAsWell) {
    const DecodingError error(DecodingError::Reason::dataCorrupted, "bugs", std::string(1 << 20, '\x1b'));
    EXPECT_THAT(failureSentence(error), testing::StartsWith(R"(\x1b\x1b)"));
    EXPECT_LT(failureSentence(error).size(), 310U);
}

TEST(FailureSentenceTest, OtherSentencesStayWhole) {
    const std::string sentence = "The disk is full; free some space.";
    EXPECT_EQ(failureSentence(std::runtime_error(sentence)), sentence);
}

}  // namespace
}  // namespace quernlight::host

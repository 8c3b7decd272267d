#pragma once

#include <string>

#include "quernlight/platform/url.hpp"

namespace quernlight {

struct VerificationGoalFields {
    std::string appName;
    std::string baseBranch;
    std::string bugTitle;
    Url bugURL;
};

/// A prompt that makes the agent change nothing and only show that it was started in the right repository.
struct M3GoalTextBuilder {
    M3GoalTextBuilder() = delete;

    /// Ends with two line feeds.
    static std::string verificationGoal(const VerificationGoalFields& fields);
};

}  // namespace quernlight

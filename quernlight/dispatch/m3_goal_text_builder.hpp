#pragma once

#include <string>

#include "quernlight/platform/url.hpp"

namespace quernlight {

/// What the verification prompt tells. It is typed into a terminal: in all but the branch, which come from
/// the backend, each control character and line separator is one blank.
struct VerificationGoalFields {
    std::string appName{};
    std::string baseBranch{};
    std::string bugTitle{};
    Url bugURL{};
};

/// A prompt that makes the agent change nothing and only show that it was started in the right repository.
/// A pure function, for any thread.
struct M3GoalTextBuilder {
    M3GoalTextBuilder() = delete;

    /// One line of instructions and one for each field; ends with two line feeds.
    static std::string verificationGoal(const VerificationGoalFields& fields);
};

}  // namespace quernlight

#pragma once

#include <string>
#include <vector>

namespace quernlight::test {

/// What became of the bugs that were sent down the road with one release.
struct ReleaseReport {
    std::string release{};
    int bugs = 0;
    int reported = 0;
    int wholeGoals = 0;
    int goals = 0;                     ///< those that the model was told, whole or not
    int accepted = 0;                  ///< as the dispatcher saw it
    int takenOnce = 0;                 ///< of these, by the agent's own records
    std::vector<double> acceptance{};  ///< seconds from a session's start to its goal's acceptance
    int resumed = 0;
    int interrupted = 0;
};

/// Of the releases tried so far.
std::vector<ReleaseReport>& reports();

/// A line of headings and a line for each release.
std::string table(const std::vector<ReleaseReport>& reports);

}  // namespace quernlight::test

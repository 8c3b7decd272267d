#pragma once

#include <map>
#include <string>
#include <vector>

#include "quernlight/git/git_runner.hpp"

namespace quernlight::host {

/// The fetches of one repository, which preparations that wait for their turn in it share: a fetch that began
/// after one had asked shows it all that its own would. Used on one executor, one fetch at a time.
class SharedFetches {
  public:
    /// `run` for somebody who asks now: its fetches that another one has made since are not repeated, if they
    /// succeeded. Borrows this object for as long as it is used.
    GitRunner sharing(GitRunner run);

  private:
    struct Fetch {
        int number = 0;
        GitCommandResult result{};
    };

    Task<GitCommandResult> runOrReuse(int asked, GitRunner run, std::vector<std::string> arguments);

    int begun_ = 0;                                        // how many, so far
    std::map<std::vector<std::string>, Fetch> succeeded_;  // the latest, by arguments
};

}  // namespace quernlight::host

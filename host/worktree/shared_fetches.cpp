#include "host/worktree/shared_fetches.hpp"

#include <utility>

namespace quernlight::host {

GitRunner SharedFetches::sharing(GitRunner run) {
    return [this, asked = begun_, run = std::move(run)](std::vector<std::string> arguments) {
        const bool fetches = arguments.size() > 2 && arguments[2] == "fetch";
        return fetches ? runOrReuse(asked, run, std::move(arguments)) : run(std::move(arguments));
    };
}

Task<GitCommandResult> SharedFetches::runOrReuse(int asked, GitRunner run,
                                                 std::vector<std::string> arguments) {
    const auto known = succeeded_.find(arguments);
    if (known != succeeded_.end() && known->second.number > asked) {
        co_return known->second.result;
    }
    const int number = ++begun_;
    const GitCommandResult result = co_await run(arguments);
    if (result.succeeded()) {
        succeeded_[arguments] = Fetch{.number = number, .result = result};
    }
    co_return result;
}

}  // namespace quernlight::host

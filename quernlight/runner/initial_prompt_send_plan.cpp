#include "quernlight/runner/initial_prompt_send_plan.hpp"

namespace quernlight {

std::vector<std::string> InitialPromptSendPlan::chunks(std::string_view initialInput) {
    if (initialInput.empty()) {
        return {};
    }
    std::string body(initialInput);
    if (!initialInput.ends_with('\n')) {
        body.push_back('\n');
    } else if (initialInput.ends_with("\n\n")) {
        body.pop_back();
    }
    return {std::move(body), "\n"};
}

}  // namespace quernlight

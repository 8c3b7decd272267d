#pragma once

#include <string>

#include <boost/json.hpp>

#include "standin/model/conversation.hpp"
#include "tests/standin/goal_samples.hpp"

namespace quernlight::standin::test {

/// A request for an answer, put together as agents do it.
class ModelRequest {
  public:
    ModelRequest() {
        body_ = {{"stream", true}, {"input", boost::json::array()}, {"tools", boost::json::array()}};
    }

    ModelRequest& thread(const std::string& id) {
        request_.headers.emplace_back("Thread-Id", id);
        return *this;
    }
    ModelRequest& item(const boost::json::object& item) {
        body_["input"].as_array().push_back(item);
        return *this;
    }
    ModelRequest& userSays(const std::string& text) {
        const boost::json::object piece{{"type", "input_text"}, {"text", text}};
        return item({{"type", "message"}, {"role", "user"}, {"content", boost::json::array{piece}}});
    }
    /// A goal as 0.145 and its like tell it.
    ModelRequest& goal(const std::string& objective) {
        return userSays("<codex_internal_context source=\"goal\">\nContinue.\n\n<objective>\n" + objective +
                        "\n</objective>\n</codex_internal_context>");
    }
    /// A goal as 0.169 and its like tell it.
    ModelRequest& goalObjective(const std::string& objective) {
        return item({{"type", "function_call_output"}, {"name", "goal_objective"}, {"output", objective}});
    }
    ModelRequest& output(const std::string& callID, const std::string& text) {
        return item({{"type", "function_call_output"}, {"call_id", callID}, {"output", text}});
    }
    ModelRequest& tool(const std::string& name) {
        body_["tools"].as_array().push_back({{"type", "function"}, {"name", name}});
        return *this;
    }
    ModelRequest& grouped(const std::string& group, const std::string& name) {
        const boost::json::object function{{"type", "function"}, {"name", name}};
        body_["tools"].as_array().push_back(
            {{"type", "namespace"}, {"name", group}, {"tools", boost::json::array{function}}});
        return *this;
    }

    Request request() const {
        Request made = request_;
        made.body = boost::json::serialize(body_);
        return made;
    }
    model::Conversation conversation() const { return model::readConversation(request()); }

  private:
    Request request_{.method = "POST", .target = "/v1/responses", .headers = {}, .body = {}};
    boost::json::object body_;
};

/// The order to fix a bug as an agent keeps it: without the command and the white space around it.
inline std::string objectiveFor(const GoalNames& names) {
    const std::string typed = fixGoal(names);
    return typed.substr(6, typed.find_last_not_of('\n') - 5);
}

}  // namespace quernlight::standin::test

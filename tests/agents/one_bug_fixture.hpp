#pragma once

#include <chrono>
#include <functional>
#include <string>

#include <boost/json/object.hpp>

#include "tests/agents/released_agents_fixture.hpp"

namespace quernlight::test {

/// One bug, and a run of the program whose model does something special once it has the goal.
class OneBugFixture : public ReleasedAgentsFixture {
  protected:
    OneBugFixture() : ReleasedAgentsFixture(1) {}

    /// Starts the program; returns once the model has the goal.
    void startWithPlan(const boost::json::object& plan);
    /// The same with a model that does nothing but this.
    void startWith(boost::json::object step);
    /// Whatever the model does now, it answers well from here on.
    void modelAnswersWell();

    bool comes(const std::function<bool()>& holds);
    bool says(const std::string& text);
    bool isInHistory(const std::string& kind);
    bool isOnScreen(const std::string& text);

    /// A person types into the agent's terminal.
    void types(const std::string& keys);
    /// Enter, at a question that asks for it.
    void pressesEnter() { types("\r"); }

    void expectCompletion(std::chrono::minutes atMost = std::chrono::minutes(8));
    /// Ends the program.
    void expectNoFailure();

    /// What there is to see, for the message of a failure.
    std::string seen();

    const std::string& bug() const { return bugs.front(); }

    Run program;
};

}  // namespace quernlight::test

#include "host/agent/agent_answer.hpp"

#include <filesystem>

#include <boost/system/system_error.hpp>

#include "host/agent/agent_environment.hpp"
#include "host/process/environment_entries.hpp"
#include "host/process/time_limit.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
ChildProcessRequest requestOf(const AgentCommand& command, const std::vector<std::string>& more) {
    ChildProcessRequest request{.executable = command.words.front(),
                                .arguments = {command.words.begin() + 1, command.words.end()},
                                .environment = environmentEntries(command.environment),
                                .workingDirectory = "/",
                                .keepsErrorsApart = true};
    if (!request.executable.has_parent_path()) {
        request.executable =
            findOnPath(command.words.front(), command.environment).value_or(request.executable);
    }
    request.arguments.insert(request.arguments.end(), more.begin(), more.end());
    return request;
}

Task<AgentAnswer> answerTo(ChildProcessRequest request, std::chrono::milliseconds timeout) {
    SystemClock clock;
    AgentAnswer answer;
    try {
        const ChildProcessResult result =
            co_await withTimeLimit(clock, timeout, runChildProcess(std::move(request)));
        answer = {.hasEnded = true, .exitCode = result.exitCode, .output = result.output + result.errors};
    } catch (const TimeLimitExceeded&) {
        answer.output = "It did not answer in time.";
    } catch (const boost::system::system_error&) {
        throw;  // it is cancelled
    } catch (const std::system_error& error) {
        answer.output = error.what();
    }
    co_return answer;
}

Task<AgentAnswer> askAgent(AgentCommand command, std::vector<std::string> words,
                           std::chrono::milliseconds timeout) {
    const std::filesystem::path program = command.words.front();
    const bool isRelative = program.is_relative() && program.has_parent_path();
    if (isRelative || missingAgent(command.words, command.environment)) {
        co_return AgentAnswer{};
    }
    co_return co_await answerTo(requestOf(command, words), timeout);
}

std::string firstLine(const AgentAnswer& answer) {
    constexpr std::size_t mostShown = 100;
    const std::string_view whole = trimmed(answer.output);
    return escapedLine(whole.substr(0, whole.find('\n')), mostShown);
}

Task<std::optional<std::string>> AgentVersion::text(AgentCommand command) {
    constexpr std::chrono::minutes longestKept{10};
    constexpr std::chrono::seconds timeout{2};
    if (asked_ == command && clock_.steadyNow() - askedAt_ < longestKept) {
        co_return version_;
    }
    std::vector<std::string> words{"--version"};
    const AgentAnswer answer = co_await askAgent(command, std::move(words), timeout);
    const bool isTold = answer.hasEnded && answer.exitCode == 0 && !trimmed(answer.output).empty();
    version_ = isTold ? std::optional(firstLine(answer)) : std::nullopt;
    askedAt_ = clock_.steadyNow();
    asked_ = std::move(command);
    co_return version_;
}

}  // namespace quernlight::host

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/agent/agent_terminal.hpp"
#include "quernlight/platform/background_executor.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// When how much of an agent's output was there.
struct TimedOutput {
    std::chrono::milliseconds after{};  ///< since the start
    std::uint64_t bytes = 0;

    bool operator==(const TimedOutput&) const = default;
};

/// The file beside a transcript that says when what of it came: a line "SECONDS BYTES" for each moment, of
/// which the last counts all bytes so far.
std::filesystem::path timingFileOf(const std::filesystem::path& transcript);

std::string timingLine(const TimedOutput& moment);

/// What such a file says, up to where it says nonsense: moments and bytes only grow.
std::vector<TimedOutput> parseTiming(std::string_view text);

/// Writes that file while the agent writes, 0600, on a thread that may block: a line for what came within a
/// few milliseconds, and none beyond a number of bytes. A file that cannot be written ends it, and nothing
/// else.
class OutputTiming final : private AgentTerminal::Listener {
  public:
    static constexpr std::size_t mostBytes = std::size_t{16} << 20U;

    /// All outlive it.
    OutputTiming(AgentTerminal& terminal, Clock& clock, BackgroundExecutor& thread,
                 std::filesystem::path file);

    OutputTiming(const OutputTiming&) = delete;
    OutputTiming& operator=(const OutputTiming&) = delete;

    /// Writes what is left.
    ~OutputTiming() override;

    /// Until it is cancelled.
    Task<void> run();

  private:
    void wrote(std::uint64_t first, std::string_view bytes) override;
    void changed() override {}
    void endMoment();

    Clock& clock_;
    BackgroundExecutor& thread_;
    const std::filesystem::path file_;
    const Clock::TimePoint begun_;
    const AgentTerminal::Subscription listening_;
    std::optional<TimedOutput> last_;  // not in a line yet
    std::string waiting_;
    std::size_t written_ = 0;
    bool canBeWritten_ = true;
    AsyncSignal news_;
};

}  // namespace quernlight::host

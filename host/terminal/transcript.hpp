#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/agent/output_timing.hpp"
#include "host/process/clock.hpp"
#include "host/screen/terminal_parser.hpp"

namespace quernlight::host {

/// Text that comes in pieces, with nothing in it that acts on a terminal but line ends and tabs.
class HarmlessText {
  public:
    std::string pass(std::string_view bytes);

  private:
    Utf8Decoder decoder_;
};

/// A transcript that may still grow. Reading blocks.
class TranscriptFile {
  public:
    /// Throws UserError when it cannot be read.
    explicit TranscriptFile(std::filesystem::path file);

    /// What comes next, at most `most` bytes; empty at the end so far.
    std::string next(std::size_t most);

  private:
    const std::filesystem::path file_;
    std::ifstream stream_;
    std::uint64_t read_ = 0;
};

struct FollowedTranscript {
    std::filesystem::path file{};
    bool isHarmless = true;  ///< or as it is
    /// Whether no more comes; asked at the end of what there is. Empty: what there is is all.
    std::function<Task<bool>()> hasEnded{};
};

/// Prints a transcript, and what is added until it has ended. Clock and stream outlive it.
Task<void> printTranscript(FollowedTranscript transcript, Clock& clock, std::ostream& out);

/// How long a pause of a recording takes when it is played so many times as fast: never longer than three
/// seconds.
std::chrono::milliseconds pauseOf(std::chrono::milliseconds pause, double speed);

struct Recording {
    std::filesystem::path transcript;
    std::vector<TimedOutput> moments;
    double speed = 1;
};

/// Plays what an agent wrote as it wrote it; what would make the terminal answer is left out. In the end,
/// also when it is cancelled, the terminal is put back. Clock and stream outlive it.
Task<void> play(Recording recording, Clock& clock, std::ostream& out);

}  // namespace quernlight::host

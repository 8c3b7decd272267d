#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
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
    /// Behind its first bytes. Throws UserError when it cannot be read.
    explicit TranscriptFile(std::filesystem::path file, std::uint64_t first = 0);

    /// What comes next, at most `most` bytes; empty at the end so far.
    std::string next(std::size_t most);

  private:
    const std::filesystem::path file_;
    std::ifstream stream_;
    std::uint64_t read_;
};

struct PrintedTranscript {
    std::filesystem::path file{};
    bool isHarmless = true;  ///< or as it is
};

/// Prints what there is of a transcript. Clock and stream outlive it.
Task<void> printTranscript(PrintedTranscript transcript, Clock& clock, std::ostream& out);

/// A transcript that the owner of a home tells as it grows.
struct FollowedTranscript {
    std::filesystem::path home{};
    std::string target{};  ///< what is asked for
    PrintedTranscript stored{};
};

/// Prints a transcript, and what is added until its attempt, or the owner, has ended: it is told, and nothing
/// is asked in between. Clock and stream outlive it. Throws UserError for what the owner refuses.
Task<void> followTranscript(FollowedTranscript transcript, Clock& clock, std::ostream& out);

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

#include "host/terminal/transcript.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "host/process/user_error.hpp"
#include "host/terminal/questionless_output.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readAtOnce = std::size_t{64} << 10U;
constexpr std::chrono::milliseconds followInterval{200};
constexpr std::chrono::seconds longestPause{3};

/// Puts the terminal back below what was played.
class Played {
  public:
    explicit Played(std::ostream& out) : out_(out) {}
    Played(const Played&) = delete;
    Played& operator=(const Played&) = delete;
    ~Played() { out_ << output_.undone() << "\x1b[999;1H\r\n" << std::flush; }

    void write(std::string_view bytes) { out_ << output_.pass(bytes) << std::flush; }

  private:
    std::ostream& out_;
    QuestionlessOutput output_;
};

}  // namespace

std::string HarmlessText::pass(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        decoder_.put(static_cast<unsigned char>(byte), [&text](char32_t character) {
            if (character == U'\n' || character == U'\t' || !isActingCharacter(character)) {
                appendUtf8(text, character);
            }
        });
    }
    return text;
}

TranscriptFile::TranscriptFile(std::filesystem::path file)
    : file_(std::move(file)), stream_(file_, std::ios::binary) {
    if (!stream_) {
        throw UserError("The transcript " + file_.string() +
                        " cannot be read: " + std::generic_category().message(errno) + ".");
    }
}

std::string TranscriptFile::next(std::size_t most) {
    std::string bytes(most, '\0');
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(read_));
    stream_.read(bytes.data(), static_cast<std::streamsize>(most));
    bytes.resize(static_cast<std::size_t>(stream_.gcount()));
    read_ += bytes.size();
    return bytes;
}

Task<void> printTranscript(FollowedTranscript transcript, Clock& clock, std::ostream& out) {
    TranscriptFile file(transcript.file);
    HarmlessText harmless;
    bool isLast = false;
    while (true) {
        std::string bytes = file.next(readAtOnce);
        const bool isEnd = bytes.empty();
        out << (transcript.isHarmless ? harmless.pass(bytes) : bytes) << std::flush;
        if (isEnd && (isLast || !transcript.hasEnded)) {
            co_return;
        }
        if (isEnd) {
            isLast = co_await transcript.hasEnded();
        }
        // Also where there is more, for a signal is heard only here.
        co_await clock.sleepFor(isEnd && !isLast ? followInterval : std::chrono::milliseconds(0));
    }
}

std::chrono::milliseconds pauseOf(std::chrono::milliseconds pause, double speed) {
    const std::chrono::duration<double, std::milli> played =
        std::chrono::duration<double, std::milli>(pause) / speed;
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::min<std::chrono::duration<double, std::milli>>(played, longestPause));
}

Task<void> play(Recording recording, Clock& clock, std::ostream& out) {
    TranscriptFile file(recording.transcript);
    Played played(out);
    TimedOutput before;
    for (const TimedOutput& moment : recording.moments) {
        co_await clock.sleepFor(pauseOf(moment.after - before.after, recording.speed));
        for (std::uint64_t left = moment.bytes - before.bytes; left > 0;) {
            const std::string bytes = file.next(std::min<std::uint64_t>(left, readAtOnce));
            if (bytes.empty()) {
                co_return;
            }
            played.write(bytes);
            left -= bytes.size();
        }
        before = moment;
    }
}

}  // namespace quernlight::host

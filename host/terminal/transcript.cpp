#include "host/terminal/transcript.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "host/control/control_client.hpp"
#include "host/process/user_error.hpp"
#include "host/terminal/questionless_output.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t readAtOnce = std::size_t{64} << 10U;
constexpr std::chrono::milliseconds reconnectPause{500};
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

/// Prints a transcript from its beginning, wherever its parts come from.
class TranscriptPrinter {
  public:
    TranscriptPrinter(std::ostream& out, bool isHarmless) : out_(out), isHarmless_(isHarmless) {}

    /// How many bytes of the transcript.
    std::uint64_t printed() const { return printed_; }

    /// What stands in the file behind what was printed.
    Task<void> printFile(std::filesystem::path file, Clock& clock) {
        TranscriptFile rest(std::move(file), printed_);
        for (std::string bytes = rest.next(readAtOnce); !bytes.empty(); bytes = rest.next(readAtOnce)) {
            print(bytes);
            co_await clock.sleepFor(std::chrono::milliseconds(0));  // a signal is heard only here
        }
    }

    /// What is told; whether it was told that no more comes.
    Task<bool> printFrom(ControlChannel& channel) {
        while (true) {
            const auto frame = co_await channel.receive();
            if (!frame || frame->isText) {
                co_return frame.has_value();
            }
            print(frame->bytes);
        }
    }

  private:
    void print(std::string_view bytes) {
        printed_ += bytes.size();
        out_ << (isHarmless_ ? harmless_.pass(bytes) : std::string(bytes)) << std::flush;
    }

    std::ostream& out_;
    const bool isHarmless_;
    HarmlessText harmless_;
    std::uint64_t printed_ = 0;
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

TranscriptFile::TranscriptFile(std::filesystem::path file, std::uint64_t first)
    : file_(std::move(file)), stream_(file_, std::ios::binary), read_(first) {
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

Task<void> printTranscript(PrintedTranscript transcript, Clock& clock, std::ostream& out) {
    TranscriptPrinter printer(out, transcript.isHarmless);
    co_await printer.printFile(std::move(transcript.file), clock);
}

Task<void> followTranscript(FollowedTranscript transcript, Clock& clock, std::ostream& out) {
    TranscriptPrinter printer(out, transcript.stored.isHarmless);
    bool isOver = false;
    while (!isOver) {
        try {
            std::string target = transcript.target + "&after=" + std::to_string(printer.printed());
            const auto channel = co_await openChannel(transcript.home, std::move(target));
            isOver = co_await printer.printFrom(*channel);
        } catch (const OwnerNotRunning&) {
            isOver = true;
        } catch (const OwnerDidNotAnswer&) {
            isOver = false;  // it may have gone meanwhile, which is seen the next time
        }
        if (!isOver) {
            co_await clock.sleepFor(reconnectPause);
        }
    }
    co_await printer.printFile(std::move(transcript.stored.file), clock);
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

#include "host/agent/output_timing.hpp"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds atOnce{10};  // is one moment
constexpr std::chrono::milliseconds writeInterval{500};

/// Whether all of it is there now.
bool appendTo(const std::filesystem::path& file, std::string_view text) {
    const FileDescriptor opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    while (opened && !text.empty()) {
        const ssize_t count = ::write(opened.get(), text.data(), text.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return static_cast<bool>(opened);
}

std::optional<TimedOutput> parseLine(const std::string& line) {
    unsigned long seconds = 0, thousandths = 0, bytes = 0;
    char rest = 0;
    if (std::sscanf(line.c_str(), "%9lu.%3lu %18lu%c", &seconds, &thousandths, &bytes, &rest) != 3) {
        return std::nullopt;
    }
    return TimedOutput{.after = std::chrono::seconds(seconds) + std::chrono::milliseconds(thousandths),
                       .bytes = bytes};
}

}  // namespace

std::filesystem::path timingFileOf(const std::filesystem::path& transcript) {
    return transcript.parent_path() / "timing.txt";
}

std::string timingLine(const TimedOutput& moment) {
    char line[64];
    const auto count = moment.after.count();
    std::snprintf(line, sizeof line, "%lld.%03lld %llu\n", static_cast<long long>(count / 1000),
                  static_cast<long long>(count % 1000), static_cast<unsigned long long>(moment.bytes));
    return line;
}

std::vector<TimedOutput> parseTiming(std::string_view text) {
    std::vector<TimedOutput> moments;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
        const auto moment = parseLine(std::string(text.substr(0, end)));
        const bool grows = moment && (moments.empty() || (moment->after >= moments.back().after &&
                                                          moment->bytes >= moments.back().bytes));
        if (!grows) {
            break;
        }
        moments.push_back(*moment);
        text.remove_prefix(end + 1);
    }
    return moments;
}

OutputTiming::OutputTiming(AgentTerminal& terminal, Clock& clock, BackgroundExecutor& thread,
                           std::filesystem::path file)
    : clock_(clock),
      thread_(thread),
      file_(std::move(file)),
      begun_(clock.steadyNow()),
      listening_(terminal.listen(*this)) {}

OutputTiming::~OutputTiming() {
    endMoment();
    if (canBeWritten_) {
        appendTo(file_, waiting_);
    }
}

void OutputTiming::wrote(std::uint64_t first, std::string_view bytes) {
    const auto after = std::chrono::duration_cast<std::chrono::milliseconds>(clock_.steadyNow() - begun_);
    if (last_ && after - last_->after >= atOnce) {
        endMoment();
    }
    last_ = {.after = last_ ? last_->after : after, .bytes = first + bytes.size()};
    news_.notify();
}

void OutputTiming::endMoment() {
    if (last_ && canBeWritten_ && written_ + waiting_.size() < mostBytes) {
        waiting_ += timingLine(*last_);
    }
    last_.reset();
}

Task<void> OutputTiming::run() {
    while (canBeWritten_) {
        co_await news_.wait();
        co_await clock_.sleepFor(writeInterval);
        written_ += waiting_.size();
        auto write = [file = file_, text = std::exchange(waiting_, {})] { return appendTo(file, text); };
        canBeWritten_ = co_await thread_.run(std::move(write));
    }
}

}  // namespace quernlight::host

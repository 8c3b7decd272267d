#include "host/service/attempt_resource.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <boost/json/serialize.hpp>

#include "host/agent/agent_terminal.hpp"
#include "host/agent/output_timing.hpp"
#include "host/control/channel_sending.hpp"
#include "host/events/session_stage.hpp"
#include "host/service/list_page.hpp"
#include "host/service/queue_json.hpp"
#include "host/service/service_answer.hpp"
#include "host/service/service_error.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

ServiceError unreadable(const fs::path& file) {
    return {ServiceErrorCode::notFound,
            "There is no transcript " + withoutControls(file.string()) + " in the dispatch home."};
}

/// By way of no link, whoever has placed it.
FileDescriptor openBeneath(const fs::path& directory, const fs::path& file) {
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const fs::path below = file.lexically_normal().lexically_relative(directory.lexically_normal());
    if (below.empty() || *below.begin() == ".." || *below.begin() == ".") {
        throw unreadable(file);
    }
    FileDescriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (auto name = below.begin(); opened && name != below.end(); ++name) {
        const bool isLast = std::next(name) == below.end();
        opened = FileDescriptor(openat(opened.get(), name->c_str(), isLast ? flags : flags | O_DIRECTORY));
    }
    struct stat found {};
    if (!opened || fstat(opened.get(), &found) != 0 || !S_ISREG(found.st_mode)) {
        throw unreadable(file);
    }
    return opened;
}

enum class Format { plain, ansi, timing };

std::optional<Format> formatOf(const ControlRequest& request) {
    const std::vector<std::string> given = queryTexts(request, "format");
    const std::string name = given.empty() ? "plain" : given.back();
    if (name == "plain") {
        return Format::plain;
    }
    if (name == "ansi") {
        return Format::ansi;
    }
    return name == "timing" ? std::optional(Format::timing) : std::nullopt;
}

fs::path fileOf(const SessionAttemptRecord& attempt, Format format) {
    switch (format) {
        case Format::plain:
            return attempt.transcriptTextPath;
        case Format::ansi:
            return attempt.transcriptANSIPath;
        case Format::timing:
            break;
    }
    return timingFileOf(attempt.transcriptANSIPath);
}

const SessionAttemptRecord& attemptOf(const QueueItemDetails& details, const std::string& number) {
    const auto attempt = std::ranges::find_if(details.attempts, [&](const SessionAttemptRecord& one) {
        return std::to_string(one.attemptNumber) == number;
    });
    if (attempt == details.attempts.end()) {
        throw ServiceError(ServiceErrorCode::notFound, "Bug " + withoutControls(details.item.bugID) +
                                                           " has no attempt " + withoutControls(number) +
                                                           ".");
    }
    return *attempt;
}

/// Notifies of all that a session's agent writes, and of its end.
class GrowthSignal final : public AgentTerminal::Listener {
  public:
    explicit GrowthSignal(AsyncSignal grown) : grown_(std::move(grown)) {}

    void wrote(std::uint64_t, std::string_view) override { grown_.notify(); }
    void changed() override { grown_.notify(); }

  private:
    const AsyncSignal grown_;
};

/// The terminal of the attempt's agent, also of one that has ended just now.
std::shared_ptr<AgentTerminal> terminalOf(const LiveScreens& screens, const std::string& bugID,
                                          std::int64_t attempt) {
    const auto agent = screens.look(bugID);
    return agent && agent->attemptNumber == attempt ? agent->terminal : nullptr;
}

/// What is an agent's is never to be taken for a page.
ControlResponse shown(FilePart part, Format format) {
    ControlResponse response{
        .contentType = format == Format::ansi ? "application/octet-stream" : "text/plain; charset=utf-8",
        .body = std::move(part.bytes)};
    response.fields = {{"Quernlight-Size", std::to_string(part.size)}, {"X-Content-Type-Options", "nosniff"}};
    return response;
}

}  // namespace

FilePart partBeneath(const fs::path& directory, const fs::path& file, std::uint64_t first, std::size_t most) {
    const FileDescriptor opened = openBeneath(directory, file);
    struct stat found {};
    fstat(opened.get(), &found);
    FilePart part{.size = static_cast<std::uint64_t>(found.st_size)};
    part.bytes.resize(std::min<std::uint64_t>(most, part.size - std::min(first, part.size)));
    std::size_t size = 0;
    while (size < part.bytes.size()) {
        const ssize_t count = pread(opened.get(), part.bytes.data() + size, part.bytes.size() - size,
                                    static_cast<off_t>(first + size));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        size += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    part.bytes.resize(size);
    return part;
}

void AttemptResource::offerOn(ControlRouter& router) {
    router.add("GET", "/v1/queue/*/attempts", Audience::people,
               [this](ControlRequest request) { return listed(std::move(request)); });
    router.add("GET", "/v1/queue/*/attempts/*/transcript", Audience::people,
               [this](ControlRequest request) { return transcript(std::move(request)); });
}

Task<ControlResponse> AttemptResource::listed(ControlRequest request) {
    try {
        const QueueItemDetails details = co_await uses_.service.queueItem(request.parameters.at(0));
        const json::object page =
            paged(details.attempts, pageOf(request),
                  [](const SessionAttemptRecord& attempt) { return json::value(jsonOf(attempt)); });
        co_return ControlResponse{.body = json::serialize(page)};
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

Task<ControlResponse> AttemptResource::transcript(ControlRequest request) {
    const auto format = formatOf(request);
    if (!format) {
        co_return problem(422, "A transcript's format is plain, ansi or timing.", "invalid");
    }
    const std::uint64_t first = queryNumber(request, "after").value_or(0);
    const std::uint64_t most = std::min(queryNumber(request, "limit").value_or(usualBytes), mostBytes);
    try {
        const QueueItemDetails details = co_await uses_.service.queueItem(request.parameters.at(0));
        const SessionAttemptRecord& attempt = attemptOf(details, request.parameters.at(1));
        Wanted wanted{.bugID = details.item.bugID,
                      .attempt = attempt.attemptNumber,
                      .file = fileOf(attempt, *format),
                      .first = first};
        if (request.wantsChannel) {
            const bool isWhole = !co_await mayGrow(wanted);
            if (isWhole) {
                co_await part(wanted, 0);  // it must be there
            }
            ControlResponse response;
            response.takeOver = [this, wanted](ControlChannel& channel) {
                return sendUntilLeft(channel, "sending a transcript", send(channel, wanted));
            };
            co_return response;
        }
        FilePart read = co_await part(std::move(wanted), most);
        co_return shown(std::move(read), *format);
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

Task<FilePart> AttemptResource::part(Wanted wanted, std::uint64_t most) const {
    auto read = [directory = uses_.home / "sessions", file = std::move(wanted.file), first = wanted.first,
                 most] { return partBeneath(directory, file, first, static_cast<std::size_t>(most)); };
    return uses_.background.run(std::move(read));
}

/// A transcript is there from the first byte on that is written to it.
Task<std::string> AttemptResource::more(Wanted wanted) const {
    try {
        FilePart read = co_await part(std::move(wanted), mostBytes);
        co_return std::move(read.bytes);
    } catch (const ServiceError&) {
        co_return "";
    }
}

/// Sends what there is. Whether the channel is open.
Task<bool> AttemptResource::sendRest(ControlChannel& channel, Wanted& wanted) const {
    while (true) {
        ControlFrame frame{.isText = false};
        frame.bytes = co_await more(wanted);
        const std::size_t size = frame.bytes.size();
        if (size == 0) {
            co_return true;
        }
        const bool isOpen = co_await channel.send(std::move(frame));
        if (!isOpen) {
            co_return false;
        }
        wanted.first += size;
    }
}

/// What an agent has written before it ended is in the file by then, so that is looked at first.
Task<void> AttemptResource::send(ControlChannel& channel, Wanted wanted) const {
    const AsyncSignal grown;
    GrowthSignal growth(grown);
    bool isWhole = false;
    bool isOpen = true;
    while (isOpen && !isWhole) {
        const auto terminal = terminalOf(uses_.screens, wanted.bugID, wanted.attempt);
        const auto listening = terminal ? terminal->listen(growth) : nullptr;
        const bool grows = co_await mayGrow(wanted);
        isWhole = !grows;
        isOpen = co_await sendRest(channel, wanted);
        if (isOpen && grows) {
            co_await waitForMore(grown, terminal != nullptr);
        }
    }
    if (isOpen) {
        ControlFrame end{.bytes = transcriptEnd};
        co_await channel.send(std::move(end));
    }
}

Task<void> AttemptResource::waitForMore(AsyncSignal grown, bool hasTerminal) const {
    constexpr std::chrono::seconds untilAnAgentStarts{2};
    if (hasTerminal) {
        co_await grown.wait();
    } else {
        co_await uses_.clock.sleepFor(untilAnAgentStarts);
    }
}

/// An agent works on it, or may be about to.
Task<bool> AttemptResource::mayGrow(Wanted wanted) const {
    if (const auto terminal = terminalOf(uses_.screens, wanted.bugID, wanted.attempt)) {
        co_return !terminal->hasEnded();
    }
    try {
        const QueueItemDetails details = co_await uses_.service.queueItem(wanted.bugID);
        const SessionAttemptRecord& attempt = attemptOf(details, std::to_string(wanted.attempt));
        co_return isRunning(details.stage) && !attempt.endedAt && !attempt.exitCode;
    } catch (const ServiceError&) {
        co_return false;
    }
}

}  // namespace quernlight::host

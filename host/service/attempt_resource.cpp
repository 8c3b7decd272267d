#include "host/service/attempt_resource.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <boost/json/serialize.hpp>

#include "host/agent/output_timing.hpp"
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

fs::path transcriptOf(const QueueItemDetails& details, const std::string& number, Format format) {
    const auto attempt = std::ranges::find_if(details.attempts, [&](const SessionAttemptRecord& one) {
        return std::to_string(one.attemptNumber) == number;
    });
    if (attempt == details.attempts.end()) {
        throw ServiceError(ServiceErrorCode::notFound, "Bug " + withoutControls(details.item.bugID) +
                                                           " has no attempt " + withoutControls(number) +
                                                           ".");
    }
    return fileOf(*attempt, format);
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
        fs::path file = transcriptOf(details, request.parameters.at(1), *format);
        auto read = [directory = uses_.home / "sessions", file = std::move(file), first, most] {
            return partBeneath(directory, file, first, static_cast<std::size_t>(most));
        };
        FilePart part = co_await uses_.background.run(std::move(read));
        co_return shown(std::move(part), *format);
    } catch (const ServiceError& error) {
        co_return problemOf(error);
    }
}

}  // namespace quernlight::host

#include "host/view/event_log.hpp"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "host/process/private_files.hpp"
#include "host/process/user_error.hpp"
#include "host/text/counted.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace json = boost::json;
namespace {

constexpr std::chrono::seconds timeoutAtTheEnd{1};

/// A named pipe is opened for both directions, since opening it for writing waits for a reader.
int openingMode(const std::string& file) {
    struct stat status {};
    const bool isPipe = stat(file.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
    return isPipe ? O_RDWR : O_WRONLY;
}

UserError unwritableLog(const std::string& file, int error) {
    return UserError("The log file " + file + " cannot be written (" +
                     std::generic_category().message(error) + "); choose another with --log-file.");
}

FileDescriptor openedLog(const std::string& file) {
    makePrivateFile(file);
    const int flags = openingMode(file) | O_CREAT | O_APPEND | O_NOCTTY | O_CLOEXEC;
    FileDescriptor opened(open(file.c_str(), flags, 0600));
    if (!opened) {
        throw unwritableLog(file, errno);
    }
    return opened;
}

ItemChanged noticeNow(const std::string& sentence) {
    ItemChanged logged;
    logged.event.message = sentence;
    logged.event.createdAt = currentInstant();
    return logged;
}

BackgroundWriter::LossNotice lossNotice(LogFormat format) {
    return [format](std::size_t lost) {
        const std::string what = counted(static_cast<std::int64_t>(lost), "line was", "lines were");
        return logLine(format, noticeNow(what + " left out here, since nobody took what was written.")) +
               "\n";
    };
}

std::string jsonLine(const ItemChanged& logged) {
    const QueueEvent& event = logged.event;
    json::object line{{"time", formatInstant(event.createdAt)}};
    if (!event.kind.empty()) {
        line["kind"] = event.kind;
        line["bug"] = logged.bugID;
        line["item"] = upperCaseText(event.queueItemID);
    }
    if (event.sessionID) {
        line["session"] = upperCaseText(*event.sessionID);
    }
    line["message"] = event.message;
    return escapedJson(json::serialize(line));
}

std::string textLine(const ItemChanged& logged) {
    const QueueEvent& event = logged.event;
    const std::string time = formatInstant(event.createdAt);
    if (event.kind.empty()) {
        return time + "  " + withoutControls(event.message);
    }
    const std::string line = time + "  " + withoutControls(logged.bugID) + "  " + event.kind + ": " +
                             withoutControls(event.message) + "  item=" + upperCaseText(event.queueItemID);
    return event.sessionID ? line + " session=" + upperCaseText(*event.sessionID) : line;
}

}  // namespace

void checkLogFile(const std::string& file) {
    struct stat found {};
    const bool isThere = stat(file.c_str(), &found) == 0;
    const auto directory = std::filesystem::absolute(file).parent_path() / ".";
    if (isThere && S_ISDIR(found.st_mode)) {
        throw unwritableLog(file, EISDIR);
    }
    if (access(isThere ? file.c_str() : directory.c_str(), W_OK) != 0) {
        throw unwritableLog(file, errno);
    }
}

EventLog::EventLog(LogFormat format, BoundedLog bounded)
    : EventLog(format, STDOUT_FILENO,
               [bounded = std::move(bounded)](int descriptor) mutable { bounded.look(descriptor); }) {}

EventLog::EventLog(LogFormat format, const std::string& file) : EventLog(format, openedLog(file).get()) {}

EventLog::EventLog(LogFormat format, int descriptor, BackgroundWriter::AfterText afterText)
    : format_(format),
      writer_(descriptor, lossNotice(format), BackgroundWriter::usualBound, std::move(afterText)) {}

/// Stages and output are not told: the items' events tell of them.
void EventLog::handle(const DispatchEvent& event) {
    std::optional<ItemChanged> logged;
    if (const auto* changed = std::get_if<ItemChanged>(&event)) {
        logged = *changed;
    } else if (const auto* raised = std::get_if<AlertRaised>(&event)) {
        logged = noticeNow(raised->sentence);
    } else if (const auto* setting = std::get_if<SettingChanged>(&event)) {
        logged = noticeNow(setting->sentence);
    } else if (const auto* notice = std::get_if<Notice>(&event)) {
        logged = noticeNow(notice->sentence);
    }
    if (logged) {
        writer_.write(logLine(format_, *logged) + "\n");
    }
}

void EventLog::close() {
    writer_.waitUntilIdle(timeoutAtTheEnd);
}

std::string logLine(LogFormat format, const ItemChanged& logged) {
    return format == LogFormat::jsonLines ? jsonLine(logged) : textLine(logged);
}

}  // namespace quernlight::host

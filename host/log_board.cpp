#include "host/log_board.hpp"

#include <array>
#include <cstdio>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "host/terminal_text.hpp"
#include "host/user_error.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace json = boost::json;
namespace {

/// The line is made here, since JSON and its escapes are not a pattern's trade; every line is written out at
/// once, so that what a reader follows is never behind.
std::unique_ptr<spdlog::logger> loggerTo(spdlog::sink_ptr sink) {
    auto logger = std::make_unique<spdlog::logger>("quernlight-dispatch", std::move(sink));
    logger->set_pattern("%v");
    logger->flush_on(spdlog::level::info);
    return logger;
}

spdlog::sink_ptr fileSink(const std::string& file) {
    try {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
    } catch (const spdlog::spdlog_ex& error) {
        throw UserError("The log file " + file + " cannot be written (" + error.what() +
                        "); choose another with --log-file.");
    }
}

/// JSON with the characters escaped that a terminal acts on and JSON leaves as they are. In JSON they only
/// occur within texts.
std::string escapedJson(const std::string& line) {
    std::string escaped;
    for (const char32_t scalar : unicodeScalars(line)) {
        if (isActingCharacter(scalar)) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(scalar));
            escaped += code.data();
        } else {
            appendUtf8(escaped, scalar);
        }
    }
    return escaped;
}

std::string jsonLine(const LoggedEvent& logged) {
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

std::string textLine(const LoggedEvent& logged) {
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

LogBoard::LogBoard(LogFormat format)
    : format_(format), logger_(loggerTo(std::make_shared<spdlog::sinks::stdout_sink_mt>())) {}

LogBoard::LogBoard(LogFormat format, const std::string& file)
    : format_(format), logger_(loggerTo(fileSink(file))) {}

LogBoard::~LogBoard() = default;

void LogBoard::note(const std::string& sentence) {
    LoggedEvent logged;
    logged.event.message = sentence;
    logged.event.createdAt = currentInstant();
    event(logged);
}

void LogBoard::event(const LoggedEvent& logged) {
    logger_->info(logLine(format_, logged));
}

std::string logLine(LogFormat format, const LoggedEvent& logged) {
    return format == LogFormat::jsonLines ? jsonLine(logged) : textLine(logged);
}

}  // namespace quernlight::host

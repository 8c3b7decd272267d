#include "quernlight/runner/prompt_readiness.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace quernlight {
namespace {

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// The end of `text`, at most `count` bytes.
std::string_view lastBytes(std::string_view text, std::size_t count) {
    return text.substr(text.size() - std::min(count, text.size()));
}

bool isAscii(char byte) {
    return (static_cast<unsigned char>(byte) & 0x80U) == 0;
}

/// The length of the line break that `text` begins with, 0 when it begins with none.
std::size_t lineBreakLength(std::string_view text) {
    if (isAscii(text.front())) {
        return text.front() >= '\n' && text.front() <= '\r' ? 1 : 0;
    }
    if (text.substr(0, 2) == "\u0085") {
        return 2;
    }
    const std::string_view three = text.substr(0, 3);
    return three == "\u2028" || three == "\u2029" ? 3 : 0;
}

bool endsWithLineBreak(std::string_view text) {
    if (isAscii(text.back())) {
        return text.back() >= '\n' && text.back() <= '\r';
    }
    return text.ends_with("\u0085") || text.ends_with("\u2028") || text.ends_with("\u2029");
}

std::size_t startOfLine(std::string_view text, std::size_t place) {
    while (place > 0 && !endsWithLineBreak(text.substr(0, place))) {
        --place;
    }
    return place;
}

std::size_t endOfLine(std::string_view text, std::size_t place) {
    while (place < text.size() && lineBreakLength(text.substr(place)) == 0) {
        ++place;
    }
    return place;
}

}  // namespace

PromptReadiness::PromptReadiness(Instant startedAt, PromptReadinessConfiguration configuration)
    : startedAt_(startedAt), configuration_(std::move(configuration)), sentinel_(configuration_.sentinel) {}

void PromptReadiness::recordOutput(std::string_view bytes, Instant date) {
    lastOutputAt_ = date;
    recentOutput_.append(bytes);
    if (!configuration_.sentinel.empty()) {
        searchSentinel(bytes, date);
    }
    if (configuration_.waitForCodexStartup) {
        watchStartup(bytes, date);
    }
}

void PromptReadiness::searchSentinel(std::string_view bytes, Instant date) {
    const std::size_t carried = sentinel_.text().size() - 1;
    sentinelCarry_.append(bytes.substr(0, carried));
    if (sentinel_.isIn(sentinelCarry_) || sentinel_.isIn(bytes)) {
        lastSentinelAt_ = date;
    }
    const std::string_view end = bytes.size() >= carried ? bytes : std::string_view(sentinelCarry_);
    sentinelCarry_ = std::string(lastBytes(end, carried));
}

void PromptReadiness::watchStartup(std::string_view bytes, Instant date) {
    // Other lines, nearly all there are, tell nothing. Only the bytes matter: what stands for ill-formed ones
    // is never ASCII.
    static const TextSearch model("model:");
    static const TextSearch servers("MCP s");
    std::size_t nextModel = model.find(bytes, 0);
    std::size_t nextServers = servers.find(bytes, 0);
    while (std::min(nextModel, nextServers) < bytes.size()) {
        const std::size_t place = std::min(nextModel, nextServers);
        const std::size_t start = startOfLine(bytes, place);
        const std::size_t end = endOfLine(bytes, place);
        readStartupLine(bytes.substr(start, end - start), date);
        nextModel = nextModel < end ? model.find(bytes, end) : nextModel;
        nextServers = nextServers < end ? servers.find(bytes, end) : nextServers;
    }
}

void PromptReadiness::readStartupLine(std::string_view line, Instant date) {
    if (contains(line, "model:")) {
        if (contains(line, "loading")) {
            modelLoadingSeen_ = true;
            lastStartupActivityAt_ = date;
        } else {
            modelReadySeen_ = true;
        }
    }
    if (contains(line, "Starting MCP servers")) {
        mcpStartupSeen_ = true;
        mcpStartupSettled_ = false;
        lastStartupActivityAt_ = date;
    }
    if (contains(line, "MCP startup complete") || contains(line, "MCP startup incomplete") ||
        contains(line, "MCP startup failed")) {
        mcpStartupSettled_ = true;
    }
}

bool PromptReadiness::startupBlocks(Instant now) const {
    if (modelLoadingSeen_ && !modelReadySeen_) {
        return true;
    }
    if (!mcpStartupSeen_ || mcpStartupSettled_) {
        return false;
    }
    return !lastStartupActivityAt_ ||
           secondsOf(now - *lastStartupActivityAt_) < configuration_.startupStaleDelay;
}

bool PromptReadiness::isReady(Instant now) const {
    if (sentinelMatched() && !configuration_.sentinelRequiresQuiet) {
        return true;
    }
    if (secondsOf(now - startedAt_) >= configuration_.maxDelay) {
        return true;
    }
    if (!configuration_.sentinel.empty() && !sentinelMatched()) {
        return false;
    }
    if (configuration_.waitForCodexStartup && startupBlocks(now)) {
        return false;
    }
    return lastOutputAt_ && secondsOf(now - *lastOutputAt_) >= configuration_.quietDelay;
}

}  // namespace quernlight

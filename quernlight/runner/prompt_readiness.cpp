#include "quernlight/runner/prompt_readiness.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight {
namespace {

constexpr std::size_t recentCharacterLimit = 4096;

/// So much is kept before it is cut to the recent characters: the search for their boundaries stays out of
/// the path of every chunk.
constexpr std::size_t leastBytesToCut = recentCharacterLimit * 128;

/// What the recent characters may take, so that one with endless marks does not grow for ever: 1 KiB each,
/// far more than any writing system needs.
constexpr std::size_t recentByteLimit = recentCharacterLimit * 1024;

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// The end of `text`, at most `count` bytes.
std::string_view lastBytes(std::string_view text, std::size_t count) {
    return text.substr(text.size() - std::min(count, text.size()));
}

/// Without the bytes in front that continue a character whose beginning was cut off.
std::string_view fromScalarBoundary(std::string_view text) {
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    const auto start = std::find_if_not(text.begin(), text.end(), isContinuation);
    return text.substr(static_cast<std::size_t>(start - text.begin()));
}

/// The length of the line break that `text` begins with, 0 when it begins with none.
std::size_t lineBreakLength(std::string_view text) {
    if (text.front() >= '\n' && text.front() <= '\r') {
        return 1;
    }
    if (text.substr(0, 2) == "\u0085") {
        return 2;
    }
    const std::string_view three = text.substr(0, 3);
    return three == "\u2028" || three == "\u2029" ? 3 : 0;
}

/// Takes the first line, with its line break, off `rest`. An empty line more between CR and LF does no harm.
std::string_view takeLine(std::string_view& rest) {
    for (std::size_t end = 0; end < rest.size(); ++end) {
        if (const std::size_t length = lineBreakLength(rest.substr(end))) {
            const std::string_view line = rest.substr(0, end);
            rest.remove_prefix(end + length);
            return line;
        }
    }
    return std::exchange(rest, {});
}

}  // namespace

PromptReadiness::PromptReadiness(Instant startedAt, PromptReadinessConfiguration configuration)
    : startedAt_(startedAt), configuration_(std::move(configuration)) {}

void PromptReadiness::recordOutput(std::string_view bytes, Instant date) {
    lastOutputAt_ = date;
    keepRecentOutput(bytes);
    if (!configuration_.sentinel.empty()) {
        searchSentinel(bytes, date);
    }
    if (configuration_.waitForCodexStartup) {
        watchStartup(bytes, date);
    }
}

void PromptReadiness::keepRecentOutput(std::string_view bytes) {
    if (isValidUtf8(bytes)) {
        recentText_.append(bytes);
    } else {
        recentText_.append(validUtf8(bytes));
    }
    if (recentText_.size() > std::max(leastBytesToCut, bytesToCut_)) {
        const auto bounded = fromScalarBoundary(lastBytes(recentText_, recentByteLimit));
        recentText_ = std::string(lastCharacters(bounded, recentCharacterLimit));
        bytesToCut_ = 2 * recentText_.size();
    }
}

std::string_view PromptReadiness::recentOutput() const {
    return lastCharacters(recentText_, recentCharacterLimit);
}

void PromptReadiness::searchSentinel(std::string_view bytes, Instant date) {
    const std::string& sentinel = configuration_.sentinel;
    const std::size_t carried = sentinel.size() - 1;
    sentinelCarry_.append(bytes.substr(0, carried));
    if (contains(sentinelCarry_, sentinel) || contains(bytes, sentinel)) {
        lastSentinelAt_ = date;
    }
    const std::string_view end = bytes.size() >= carried ? bytes : std::string_view(sentinelCarry_);
    sentinelCarry_ = std::string(lastBytes(end, carried));
}

void PromptReadiness::watchStartup(std::string_view bytes, Instant date) {
    // Nearly every chunk ends here. Only the bytes matter: what stands for ill-formed ones is never ASCII.
    if (!contains(bytes, "model:") && !contains(bytes, "MCP s")) {
        return;
    }
    while (!bytes.empty()) {
        readStartupLine(takeLine(bytes), date);
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

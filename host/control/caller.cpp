#include "host/control/caller.hpp"

#include <algorithm>

#include <unistd.h>

#include "host/process/process_tree.hpp"
#include "quernlight/platform/peer_user.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t longestLine = 256;  // a person's is never so long
constexpr int mostTries = 5;

CallerProcess seen(pid_t pid) {
    const ProcessEntry entry = processEntry(pid);
    return {.entry = entry,
            .mark = sessionMarkOf(pid),
            .isStartedHere = isStartedHere(entry),
            .isOlder = isOlderThanAgents(entry)};
}

/// Up to one more than `longestLine`.
std::vector<CallerProcess> lineAtOnce(pid_t owner, pid_t caller, const ProcessLook& look) {
    std::vector<CallerProcess> line;
    for (pid_t next = caller; next > 0 && line.size() <= longestLine;) {
        CallerProcess process = look(next);
        if (process.entry.pid < 0) {
            break;
        }
        next = process.entry.pid == owner ? 0 : process.entry.parent;
        line.push_back(std::move(process));
    }
    return line;
}

/// A process that still has the parent that it had, had it all the time: it gets another only when that one
/// ends.
bool isStillSo(const std::vector<CallerProcess>& line, const ProcessLook& look) {
    return std::ranges::all_of(line, [&](const CallerProcess& process) {
        const ProcessEntry now = look(process.entry.pid).entry;
        return isSameProcess(now, process.entry) && now.parent == process.entry.parent;
    });
}

/// Of those whose environments say so the one next to the owner: what it has started may say anything.
std::optional<std::string> markIn(const std::vector<CallerProcess>& line, const std::string& ownersMark) {
    std::optional<std::string> mark;
    for (const CallerProcess& process : line) {
        if (!process.mark.empty() && process.mark != ownersMark) {
            mark = process.mark;
        }
    }
    return mark;
}

}  // namespace

std::vector<CallerProcess> lineTo(pid_t owner, pid_t caller, const ProcessLook& look) {
    for (int tries = 0; tries < mostTries; ++tries) {
        std::vector<CallerProcess> line = lineAtOnce(owner, caller, look);
        if (line.size() > longestLine) {
            break;
        }
        if (isStillSo(line, look)) {
            return line;
        }
    }
    return {};
}

Caller judgeCaller(const std::vector<CallerProcess>& line, const CallerProcess& owner) {
    if (line.empty()) {
        return {};
    }
    if (const auto mark = markIn(line, owner.mark)) {
        return {.session = parseUuid(*mark)};
    }
    const bool descends = line.back().entry.pid == owner.entry.pid && line.size() > 1;
    if (!descends) {
        return {.isPerson = true};
    }
    // What the owner itself has started without a mark is a git or a notification's command.
    const CallerProcess& child = line[line.size() - 2];
    return {.isPerson = child.isStartedHere || child.isOlder};
}

Caller callerOf(int connectedSocket) {
    const auto peer = peerProcess(connectedSocket);
    if (!peer) {
        return {};
    }
    return judgeCaller(lineTo(getpid(), *peer, seen), seen(getpid()));
}

}  // namespace quernlight::host

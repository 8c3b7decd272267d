#include "host/doctor/home_checks.hpp"

#include <array>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "host/control/control_client.hpp"
#include "host/worktree/resolved_mapping.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

constexpr mode_t othersRights = S_IRWXG | S_IRWXO;
constexpr std::uintmax_t mebibyte = 1 << 20;

HomeFacts factsOf(const fs::path& home) {
    struct stat found {};
    HomeFacts facts{.home = home, .exists = stat(home.c_str(), &found) == 0};
    facts.isDirectory = facts.exists && S_ISDIR(found.st_mode);
    facts.isOurs = facts.exists && found.st_uid == geteuid();
    facts.isWritable = access(nearestDirectory(home).c_str(), W_OK | X_OK) == 0;
    facts.mode = found.st_mode & 07777;
    return facts;
}

std::string octal(mode_t mode) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode));
    return text.data();
}

}  // namespace

Finding homeFinding(const HomeFacts& facts) {
    const std::string home = facts.home.string();
    const std::string elsewhere = "Choose another with --home or QUERNLIGHT_DISPATCH_HOME.";
    Finding finding{.check = "home", .verdict = Verdict::stops};
    if (!facts.exists && facts.isWritable) {
        finding.verdict = Verdict::warning;
        finding.seen = "There is none at " + home + " yet.";
        finding.advice = "Map an app, which makes it: quernlight-dispatch map set --help";
    } else if (!facts.exists) {
        finding.seen = "There is none at " + home + ", and it cannot be made there.";
        finding.advice = elsewhere;
    } else if (!facts.isDirectory) {
        finding.seen = home + " is no directory.";
        finding.advice = elsewhere;
    } else if (!facts.isWritable) {
        finding.seen = home + " cannot be written.";
        finding.advice = "Check its permissions, or choose another with --home.";
    } else if (!facts.isOurs) {
        finding.verdict = Verdict::warning;
        finding.seen = home + " belongs to another user, who can read all that is kept there.";
        finding.advice = elsewhere;
    } else if ((facts.mode & othersRights) != 0 && (facts.mode & S_ISVTX) == 0) {
        finding.verdict = Verdict::warning;
        finding.seen = home + " is open to other users (mode " + octal(facts.mode) + ").";
        finding.advice = "The next start takes these rights away; until then: chmod 700 " + home;
    } else {
        finding.verdict = Verdict::ok;
        finding.seen = home;
    }
    return finding;
}

Finding diskFinding(std::uintmax_t free) {
    const std::string seen = std::to_string(free / mebibyte) + " MiB are free at the home.";
    if (free < 16 * mebibyte) {
        return {.check = "disk",
                .verdict = Verdict::stops,
                .seen = seen,
                .advice = "Free some disk space: nothing can be stored."};
    }
    if (free < 1024 * mebibyte) {
        return {.check = "disk",
                .verdict = Verdict::warning,
                .seen = seen,
                .advice = "Free some disk space: worktrees and transcripts take some."};
    }
    return {.check = "disk", .seen = seen};
}

std::optional<fs::path> sandboxWritableAround(const fs::path& place, const EnvironmentMap& environment) {
    const std::string resolvedPlace = resolvedPath(place.string());
    const auto own = environment.find("TMPDIR");
    for (const std::string& directory : {std::string("/tmp"), own == environment.end() ? "" : own->second}) {
        const std::string around = directory.empty() ? "" : resolvedPath(directory);
        if (!around.empty() && (resolvedPlace == around || WorktreeNaming::isInside(resolvedPlace, around))) {
            return directory;
        }
    }
    return std::nullopt;
}

Finding writableBySandbox(const std::string& check, const fs::path& place, const fs::path& around) {
    return {.check = check,
            .verdict = Verdict::warning,
            .seen = place.string() + " lies in " + around.string() +
                    ", where agents may write from within their sandbox.",
            .advice = "Keep it elsewhere."};
}

fs::path nearestDirectory(const fs::path& place) {
    std::error_code ignored;
    fs::path nearest = place;
    while (!fs::exists(nearest, ignored) && nearest.has_relative_path()) {
        nearest = nearest.parent_path();
    }
    return nearest;
}

Task<Findings> checkHome(const Examined& examined) {
    Findings findings = only(homeFinding(factsOf(examined.home)));
    if (const auto around = sandboxWritableAround(examined.home, examined.environment)) {
        findings.push_back(writableBySandbox("home", examined.home, *around));
    }
    if (!examined.storeTrouble.empty()) {
        findings.push_back({.check = "queue",
                            .verdict = Verdict::stops,
                            .seen = examined.storeTrouble,
                            .advice = "Until it can be read, defaults are checked below."});
    }
    co_return findings;
}

Task<Findings> checkDisk(const Examined& examined) {
    co_return only(diskFinding(fs::space(nearestDirectory(examined.home)).available));
}

Task<Findings> checkOwner(const Examined& examined) {
    Finding finding{.check = "owner", .seen = "A dispatcher runs for this home."};
    ControlRequest request{.target = "/v1/sessions"};
    try {
        co_await askOwner(examined.home, std::move(request), std::chrono::seconds(5));
    } catch (const OwnerNotRunning&) {
        finding.seen = "No dispatcher runs for this home.";
    } catch (const OwnerDidNotAnswer& error) {
        finding.verdict = Verdict::warning;
        finding.seen = error.what();
        finding.advice = "See what it does in its log.";
    }
    co_return only(finding);
}

}  // namespace quernlight::host

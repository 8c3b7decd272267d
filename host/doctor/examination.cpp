#include "host/doctor/examination.hpp"

#include <algorithm>
#include <array>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/doctor/agent_checks.hpp"
#include "host/doctor/backend_checks.hpp"
#include "host/doctor/home_checks.hpp"
#include "host/doctor/repository_checks.hpp"
#include "host/process/time_limit.hpp"
#include "host/text/failure_sentence.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::seconds longestCheck{25};  // longer than the token store takes to be given up

struct Check {
    const char* name;
    Task<Findings> (*look)(const Examined&);
};

/// In the order in which a bug meets them.
constexpr std::array checks{
    Check{"home", checkHome},
    Check{"disk", checkDisk},
    Check{"owner", checkOwner},
    Check{"backend", checkBackend},
    Check{"token store", checkTokenStore},
    Check{"git", checkGit},
    Check{"agent", checkAgent},
    Check{"agent login", checkLogin},
    Check{"agent goals", checkGoals},
    Check{"agent records", checkRecords},
    Check{"agent tools", checkToolServer},
    Check{"agent service", checkAgentService},
    Check{"agent trust", checkTrust},
    Check{"mappings", checkMappings},
};

Finding failed(const char* name, const std::string& why) {
    return {.check = name,
            .verdict = Verdict::warning,
            .seen = "Could not be checked: " + why,
            .advice = "Try again; if it stays so, put right what it names."};
}

/// Never throws but on cancellation.
Task<Findings> findingsOf(Check check, const Examined& examined) {
    SystemClock clock;
    std::string trouble;
    try {
        co_return co_await withTimeLimit(clock, longestCheck, check.look(examined));
    } catch (const TimeLimitExceeded& error) {
        trouble = error.what();
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        trouble = failureSentence(error);
    } catch (const std::exception& error) {
        trouble = failureSentence(error);
    }
    co_return only(failed(check.name, trouble));
}

}  // namespace

std::string_view nameOf(Verdict verdict) {
    constexpr std::array<std::string_view, 3> names{"ok", "warning", "stops"};
    return names.at(static_cast<std::size_t>(verdict));
}

Findings only(Finding finding) {
    return {std::move(finding)};
}

Findings withoutRepetitions(Findings findings) {
    for (std::size_t index = 1; index < findings.size(); ++index) {
        const auto end = findings.begin() + static_cast<std::ptrdiff_t>(index);
        const auto first = std::find_if(findings.begin(), end, [end](const Finding& earlier) {
            return earlier.verdict != Verdict::ok && earlier.seen == end->seen &&
                   earlier.advice == end->advice;
        });
        if (first != end) {
            end->seen = "The same as: " + first->check + ".";
            end->advice.clear();
        }
    }
    return findings;
}

bool stopsTheRoad(const Findings& findings) {
    return std::ranges::any_of(findings,
                               [](const Finding& finding) { return finding.verdict == Verdict::stops; });
}

Task<Findings> examine(Examined examined) {
    Findings all;
    for (const Check& check : checks) {
        Findings found = co_await findingsOf(check, examined);
        std::ranges::move(found, std::back_inserter(all));
    }
    co_return withoutRepetitions(std::move(all));
}

}  // namespace quernlight::host

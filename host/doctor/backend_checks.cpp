#include "host/doctor/backend_checks.hpp"

#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/token_source.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/platform/background_executor.hpp"

namespace quernlight::host {
namespace {

Finding stops(const std::string& check, const std::string& seen, const std::string& advice = "") {
    return {.check = check, .verdict = Verdict::stops, .seen = seen, .advice = advice};
}

/// As whoever throws a UserError says it: what happened, and what to do.
Finding told(const std::string& check, const std::exception& error) {
    return stops(check, failureSentence(error));
}

TokenSource sourceFor(const Examined& examined) {
    return tokenSource(examined.tokenFile, examined.environment, examined.settings);
}

Task<Finding> answerOf(Url backend, std::string token) {
    const QuernlightClient client(backend, std::move(token), std::make_shared<HttpSession>());
    try {
        co_await client.fetchReadableBugs("open", 1);
    } catch (const std::exception& error) {
        co_return backendFinding(backend, error);
    }
    co_return Finding{.check = "backend", .seen = backend.text() + " answers and takes the token."};
}

}  // namespace

Finding backendFinding(const Url& backend, const std::exception& error) {
    const auto* answer = dynamic_cast<const BackendError*>(&error);
    const int status = answer && answer->which() == BackendError::Case::server ? answer->status() : 0;
    if (status == 401 || status == 403) {
        return stops("backend", backend.text() + " refuses the token (HTTP " + std::to_string(status) + ").",
                     "Give it a valid one: quernlight-dispatch token set");
    }
    return stops("backend", backend.text() + ": " + failureSentence(error),
                 "Check the address, the network and that it runs.");
}

Task<Findings> checkBackend(const Examined& examined) {
    Findings findings;
    std::optional<Url> backend;
    try {
        backend = backendAddress(examined.backend, examined.settings);
    } catch (const UserError& error) {
        findings.push_back(told("backend", error));
        co_return findings;
    }
    const TokenSource source = sourceFor(examined);
    std::string token;
    try {
        token = co_await readToken(source, *backend);
    } catch (const UserError& error) {
        findings.push_back(told("token", error));
        co_return findings;
    }
    findings.push_back({.check = "token", .seen = "From " + describe(source) + "."});
    findings.push_back(co_await answerOf(*backend, std::move(token)));
    co_return findings;
}

Task<Findings> checkTokenStore(const Examined& examined) {
    Finding finding{.check = "token store", .seen = "It can be used."};
    const Url place = examined.backend.value_or(Url());
    const TokenStore store(place);
    const auto ask = [&store] { return store.token().has_value(); };
    BackgroundExecutor thread;
    try {
        co_await thread.run(ask);
    } catch (const UserError& error) {
        const bool isNeeded = sourceFor(examined).kind == TokenSource::Kind::store;
        finding.verdict = isNeeded ? Verdict::stops : Verdict::ok;
        finding.seen = failureSentence(error);
        finding.seen += isNeeded ? "" : " It is not needed: the token comes from a file.";
    }
    co_return only(finding);
}

}  // namespace quernlight::host

#include "host/dispatcher/chore.hpp"

#include <stdexcept>

#include "host/health/failure_policy.hpp"
#include "host/intake/bug_source.hpp"
#include "host/process/caught_exception.hpp"

namespace quernlight::host {
namespace {

/// One overload for each meaning.
struct Handling {
    ChoreContext& context;
    const std::exception_ptr& failure;

    void operator()(const WorkCancelled&) const { std::rethrow_exception(failure); }
    void operator()(const OutsideFailure& shortage) const {
        context.services.startPauses.failed(shortage, context.services.clock.steadyNow());
    }
    void operator()(const DatabaseError& error) const { context.services.disk.failed(error); }
    void operator()(const std::filesystem::filesystem_error& error) const {
        context.services.disk.failed(error);
    }
    void operator()(const ReportPending&) const {}
    void operator()(const BackendAway& away) const {
        context.services.health.heed(away.retryAfter);
        context.services.health.failed(std::runtime_error(away.cause));
    }
    void operator()(const PermanentFailure&) const { context.endProgram(failure); }
};

}  // namespace

void handleFailure(ChoreContext& context, const std::exception_ptr& failure) {
    std::visit(Handling{.context = context, .failure = failure}, meaningOf(failure));
}

Task<std::exception_ptr> runRound(ChoreContext& context, Task<void> round) {
    const std::exception_ptr failure = co_await caughtException(std::move(round));
    if (failure) {
        handleFailure(context, failure);
    }
    co_return failure;
}

/// Intake hears of it, too, but seldom asks; meanwhile sessions could not tell whether their work is done.
void endIfTokenIsRefused(ChoreContext& context) {
    constexpr int unauthorized = 401;
    if (context.services.health.refusesToken()) {
        context.endProgram(std::make_exception_ptr(tokenRefused(context.services.client, unauthorized)));
    }
}

}  // namespace quernlight::host

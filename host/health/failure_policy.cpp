#include "host/health/failure_policy.hpp"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/text/failure_sentence.hpp"

namespace quernlight::host {
namespace {

/// One overload for each meaning.
struct InSession {
    SessionPolicy operator()(const OutsideFailure& shortage) const {
        return {.kind = FailureKind::shortage, .sentence = shortage.cause};
    }
    SessionPolicy operator()(const DatabaseError& error) const {
        return {.kind = FailureKind::unwritable, .sentence = failureSentence(error)};
    }
    SessionPolicy operator()(const std::filesystem::filesystem_error& error) const {
        return {.kind = FailureKind::unwritable, .sentence = failureSentence(error)};
    }
    SessionPolicy operator()(const ReportPending& pending) const {
        const bool fails = pending.item == WithoutReport::fails;
        return {.kind = fails ? FailureKind::reportUnknown : FailureKind::reportPending,
                .sentence = pending.sentence};
    }
    SessionPolicy operator()(const BackendAway& away) const { return {.sentence = away.cause}; }
    SessionPolicy operator()(const WorkCancelled&) const { return {.sentence = "Its work was cancelled."}; }
    SessionPolicy operator()(const PermanentFailure& failure) const { return {.sentence = failure.sentence}; }
};

}  // namespace

/// A shortage may look like any of the others, so it is recognised first.
FailureMeaning meaningOf(const std::exception_ptr& failure) {
    if (auto shortage = shortageIn(failure)) {
        return std::move(*shortage);
    }
    try {
        std::rethrow_exception(failure);
    } catch (const DatabaseError& error) {
        return error;
    } catch (const std::filesystem::filesystem_error& error) {
        return error;
    } catch (const ReportUnknown& error) {
        return ReportPending{.sentence = error.what(), .item = error.item()};
    } catch (const BackendUnavailable& error) {
        return BackendAway{.cause = error.cause(), .retryAfter = error.retryAfter()};
    } catch (const boost::system::system_error& error) {
        const bool isCancelled = error.code() == boost::asio::error::operation_aborted;
        return isCancelled ? FailureMeaning(WorkCancelled{}) : PermanentFailure{failureSentence(error)};
    } catch (const std::exception& error) {
        return PermanentFailure{failureSentence(error)};
    } catch (...) {
        return PermanentFailure{"Something went wrong that does not say what it is."};
    }
}

SessionPolicy sessionPolicy(const std::exception_ptr& failure) {
    return std::visit(InSession{}, meaningOf(failure));
}

std::string reasonToReconcile(const SessionPolicy& policy) {
    const bool wasRecorded =
        policy.kind == FailureKind::reportUnknown || policy.kind == FailureKind::reportPending;
    return wasRecorded ? policy.sentence
                       : "The session was ended, since it could not be recorded: " + policy.sentence;
}

}  // namespace quernlight::host

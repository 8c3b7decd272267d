#include "host/dispatcher/chore_failure.hpp"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/health/failure_policy.hpp"
#include "host/intake/bug_source.hpp"

namespace quernlight::host {

/// A shortage may look like any of the others, so it is recognised first.
ChoreFailure choreFailure(const std::exception_ptr& failure) {
    try {
        if (auto shortage = shortageIn(failure)) {
            return std::move(*shortage);
        }
        std::rethrow_exception(failure);
    } catch (const DatabaseError& error) {
        return error;
    } catch (const std::filesystem::filesystem_error& error) {
        return error;
    } catch (const ReportUnknown&) {
        return ReportPending{};
    } catch (const BackendUnavailable& error) {
        return BackendAway{.cause = error.cause(), .retryAfter = error.retryAfter()};
    } catch (const boost::system::system_error& error) {
        const bool cancelled = error.code() == boost::asio::error::operation_aborted;
        return cancelled ? ChoreFailure(WorkCancelled{}) : ChoreFailure(ProgramFails{});
    } catch (...) {
        return ProgramFails{};
    }
}

}  // namespace quernlight::host

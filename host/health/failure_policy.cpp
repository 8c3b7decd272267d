#include "host/health/failure_policy.hpp"

#include <filesystem>

#include "host/health/outside_failure.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

FailurePolicy failurePolicy(const std::exception_ptr& failure, FailureScope scope) {
    const FailureKind permanent =
        scope == FailureScope::session ? FailureKind::failsBug : FailureKind::endsProgram;
    if (const auto shortage = shortageIn(failure)) {
        return {.kind = FailureKind::shortage, .sentence = shortage->cause};
    }
    try {
        std::rethrow_exception(failure);
    } catch (const DatabaseError& error) {
        return {.kind = FailureKind::unwritable, .sentence = failureSentence(error)};
    } catch (const std::filesystem::filesystem_error& error) {
        return {.kind = FailureKind::unwritable, .sentence = failureSentence(error)};
    } catch (const ReportUnknown& error) {
        return {.kind = FailureKind::reportUnknown, .sentence = error.what()};
    } catch (const std::exception& error) {
        return {.kind = permanent, .sentence = failureSentence(error)};
    } catch (...) {
        return {.kind = permanent, .sentence = "Something went wrong that does not say what it is."};
    }
}

std::string reasonToReconcile(const FailurePolicy& policy) {
    return policy.kind == FailureKind::reportUnknown
               ? policy.sentence
               : "The session was ended, since it could not be recorded: " + policy.sentence;
}

}  // namespace quernlight::host

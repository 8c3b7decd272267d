#include "host/service/service_error.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

#include "host/process/home_lock.hpp"
#include "host/process/user_error.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/backend/backend_error.hpp"
#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/transport_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

namespace {

constexpr int notFoundStatus = 404;

constexpr std::array<std::pair<ServiceErrorCode, std::string_view>, 8> names{{
    {ServiceErrorCode::notFound, "not_found"},
    {ServiceErrorCode::ambiguous, "ambiguous"},
    {ServiceErrorCode::refused, "refused"},
    {ServiceErrorCode::needsConfirmation, "needs_confirmation"},
    {ServiceErrorCode::busy, "busy"},
    {ServiceErrorCode::invalid, "invalid"},
    {ServiceErrorCode::unavailable, "unavailable"},
    {ServiceErrorCode::backendFailed, "backend_failed"},
}};

}  // namespace

std::string_view nameOf(ServiceErrorCode code) {
    return std::ranges::find(names, code, &std::pair<ServiceErrorCode, std::string_view>::first)->second;
}

std::optional<ServiceErrorCode> parseServiceErrorCode(std::string_view name) {
    const auto* found =
        std::ranges::find(names, name, &std::pair<ServiceErrorCode, std::string_view>::second);
    return found == names.end() ? std::nullopt : std::optional(found->first);
}

void throwAsServiceError() {
    using enum ServiceErrorCode;
    try {
        throw;
    } catch (const HomeOwnedError& error) {
        throw ServiceError(busy, error.what());
    } catch (const UserError& error) {
        throw ServiceError(unavailable, error.what());
    } catch (const DatabaseError& error) {
        throw ServiceError(unavailable, error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        throw ServiceError(unavailable, error.what());
    } catch (const BackendError& error) {
        throw ServiceError(error.isServer(notFoundStatus) ? notFound : backendFailed, failureSentence(error));
    } catch (const TransportError& error) {
        throw ServiceError(backendFailed, failureSentence(error));
    } catch (const DecodingError& error) {
        throw ServiceError(backendFailed, failureSentence(error));
    }
}

}  // namespace quernlight::host

#include "host/service/service_error.hpp"

#include <filesystem>

#include "host/process/home_lock.hpp"
#include "host/process/user_error.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {

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
    }
}

}  // namespace quernlight::host

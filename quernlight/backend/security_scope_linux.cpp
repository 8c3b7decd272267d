#include "quernlight/backend/security_scope.hpp"

namespace quernlight {

std::shared_ptr<const void> openSecurityScope(const std::filesystem::path&) {
    return nullptr;
}

}  // namespace quernlight

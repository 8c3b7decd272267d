#include "quernlight/platform/shared_library.hpp"

#include <dlfcn.h>

namespace quernlight {
namespace {

[[noreturn]] void fail(const std::string& name) {
    const char* cause = dlerror();
    throw SharedLibraryError("The library " + name + " cannot be loaded (" +
                             (cause != nullptr ? cause : "unknown cause") + "); install it and try again.");
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& name)
    : name_(name), handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
        fail(name_);
    }
}

void* SharedLibrary::address(const char* functionName) const {
    void* found = dlsym(handle_, functionName);
    if (found == nullptr) {
        fail(name_);
    }
    return found;
}

}  // namespace quernlight

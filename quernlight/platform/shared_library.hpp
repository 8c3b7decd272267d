#pragma once

#include <stdexcept>
#include <string>

namespace quernlight {

/// A library of the system's could not be loaded, or lacks what is needed of it.
class SharedLibraryError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A library of the system's that is loaded only when something of it is needed, for loading one with all
/// that it uses itself may take longer than what a program does without it. It stays loaded until the process
/// ends. For any thread.
class SharedLibrary {
  public:
    /// `name` as the dynamic loader knows it (dlopen(3)): "libcurl.so.4". Throws SharedLibraryError.
    explicit SharedLibrary(const std::string& name);

    /// Has `function` point to the library's function of this name. Throws SharedLibraryError.
    template <class Function>
    void find(Function*& function, const char* functionName) const {
        function = reinterpret_cast<Function*>(address(functionName));
    }

  private:
    void* address(const char* functionName) const;

    std::string name_;
    void* handle_;
};

}  // namespace quernlight

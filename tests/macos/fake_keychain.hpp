#pragma once

#include <map>
#include <string>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

namespace quernlight::test {

/// A keychain in memory behind the framework's own functions, so that the macOS token store runs anywhere.
/// One to a process, as the real one; used by one thread.
struct FakeKeychain {
    using Attributes = std::map<std::string, std::string>;

    struct Call {
        std::string operation{};
        Attributes query{};
        Attributes change{};

        bool operator==(const Call&) const = default;
    };

    std::vector<Attributes> items{};
    std::vector<Call> calls{};
    std::map<std::string, OSStatus> failures{};  ///< by the name of the operation that answers so
    std::map<OSStatus, std::string> messages{};  ///< what the system says of a status
    bool answersWithoutData = false;             ///< a match that is no data

    static FakeKeychain& shared();
};

}  // namespace quernlight::test

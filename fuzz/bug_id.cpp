#include "fuzz/property.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/text.hpp"

using namespace quernlight;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view written = fuzz::textOf(data, size);
    const std::string id = BugID::normalized(written);
    fuzz::require(firstCharacters(id, 8) == id, "a short id has eight characters at most");
    fuzz::require(lowercased(id) == id, "a short id is in lower case");
    const std::string again = BugID::normalized(id);
    fuzz::require(again == trimmed(id), "the short form of a short id is itself, but for blanks at its cut");
    if (BugID::isSafeFileName(id)) {
        fuzz::require(!id.empty() && id.find('/') == id.npos && id.find('\0') == id.npos && id != "..",
                      "a safe name stays in its folder");
    }
    return 0;
}

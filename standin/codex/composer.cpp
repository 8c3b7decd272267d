#include "standin/codex/composer.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {

std::optional<std::string> Composer::take(const Burst& burst) {
    if (burst.bytes == "\r") {
        return submit();
    }
    draft_ += burst.bytes;
    std::replace(draft_.begin(), draft_.end(), '\r', '\n');
    if (draft_.ends_with('\n') && trimmed(draft_) == "/exit") {
        return submit();
    }
    // A paste ends in one line end; a second one behind it in a late burst is the Enter that followed it.
    if (burst.late && draft_.ends_with("\n\n")) {
        draft_.pop_back();
        return submit();
    }
    return std::nullopt;
}

std::optional<std::string> Composer::submit() {
    if (trimmed(draft_).empty()) {
        draft_.clear();
        return std::nullopt;
    }
    return std::exchange(draft_, {});
}

}  // namespace quernlight::standin::codex

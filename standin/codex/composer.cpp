#include "standin/codex/composer.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

constexpr std::string_view pasteBegins = "\x1b[200~";
constexpr std::string_view pasteEnds = "\x1b[201~";
constexpr std::size_t longestShownBurst = 60;

bool isShortLine(std::string_view keys) {
    return keys.size() <= longestShownBurst && keys.find('\r') == keys.npos;
}

}  // namespace

std::optional<std::string> Composer::take(const Burst& burst) {
    std::string_view rest = burst.bytes;
    while (true) {
        const std::string_view mark = isInPaste_ ? pasteEnds : pasteBegins;
        const std::size_t at = std::min(rest.find(mark), rest.size());
        if (isInPaste_) {
            add(rest.substr(0, at), true);
        } else if (auto submitted = takeKeys(rest.substr(0, at), burst.late)) {
            return submitted;
        }
        if (at == rest.size()) {
            return std::nullopt;
        }
        rest.remove_prefix(at + mark.size());
        isInPaste_ = !isInPaste_;
    }
}

std::optional<std::string> Composer::takeKeys(std::string_view keys, bool late) {
    if (keys == "\r") {
        return submit();
    }
    add(keys, isShortLine(keys));
    // A paste ends in one line end; a second one behind it in a late burst is the Enter that followed it.
    if (late && draft_.ends_with("\n\n")) {
        draft_.pop_back();
        return submit();
    }
    return std::nullopt;
}

void Composer::add(std::string_view text, bool isShown) {
    std::string added(text);
    std::replace(added.begin(), added.end(), '\r', '\n');
    draft_ += added;
    shown_ += isShown ? added : "[Pasted Content " + std::to_string(added.size()) + " chars]";
}

std::optional<std::string> Composer::submit() {
    shown_.clear();
    if (trimmed(draft_).empty()) {
        draft_.clear();
        return std::nullopt;
    }
    return std::exchange(draft_, {});
}

}  // namespace quernlight::standin::codex

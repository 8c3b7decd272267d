#include "standin/codex/composer.hpp"

#include <algorithm>
#include <utility>

#include "quernlight/platform/text.hpp"

namespace quernlight::standin::codex {
namespace {

constexpr std::string_view pasteBegins = "\x1b[200~";
constexpr std::string_view pasteEnds = "\x1b[201~";
constexpr std::size_t longestShownBurst = 60;
constexpr std::size_t longestShownPaste = 1000;

}  // namespace

std::optional<std::string> Composer::take(std::string_view burst) {
    std::optional<std::string> submitted;
    while (true) {
        const std::string_view mark = isInPaste_ ? pasteEnds : pasteBegins;
        const std::size_t at = std::min(burst.find(mark), burst.size());
        if (isInPaste_) {
            pasted_ += burst.substr(0, at);
        } else {
            takeKeys(burst.substr(0, at), submitted);
        }
        if (at == burst.size()) {
            return submitted;
        }
        if (isInPaste_) {
            add(std::exchange(pasted_, {}), longestShownPaste);
        }
        burst.remove_prefix(at + mark.size());
        isInPaste_ = !isInPaste_;
    }
}

void Composer::takeKeys(std::string_view keys, std::optional<std::string>& submitted) {
    const std::size_t enter = keys.find('\r');
    const bool isInside = enter != keys.npos && enter + 1 < keys.size();
    if (!submitted && (keys == "\r" || isInside)) {
        add(keys.substr(0, enter), longestShownBurst);
        submitted = submit();
        keys.remove_prefix(enter + 1);
    }
    add(keys, longestShownBurst);
}

void Composer::add(std::string_view text, std::size_t longestShown) {
    std::string added(text);
    std::replace(added.begin(), added.end(), '\r', '\n');
    draft_ += added;
    shown_ +=
        text.size() <= longestShown ? added : "[Pasted Content " + std::to_string(text.size()) + " chars]";
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

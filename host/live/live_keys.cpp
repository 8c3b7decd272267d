#include <algorithm>
#include <array>
#include <utility>

#include "host/live/live_choice.hpp"
#include "quernlight/platform/control_characters.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

using Kind = LiveKey::Kind;

constexpr std::string_view pasteBegins = "\x1b[200~";
constexpr std::string_view pasteEnds = "\x1b[201~";
constexpr std::size_t mostPasted = std::size_t{64} << 10U;

constexpr auto sequences = std::to_array<std::pair<std::string_view, Kind>>({
    {"A", Kind::up},
    {"B", Kind::down},
    {"C", Kind::right},
    {"D", Kind::left},
    {"H", Kind::home},
    {"F", Kind::end},
    {"Z", Kind::backTab},
    {"1~", Kind::home},
    {"4~", Kind::end},
    {"7~", Kind::home},
    {"8~", Kind::end},
    {"3~", Kind::remove},
    {"5~", Kind::pageUp},
    {"6~", Kind::pageDown},
});

constexpr auto controls = std::to_array<std::pair<char, Kind>>({
    {'\r', Kind::enter},
    {'\n', Kind::enter},
    {'\t', Kind::tab},
    {'\x7f', Kind::backspace},
    {'\b', Kind::backspace},
    {'\x15', Kind::clear},
    {'\x0c', Kind::redraw},
    {'\x01', Kind::home},
    {'\x05', Kind::end},
    {'\x10', Kind::up},
    {'\x0e', Kind::down},
});

std::size_t lengthOfCharacter(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte >= 0xf8 ? 1 : byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : byte >= 0xc0 ? 2 : 1;
}

}  // namespace

std::vector<LiveKey> LiveKeys::read(std::string_view bytes) {
    unread_ += bytes;
    isWaiting_ = false;
    std::vector<LiveKey> keys;
    while (!unread_.empty() && !isWaiting_) {
        if (auto key = takeKey()) {
            keys.push_back(std::move(*key));
        }
    }
    return keys;
}

/// Nothing for what is no key; then either something was taken, or more has to come.
std::optional<LiveKey> LiveKeys::takeKey() {
    const char first = unread_.front();
    if (first == '\x1b') {
        return takeEscape();
    }
    const std::size_t length = lengthOfCharacter(first);
    if (unread_.size() < length) {
        isWaiting_ = true;
        return std::nullopt;
    }
    const std::string text = unread_.substr(0, length);
    unread_.erase(0, length);
    const auto* control = std::ranges::find(controls, first, &std::pair<char, Kind>::first);
    if (control != controls.end()) {
        return LiveKey{.kind = control->second};
    }
    const bool acts = !isValidUtf8(text) || isActingCharacter(unicodeScalars(text).front());
    return acts ? std::nullopt : std::optional(LiveKey{.kind = Kind::text, .text = text});
}

std::optional<LiveKey> LiveKeys::takeEscape() {
    const bool isAlone = unread_.size() == 1 || unread_[1] == '\x1b';
    if (isAlone) {
        unread_.erase(0, 1);
        return LiveKey{.kind = Kind::escape};
    }
    if (unread_[1] == '[' || unread_[1] == 'O') {
        return takeSequence();
    }
    const std::size_t length = 1 + lengthOfCharacter(unread_[1]);
    isWaiting_ = unread_.size() < length;
    unread_.erase(0, isWaiting_ ? 0 : length);
    return std::nullopt;
}

/// "ESC [ parameters letter" or "ESC O letter"; what modifies a key is not told apart.
std::optional<LiveKey> LiveKeys::takeSequence() {
    const auto end = std::find_if(unread_.begin() + 2, unread_.end(),
                                  [](char byte) { return byte >= '@' && byte <= '~'; });
    if (end == unread_.end()) {
        isWaiting_ = unread_.size() < 32;
        unread_.erase(0, isWaiting_ ? 0 : unread_.size());
        return std::nullopt;
    }
    const std::string sequence(unread_.begin(), end + 1);
    if (sequence == pasteBegins) {
        return takePaste(sequence.size());
    }
    unread_.erase(0, sequence.size());
    const std::string_view rest = std::string_view(sequence).substr(2);
    const bool isNumbered = rest.back() == '~';
    const std::string name(isNumbered ? rest : rest.substr(rest.size() - 1));
    const auto* known = std::ranges::find(sequences, name, &std::pair<std::string_view, Kind>::first);
    return known == sequences.end() ? std::nullopt : std::optional(LiveKey{.kind = known->second});
}

std::optional<LiveKey> LiveKeys::takePaste(std::size_t begin) {
    const std::size_t end = unread_.find(pasteEnds, begin);
    if (end == std::string::npos && unread_.size() < mostPasted) {
        isWaiting_ = true;
        return std::nullopt;
    }
    std::string text = unread_.substr(begin, end == std::string::npos ? end : end - begin);
    unread_.erase(0, end == std::string::npos ? unread_.size() : end + pasteEnds.size());
    return LiveKey{.kind = Kind::text, .text = blankedControls(text), .isPasted = true};
}

}  // namespace quernlight::host

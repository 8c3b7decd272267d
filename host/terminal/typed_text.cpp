#include "host/terminal/typed_text.hpp"

#include <algorithm>

#include "quernlight/runner/terminal_input.hpp"

namespace quernlight::host {

std::string keysOf(const TypedText& typed, bool takesPastes) {
    if (typed.isRaw) {
        return typed.text;
    }
    std::string text = typeableText(typed.text);
    if (text.find('\n') == text.npos) {
        return text;
    }
    if (takesPastes) {
        return "\x1b[200~" + text + "\x1b[201~";
    }
    std::ranges::replace(text, '\n', ' ');
    return text;
}

}  // namespace quernlight::host

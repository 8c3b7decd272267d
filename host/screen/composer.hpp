#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

/// The field of an agent's screen into which a person writes, with the cursor in it.
struct Composer {
    int row = 0;     ///< of its prompt glyph
    int column = 0;  ///< of its text
    /// What was written, without hints. Wrapped lines are joined; where a line was full, a line end that was
    /// written cannot be told from a wrap.
    std::string text{};
    /// "[Pasted Content 1507 chars]" stands for a long paste: how many characters each has.
    std::vector<std::size_t> pastes{};

    bool operator==(const Composer&) const = default;
};

/// The composer, when it is on the screen with the cursor in it: a prompt glyph in the first column, text
/// beneath it indented alike. A dialog's list of options has no cursor.
std::optional<Composer> composerOn(const ScreenPicture& picture);

/// The last lines, on one, of a question that has a field into which an answer is written, with the cursor in
/// it: its prompt glyph is indented, as the question is, or a line beneath says how to submit it.
std::optional<std::string> questionOfAnswerField(const ScreenPicture& picture);

/// What is written in the composer; nothing when there is none on the screen.
std::optional<std::string> composerText(const ScreenPicture& picture);

/// What of a text that was to be written stands in a composer.
enum class ComposerContent : std::uint8_t {
    empty,
    whole,
    beginning,  ///< the rest is missing
    end,  ///< the rest is missing; or does not fit, when the composer reaches from near the top to near the
          ///< bottom
    other,
};

/// Compares without white space. A placeholder of a paste matches anything.
ComposerContent composerContent(const Composer& composer, std::string_view text);

}  // namespace quernlight::host

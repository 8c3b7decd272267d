#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/screen/screen_picture.hpp"

namespace quernlight::host {

enum class DialogKind : std::uint8_t {
    trust,        ///< whether the folder is trusted
    login,        ///< how to log in
    approval,     ///< whether a command, a change or a tool may be used
    update,       ///< whether to update the agent
    usageLimit,   ///< what to do about a limit of use
    replaceGoal,  ///< whether the new goal takes the place of the one that is active
    resumeGoal,   ///< whether to go on with a goal that is paused
    unknown,
};

/// As it is told: "trust question" and the like.
std::string_view nameOf(DialogKind kind);

struct DialogOption {
    int number = 0;
    std::string text{};  ///< of its first line
    bool isSelected = false;

    bool operator==(const DialogOption&) const = default;
};

/// A question of the agent, with options of which one is selected.
struct Dialog {
    DialogKind kind = DialogKind::unknown;
    std::string question{};  ///< what stands above the options, on one line
    std::vector<DialogOption> options{};
    std::string reason{};  ///< what told its kind
};

/// The dialog on the screen. Known by its structure, "› 1. …" and "2. …" under each other at the beginning of
/// what it covers of a line; a list that is written in the composer, or shown above it, is none.
std::optional<Dialog> dialogOn(const ScreenPicture& picture);

}  // namespace quernlight::host

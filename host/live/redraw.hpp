#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/screen/screen_grid.hpp"

namespace quernlight::host {

struct PicturePlace {
    std::size_t row = 0, column = 0;

    bool operator==(const PicturePlace&) const = default;
};

/// What is to stand on a terminal: its cells, all rows of one length, and the cursor where one is shown.
struct LivePicture {
    std::vector<ScreenRow> rows{};
    std::optional<PicturePlace> cursor{};
    std::size_t paneLines = 0;  ///< that the pane has room for
    std::size_t scrolled = 0;   ///< the pane, as far as there is something to scroll to
};

/// The bytes that make one picture of the other on a terminal that shows it: only what has changed is drawn,
/// and there are none where nothing has. Pictures of different sizes, such as the first one after none, are
/// drawn whole. The style is the plain one before and after. Pure.
std::string redraw(const LivePicture& shown, const LivePicture& wanted);

/// The picture without attributes and colours.
LivePicture withoutStyles(LivePicture picture);

/// Its rows as text without trailing blanks.
std::vector<std::string> textLines(const LivePicture& picture);

}  // namespace quernlight::host

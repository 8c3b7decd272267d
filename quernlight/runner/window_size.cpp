#include "quernlight/runner/window_size.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace quernlight {
namespace {

unsigned short checkedCount(int count) {
    constexpr int largest = std::numeric_limits<unsigned short>::max();
    if (count > largest) {
        std::fprintf(stderr, "A terminal has at most %d rows and columns, not %d.\n", largest, count);
        std::abort();
    }
    return static_cast<unsigned short>(std::max(1, count));
}

}  // namespace

winsize windowSize(int columns, int rows) {
    winsize size{};
    size.ws_row = checkedCount(rows);
    size.ws_col = checkedCount(columns);
    return size;
}

}  // namespace quernlight

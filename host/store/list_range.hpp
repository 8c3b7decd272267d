#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

namespace quernlight::host {

/// Which part of a list is wanted; all of it unless told otherwise.
struct ListRange {
    std::size_t offset = 0;
    std::size_t limit = std::numeric_limits<std::size_t>::max();

    /// Leaves that part of it.
    template <class Value>
    void cut(std::vector<Value>& values) const {
        const std::size_t begin = std::min(offset, values.size());
        const std::size_t count = std::min(limit, values.size() - begin);
        values.erase(values.begin() + static_cast<std::ptrdiff_t>(begin + count), values.end());
        values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(begin));
    }
};

}  // namespace quernlight::host

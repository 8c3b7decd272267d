#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "host/control/control_message.hpp"
#include "host/store/list_range.hpp"

namespace quernlight::host {

/// What stands behind each name of that kind in the query of a request.
std::vector<std::string> queryTexts(const ControlRequest& request, std::string_view name);

/// The last one of that name in the query; nothing when there is none. Throws BadRequest for what is no
/// number.
std::optional<std::uint64_t> queryNumber(const ControlRequest& request, std::string_view name);

/// Which part of a list is asked for: "offset" and "limit" of the query.
struct ListPage {
    static constexpr std::size_t usual = 100;
    static constexpr std::size_t most = 1000;

    std::size_t offset = 0;
    std::size_t limit = usual;
};

/// Throws BadRequest.
ListPage pageOf(const ControlRequest& request);

/// The same for an operation that is asked for a part only.
ListRange rangeOf(const ControlRequest& request);

/// That part of a list, and how long the list is.
boost::json::object pageOfItems(boost::json::array items, std::size_t offset, std::size_t total);

/// One page of a list, and how long the list is.
template <class Value, class Shown>
boost::json::object paged(const std::vector<Value>& values, ListPage page, Shown shown) {
    const std::size_t begin = std::min(page.offset, values.size());
    const std::size_t end = begin + std::min(page.limit, values.size() - begin);
    boost::json::array items;
    for (std::size_t index = begin; index < end; ++index) {
        items.push_back(shown(values[index]));
    }
    return pageOfItems(std::move(items), begin, values.size());
}

}  // namespace quernlight::host

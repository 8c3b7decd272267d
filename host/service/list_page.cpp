#include "host/service/list_page.hpp"

#include <charconv>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "host/control/control_router.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

std::optional<std::uint64_t> numberOf(const std::string& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

std::vector<std::string> queryTexts(const ControlRequest& request, std::string_view name) {
    std::vector<std::string> texts;
    const auto target = boost::urls::parse_origin_form(request.target);
    if (!target) {
        return texts;
    }
    for (const auto& [key, value, isGiven] : target->params()) {
        if (key == name) {
            texts.push_back(value);
        }
    }
    return texts;
}

std::optional<std::uint64_t> queryNumber(const ControlRequest& request, std::string_view name) {
    const std::vector<std::string> texts = queryTexts(request, name);
    if (texts.empty()) {
        return std::nullopt;
    }
    const auto number = numberOf(texts.back());
    if (!number) {
        throw BadRequest("\"" + std::string(name) + "\" of the query is no whole number from 0 on: \"" +
                         withoutControls(texts.back()) + "\".");
    }
    return number;
}

boost::json::object pageOfItems(boost::json::array items, std::size_t offset, std::size_t total) {
    const std::size_t begin = std::min(offset, total);
    const std::size_t end = begin + items.size();
    return {{"items", std::move(items)},
            {"offset", begin},
            {"total", total},
            {"next_offset", end < total ? boost::json::value(end) : boost::json::value(nullptr)}};
}

ListRange rangeOf(const ControlRequest& request) {
    const ListPage page = pageOf(request);
    return {.offset = page.offset, .limit = page.limit};
}

ListPage pageOf(const ControlRequest& request) {
    const std::uint64_t limit = queryNumber(request, "limit").value_or(ListPage::usual);
    return {.offset = queryNumber(request, "offset").value_or(0),
            .limit = std::clamp<std::uint64_t>(limit, 1, ListPage::most)};
}

}  // namespace quernlight::host

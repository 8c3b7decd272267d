#include "host/process/process_metadata.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace quernlight::host {
namespace json = boost::json;

std::string processMetadata(pid_t pid, const std::string& startTime) {
    return json::serialize(json::object{{"pid", pid}, {"birth", startTime}});
}

std::optional<ProcessEntry> parseProcessMetadata(std::string_view text) {
    boost::system::error_code error;
    const json::value value = json::parse(text, error);
    const json::object* object = error ? nullptr : value.if_object();
    const json::value* pid = object ? object->if_contains("pid") : nullptr;
    const json::value* startTime = object ? object->if_contains("birth") : nullptr;
    if (!pid || !pid->is_int64() || !startTime || !startTime->is_string()) {
        return std::nullopt;
    }
    return ProcessEntry{.pid = static_cast<pid_t>(pid->as_int64()),
                        .startTime = std::string(startTime->as_string())};
}

}  // namespace quernlight::host

#include "host/terminal/terminal_messages.hpp"

#include <algorithm>
#include <utility>

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

constexpr std::size_t numberBytes = 8;

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

std::string bigEndian(std::uint64_t number) {
    std::string bytes(numberBytes, '\0');
    for (std::size_t at = 0; at < numberBytes; ++at) {
        bytes[at] = static_cast<char>((number >> (8U * (numberBytes - 1 - at))) & 0xFFU);
    }
    return bytes;
}

std::uint64_t numberIn(std::string_view bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes.substr(0, numberBytes)) {
        number = (number << 8U) | static_cast<unsigned char>(byte);
    }
    return number;
}

ControlFrame text(const json::object& object) {
    return {.isText = true, .bytes = json::serialize(object)};
}

/// The members of a message, as far as they are of the types that are asked for.
class Members {
  public:
    static std::optional<Members> of(const ControlFrame& frame) {
        boost::system::error_code error;
        json::value value = json::parse(frame.bytes, error);
        return !error && value.is_object() ? std::optional(Members(std::move(value.get_object())))
                                           : std::nullopt;
    }

    std::string text(std::string_view name) const {
        const json::value* value = object_.if_contains(name);
        return value && value->is_string() ? std::string(value->get_string()) : "";
    }
    std::uint64_t number(std::string_view name) const {
        boost::system::error_code error;
        const json::value* value = object_.if_contains(name);
        const auto number = value ? value->to_number<std::uint64_t>(error) : 0;
        return error ? 0 : number;
    }
    int small(std::string_view name) const {
        constexpr std::uint64_t most = 65535;
        return static_cast<int>(std::min(number(name), most));
    }
    bool flag(std::string_view name) const {
        const json::value* value = object_.if_contains(name);
        return value && value->is_bool() && value->get_bool();
    }
    TerminalSize size() const { return {.columns = small("columns"), .rows = small("rows")}; }

  private:
    explicit Members(json::object object) : object_(std::move(object)) {}

    json::object object_;
};

}  // namespace

ControlFrame frameOf(const TerminalMessage& message) {
    return std::visit(
        Overloaded{[](const PictureBegins& picture) {
                       return text({{"type", "picture"},
                                    {"bug", validUtf8(picture.bug)},
                                    {"attempt", picture.attempt},
                                    {"title", validUtf8(picture.title)},
                                    {"columns", picture.size.columns},
                                    {"rows", picture.size.rows},
                                    {"sets_size", picture.setsSize},
                                    {"byte", picture.byte},
                                    {"screen_begins", picture.screenBegins}});
                   },
                   [](const SizeChanged& changed) {
                       return text({{"type", "size"},
                                    {"columns", changed.size.columns},
                                    {"rows", changed.size.rows},
                                    {"sets_size", changed.setsSize}});
                   },
                   [](const SessionEnded& ended) {
                       return text({{"type", "ended"}, {"sentence", validUtf8(ended.sentence)}});
                   },
                   [](const TerminalBytes& bytes) {
                       return ControlFrame{.isText = false, .bytes = bigEndian(bytes.number) + bytes.bytes};
                   }},
        message);
}

std::optional<TerminalMessage> messageIn(const ControlFrame& frame) {
    if (!frame.isText) {
        return frame.bytes.size() < numberBytes
                   ? std::nullopt
                   : std::optional<TerminalMessage>(TerminalBytes{.number = numberIn(frame.bytes),
                                                                  .bytes = frame.bytes.substr(numberBytes)});
    }
    const auto members = Members::of(frame);
    const std::string type = members ? members->text("type") : "";
    if (type == "picture") {
        return PictureBegins{.bug = members->text("bug"),
                             .attempt = static_cast<std::int64_t>(members->number("attempt")),
                             .title = members->text("title"),
                             .size = members->size(),
                             .setsSize = members->flag("sets_size"),
                             .byte = members->number("byte"),
                             .screenBegins = members->number("screen_begins")};
    }
    if (type == "size") {
        return SizeChanged{.size = members->size(), .setsSize = members->flag("sets_size")};
    }
    if (type == "ended") {
        return SessionEnded{.sentence = members->text("sentence")};
    }
    return std::nullopt;
}

ControlFrame frameOf(const ClientMessage& message) {
    return std::visit(
        Overloaded{
            [](const Keys& keys) { return ControlFrame{.isText = false, .bytes = keys.bytes}; },
            [](const Acknowledgement& taken) {
                return text({{"type", "acknowledge"}, {"bytes", taken.bytes}});
            },
            [](const ClientSize& sized) {
                return text({{"type", "size"}, {"columns", sized.size.columns}, {"rows", sized.size.rows}});
            }},
        message);
}

std::optional<ClientMessage> clientMessageIn(const ControlFrame& frame) {
    if (!frame.isText) {
        return Keys{.bytes = frame.bytes};
    }
    const auto members = Members::of(frame);
    const std::string type = members ? members->text("type") : "";
    if (type == "acknowledge") {
        return Acknowledgement{.bytes = members->number("bytes")};
    }
    const bool hasSize = type == "size" && members->size().columns > 0 && members->size().rows > 0;
    return hasSize ? std::optional<ClientMessage>(ClientSize{.size = members->size()}) : std::nullopt;
}

}  // namespace quernlight::host

#include "quernlight/backend/json_node.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

std::string_view textOf(const JSONNode& node) {
    if (!node.value().is_string()) {
        node.failExpected("a text");
    }
    const json::string& text = node.value().get_string();
    return {text.data(), text.size()};
}

JSONValue freeFormValue(const json::value& value);

JSONValue freeFormObject(const json::object& members) {
    JSONValue::Object object;
    for (const auto& member : members) {
        object.emplace(std::string(member.key()), freeFormValue(member.value()));
    }
    return JSONValue::object(std::move(object));
}

JSONValue freeFormArray(const json::array& elements) {
    JSONValue::Array array;
    array.reserve(elements.size());
    for (const json::value& element : elements) {
        array.push_back(freeFormValue(element));
    }
    return JSONValue::array(std::move(array));
}

JSONValue freeFormValue(const json::value& value) {
    switch (value.kind()) {
        case json::kind::null:
            return JSONValue::null();
        case json::kind::bool_:
            return JSONValue::boolean(value.get_bool());
        case json::kind::int64:
            return JSONValue::number(static_cast<double>(value.get_int64()));
        case json::kind::uint64:
            return JSONValue::number(static_cast<double>(value.get_uint64()));
        case json::kind::double_:
            return JSONValue::number(value.get_double());
        case json::kind::string:
            return JSONValue::string(std::string(value.get_string()));
        case json::kind::array:
            return freeFormArray(value.get_array());
        case json::kind::object:
            return freeFormObject(value.get_object());
    }
    return JSONValue::null();
}

}  // namespace

JSONNode JSONNode::element(std::size_t index, const json::value& value) const {
    JSONNode node(value, *this);
    node.index_ = index;
    return node;
}

std::string JSONNode::codingPath() const {
    const std::string above = parent_ ? parent_->codingPath() : std::string();
    if (index_) {
        return above + "[" + std::to_string(*index_) + "]";
    }
    return parent_ ? above + "." + std::string(name_) : std::string(name_);
}

std::string JSONNode::subject() const {
    if (!parent_) {
        return "The backend's answer, a " + std::string(name_) + ",";
    }
    if (index_) {
        return "The element " + codingPath() + " of the backend's answer";
    }
    return "The key \"" + std::string(name_) + "\" of " + std::string(record_) + " (" + codingPath() +
           ") in the backend's answer";
}

void JSONNode::failExpected(std::string_view expected) const {
    throw DecodingError(DecodingError::Reason::typeMismatch, codingPath(),
                        subject() + " is not " + std::string(expected) + ".");
}

void JSONNode::failMalformed(std::string_view expected) const {
    failWith(subject() + " is not " + std::string(expected) + ".");
}

void JSONNode::failWith(const std::string& message) const {
    throw DecodingError(DecodingError::Reason::dataCorrupted, codingPath(), message);
}

void read(const JSONNode& node, std::string& result) {
    result = textOf(node);
}

void read(const JSONNode& node, std::int64_t& result) {
    // The parser has made an int64 of every number that is one, however it is spelled.
    if (!node.value().is_int64()) {
        node.failExpected("an integer of 64 bits");
    }
    result = node.value().get_int64();
}

void read(const JSONNode& node, Uuid& result) {
    const auto uuid = parseUuid(textOf(node));
    if (!uuid) {
        node.failMalformed("a UUID");
    }
    result = *uuid;
}

void read(const JSONNode& node, Instant& result) {
    const std::string_view text = textOf(node);
    const auto instant = parseInstant(text);
    if (!instant) {
        node.failWith("Invalid ISO-8601 date: " + std::string(text));
    }
    result = *instant;
}

void read(const JSONNode& node, Url& result) {
    auto url = Url::parse(textOf(node));
    if (!url) {
        node.failMalformed("an absolute URL");
    }
    result = *std::move(url);
}

void read(const JSONNode& node, JSONValue& result) {
    result = freeFormValue(node.value());
}

RecordReader::RecordReader(const JSONNode& node, std::string_view record) : node_(node), record_(record) {
    if (!node.value().is_object()) {
        node.failExpected("an object");
    }
}

const json::value* RecordReader::find(std::string_view key) const {
    return node_.value().get_object().if_contains(json::string_view(key.data(), key.size()));
}

JSONNode RecordReader::child(std::string_view key, const json::value& value) const {
    JSONNode node(value, node_);
    node.name_ = key;
    node.record_ = record_;
    return node;
}

void RecordReader::failMissing(std::string_view key) const {
    const std::string path = node_.codingPath() + "." + std::string(key);
    throw DecodingError(DecodingError::Reason::keyNotFound, path,
                        "The key \"" + std::string(key) + "\" of " + std::string(record_) + " (" + path +
                            ") is missing in the backend's answer.");
}

}  // namespace quernlight

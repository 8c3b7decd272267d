#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/json_value.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight {

/// One value inside a parsed answer, and how one gets there from the top, for an error that says where. Lives
/// on the stack of the functions that walk down; borrows the parsed answer and the node above.
class JSONNode {
  public:
    /// The answer itself, which is to be a `record`.
    JSONNode(const boost::json::value& value, std::string_view record) : value_(value), name_(record) {}

    const boost::json::value& value() const { return value_; }

    JSONNode element(std::size_t index, const boost::json::value& value) const;

    /// "QLBugListResponse.bugs[3].title"
    std::string codingPath() const;

    /// Throws a type mismatch; `expected` is what should stand here, with its article.
    [[noreturn]] void failExpected(std::string_view expected) const;

    /// Throws data corrupted; `expected` as above.
    [[noreturn]] void failMalformed(std::string_view expected) const;

    /// Throws data corrupted with exactly this message.
    [[noreturn]] void failWith(const std::string& message) const;

  private:
    friend class RecordReader;

    JSONNode(const boost::json::value& value, const JSONNode& parent) : value_(value), parent_(&parent) {}

    std::string subject() const;

    const boost::json::value& value_;
    const JSONNode* parent_ = nullptr;
    std::string_view name_;    // the key; of the answer itself, its record
    std::string_view record_;  // the record that the key belongs to
    std::optional<std::size_t> index_;
};

// Each reads the node's value into `result` or throws `DecodingError`.

void read(const JSONNode& node, std::string& result);
void read(const JSONNode& node, std::int64_t& result);
void read(const JSONNode& node, Uuid& result);
void read(const JSONNode& node, Instant& result);
void read(const JSONNode& node, Url& result);
void read(const JSONNode& node, JSONValue& result);

template <class Element>
void read(const JSONNode& node, std::vector<Element>& result) {
    if (!node.value().is_array()) {
        node.failExpected("an array");
    }
    const auto& elements = node.value().get_array();
    result.resize(elements.size());
    for (std::size_t index = 0; index < elements.size(); ++index) {
        read(node.element(index, elements[index]), result[index]);
    }
}

/// Reads the keys of one record. Borrows the node.
class RecordReader {
  public:
    /// Throws `DecodingError` when the node is no object. `record` is the record's name.
    RecordReader(const JSONNode& node, std::string_view record);

    template <class Value>
    void required(std::string_view key, Value& result) const {
        const auto* value = find(key);
        if (value == nullptr) {
            failMissing(key);
        }
        read(child(key, *value), result);
    }

    /// A key that is absent or null gives nothing.
    template <class Value>
    void optional(std::string_view key, std::optional<Value>& result) const {
        const auto* value = find(key);
        if (value != nullptr && !value->is_null()) {
            read(child(key, *value), result.emplace());
        }
    }

  private:
    const boost::json::value* find(std::string_view key) const;
    JSONNode child(std::string_view key, const boost::json::value& value) const;
    [[noreturn]] void failMissing(std::string_view key) const;

    const JSONNode& node_;
    std::string_view record_;
};

}  // namespace quernlight

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quernlight {

/// An element of a list that is not the record it should be.
struct UnreadableRecord {
    std::optional<std::string> id = {};  ///< as the backend spells it; absent when that cannot be read either
    std::string field;                   ///< "created_at", "attachments[0].kind"; empty when it is no object
    std::string problem;                 ///< the decoder's sentence

    bool operator==(const UnreadableRecord&) const = default;
};

/// A list of the backend, taken apart: the records that can be read, in their order, and what was left out.
template <class Record>
struct ReadableList {
    std::vector<Record> records;
    std::vector<UnreadableRecord> unreadable;

    /// Elements of the list as it came.
    std::size_t size() const { return records.size() + unreadable.size(); }

    bool operator==(const ReadableList&) const = default;
};

}  // namespace quernlight

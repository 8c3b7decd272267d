#include "quernlight/runner/text_search.hpp"

#include "quernlight/runner/byte_block.hpp"

namespace quernlight {

std::size_t TextSearch::find(std::string_view bytes, std::size_t from) const {
    const std::size_t last = text_.size() - 1;
    while (!text_.empty() && from + last + ByteBlock::size <= bytes.size()) {
        const ByteBlock first(bytes.data() + from);
        const std::size_t found =
            first.indexOfBoth(text_.front(), ByteBlock(bytes.data() + from + last), text_.back());
        if (found == ByteBlock::size) {
            from += ByteBlock::size;
        } else if (bytes.compare(from + found, text_.size(), text_) == 0) {
            return from + found;
        } else {
            from += found + 1;
        }
    }
    return bytes.find(text_, from);
}

}  // namespace quernlight

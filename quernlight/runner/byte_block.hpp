#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quernlight {

// Some bytes of terminal output that are looked at together. A block is read from at least `size` bytes; an
// index is that of the first byte of its kind, and `size` when there is none.

/// Eight bytes as one number, on every machine.
class WordBlock {
  public:
    static constexpr std::size_t size = sizeof(std::uint64_t);

    explicit WordBlock(const char* bytes) { std::memcpy(&bytes_, bytes, size); }

    /// Writes all bytes, with a line feed for every carriage return.
    void copyWithLineFeeds(char* to) const {
        const std::uint64_t text = bytes_ ^ ((equal('\r') >> 7) * ('\r' ^ '\n'));
        std::memcpy(to, &text, size);
    }

    std::size_t indexOfEscapeOrNonAscii() const { return first((bytes_ & highBits) | equal('\x1B')); }

    /// Of a byte from "@" to "~", which ends a control sequence, behind the first `from` bytes, which are
    /// less than `size`.
    std::size_t indexOfFinalByte(std::size_t from = 0) const {
        const std::uint64_t finals = (bytes_ << 1) & ~bytes_ & ~equal('\x7F') & highBits;
        const std::uint64_t all = ~std::uint64_t{0};
        return first(finals &
                     (std::endian::native == std::endian::little ? all << (8 * from) : all >> (8 * from)));
    }

    /// Where this block has one character and the other the other.
    std::size_t indexOfBoth(char mine, const WordBlock& other, char others) const {
        return first(equal(mine) & other.equal(others));
    }

  private:
    static constexpr std::uint64_t ones = 0x0101010101010101;
    static constexpr std::uint64_t highBits = 0x80 * ones;

    /// The high bit of each byte that is the character.
    std::uint64_t equal(char character) const {
        const std::uint64_t zeroWhereEqual = bytes_ ^ (ones * static_cast<unsigned char>(character));
        return ~(((zeroWhereEqual & ~highBits) + ~highBits) | zeroWhereEqual | ~highBits);
    }

    static std::size_t first(std::uint64_t marks) {
        const int bits =
            std::endian::native == std::endian::little ? std::countr_zero(marks) : std::countl_zero(marks);
        return static_cast<std::size_t>(bits) / 8;
    }

    std::uint64_t bytes_ = 0;
};

#if defined(__SSE2__)
/// Sixteen bytes in a vector that every 64-bit x86 processor has.
class VectorBlock {
  public:
    static constexpr std::size_t size = sizeof(__m128i);

    explicit VectorBlock(const char* bytes)
        : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))) {}

    void copyWithLineFeeds(char* to) const {
        const __m128i change = _mm_and_si128(equal('\r'), _mm_set1_epi8('\r' ^ '\n'));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_xor_si128(bytes_, change));
    }

    std::size_t indexOfEscapeOrNonAscii() const { return first(_mm_or_si128(bytes_, equal('\x1B')), 0); }

    std::size_t indexOfFinalByte(std::size_t from = 0) const {
        // Signed: a byte with its high bit set is less than all others.
        return first(_mm_and_si128(_mm_cmpgt_epi8(bytes_, _mm_set1_epi8(0x3F)),
                                   _mm_cmplt_epi8(bytes_, _mm_set1_epi8(0x7F))),
                     from);
    }

    std::size_t indexOfBoth(char mine, const VectorBlock& other, char others) const {
        return first(_mm_and_si128(equal(mine), other.equal(others)), 0);
    }

  private:
    __m128i equal(char character) const { return _mm_cmpeq_epi8(bytes_, _mm_set1_epi8(character)); }

    /// Of the bytes whose high bit is set.
    static std::size_t first(__m128i marks, std::size_t from) {
        constexpr unsigned end = 1U << size;
        const auto bits = static_cast<unsigned>(_mm_movemask_epi8(marks)) & (~0U << from);
        return static_cast<std::size_t>(std::countr_zero(bits | end));
    }

    __m128i bytes_;
};

using ByteBlock = VectorBlock;
#else
using ByteBlock = WordBlock;
#endif

}  // namespace quernlight

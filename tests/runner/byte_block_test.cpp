#include "quernlight/runner/byte_block.hpp"

#include <algorithm>
#include <random>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

/// Every kind of block, held against looking at one byte after the other.
template <class Block>
class ByteBlockTest : public testing::Test {
  protected:
    template <class Test>
    static std::size_t firstOf(const std::string& bytes, Test isMeant) {
        return static_cast<std::size_t>(std::find_if(bytes.begin(), bytes.end(), isMeant) - bytes.begin());
    }

    static bool isFinal(char byte) { return byte >= '@' && byte <= '~'; }
    static bool isEscapeOrNonAscii(char byte) { return byte == '\x1B' || (byte & '\x80') != 0; }

    static void expectWhatTheBytesSay(const std::string& bytes) {
        const Block block(bytes.data());
        EXPECT_EQ(block.indexOfEscapeOrNonAscii(), firstOf(bytes, isEscapeOrNonAscii));
        EXPECT_EQ(block.indexOfFinalByte(), firstOf(bytes, isFinal));
        for (std::size_t from = 0; from < Block::size; ++from) {
            EXPECT_EQ(block.indexOfFinalByte(from), from + firstOf(bytes.substr(from), isFinal));
        }
        std::string copy(Block::size, '?');
        block.copyWithLineFeeds(copy.data());
        std::string expected = bytes;
        std::replace(expected.begin(), expected.end(), '\r', '\n');
        EXPECT_EQ(copy, expected);
    }
};

using EveryBlock = std::conditional_t<std::is_same_v<ByteBlock, WordBlock>, testing::Types<WordBlock>,
                                      testing::Types<WordBlock, ByteBlock>>;
TYPED_TEST_SUITE(ByteBlockTest, EveryBlock);

TYPED_TEST(ByteBlockTest, EveryByteIsTakenForWhatItIsWhereverItStands) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t place = 0; place < TypeParam::size; ++place) {
            std::string bytes(TypeParam::size, ' ');
            bytes[place] = static_cast<char>(byte);
            this->expectWhatTheBytesSay(bytes);
        }
    }
}

TYPED_TEST(ByteBlockTest, BytesBesideEachOtherDoNotMatterToEachOther) {
    const std::string choice = "\r\n\x0C\x0E\x1A\x1B\x1C\x7E\x7F\x80\x8D\x9B\xFF@?~a";
    std::mt19937 random(20240607);
    std::uniform_int_distribution<std::size_t> place(0, choice.size() - 1);
    for (int round = 0; round < 5000; ++round) {
        std::string bytes;
        while (bytes.size() < TypeParam::size) {
            bytes += choice[place(random)];
        }
        this->expectWhatTheBytesSay(bytes);
    }
}

TYPED_TEST(ByteBlockTest, TwoBytesAreFoundWhereBothStand) {
    const std::string first("a-a-aaaa--------", TypeParam::size);
    const std::string second("--bbb-bb--------", TypeParam::size);
    EXPECT_EQ(TypeParam(first.data()).indexOfBoth('a', TypeParam(second.data()), 'b'), 2U);
    EXPECT_EQ(TypeParam(second.data()).indexOfBoth('a', TypeParam(first.data()), 'b'), TypeParam::size);
}

}  // namespace
}  // namespace quernlight

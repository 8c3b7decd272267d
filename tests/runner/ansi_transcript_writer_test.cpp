#include "quernlight/runner/ansi_transcript_writer.hpp"

#include <system_error>
#include <thread>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using namespace test;

class ANSITranscriptWriterTest : public testing::Test {
  protected:
    std::string raw() const { return readFile(ansiPath); }
    std::string text() const { return readFile(textPath); }

    TemporaryDirectory directory;
    std::filesystem::path ansiPath = directory / "attempt/1/terminal.ansi";
    std::filesystem::path textPath = directory / "texts/terminal.txt";
    ANSITranscriptWriter writer{ansiPath, textPath};
};

TEST_F(ANSITranscriptWriterTest, ConstructionTouchesNoFile) {
    EXPECT_EQ(writer.finish(), "");
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(ANSITranscriptWriterTest, TheFirstAppendCreatesMissingDirectoriesAndBothFiles) {
    EXPECT_EQ(writer.append("a\x1B[31mb\r"), "ab\n");
    EXPECT_EQ(raw(), "a\x1B[31mb\r");
    EXPECT_EQ(text(), "ab\n");
}

TEST_F(ANSITranscriptWriterTest, TheFilesAreForTheirOwnerOnlyAlsoWhenOthersCouldReadThemBefore) {
    using std::filesystem::perms;
    writeFile(textPath, "");
    std::filesystem::permissions(textPath, perms(0666));
    writer.append("a");
    for (const auto& path : {ansiPath, textPath}) {
        EXPECT_EQ(std::filesystem::status(path).permissions(), perms::owner_read | perms::owner_write);
    }
}

TEST_F(ANSITranscriptWriterTest, NothingIsWrittenWhenTheTextFileCannotBeOpened) {
    writeFile(directory / "texts", "in the way");
    EXPECT_ANY_THROW(writer.append("lost"));
    EXPECT_EQ(raw(), "");
    std::filesystem::remove(directory / "texts");
    EXPECT_EQ(writer.append("kept"), "kept");
    EXPECT_EQ(raw(), "kept");
    EXPECT_EQ(text(), "kept");
}

TEST_F(ANSITranscriptWriterTest, ASecondWriterAppendsAfterWhatIsThere) {
    writer.append("first ");
    ANSITranscriptWriter(ansiPath, textPath).append("second");
    writer.append(" third");
    EXPECT_EQ(raw(), "first second third");
    EXPECT_EQ(text(), "first second third");
}

TEST_F(ANSITranscriptWriterTest, TheTailOfASequenceThatAChunkCutsIsText) {
    EXPECT_EQ(writer.append("a\x1B[3"), "a");
    EXPECT_EQ(writer.append("1mb"), "1mb");
    EXPECT_EQ(raw(), "a\x1B[31mb");
    EXPECT_EQ(text(), "a1mb");
}

TEST_F(ANSITranscriptWriterTest, ACharacterSplitOverChunksIsHeldBackUntilItIsWhole) {
    EXPECT_EQ(writer.append("a\xF0"), "a");
    EXPECT_EQ(writer.append("\x9F\x98"), "");
    EXPECT_EQ(raw(), "a\xF0\x9F\x98");
    EXPECT_EQ(writer.append("\x80"
                            "b"),
              "\xF0\x9F\x98\x80"
              "b");
    EXPECT_EQ(text(),
              "a\xF0\x9F\x98\x80"
              "b");
}

TEST_F(ANSITranscriptWriterTest, ACharacterSplitWithinASequenceIsTextOfTheNextChunk) {
    EXPECT_EQ(writer.append("a\x1B]0;\xE2\x80"), "a");
    EXPECT_EQ(writer.append("\xBA\ab"), "›\ab");
}

TEST_F(ANSITranscriptWriterTest, AHeldBackPieceThatGoesOnDifferentlyIsReplaced) {
    EXPECT_EQ(writer.append("a\xE2\x80"), "a");
    EXPECT_EQ(writer.append("\x1B[1mb"), "\uFFFDb");
    EXPECT_EQ(writer.append("\xE2"), "");
    EXPECT_EQ(writer.append("\xE2\x80"), "\uFFFD");
    EXPECT_EQ(writer.append("\xBA"), "›");
}

TEST_F(ANSITranscriptWriterTest, BytesThatNoCharacterBeginsWithAreNotHeldBack) {
    EXPECT_EQ(writer.append("\x80\x80\x80"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(writer.append("\xC0"), "\uFFFD");
    EXPECT_EQ(writer.append("\xE0\x80"), "\uFFFD\uFFFD");
}

TEST_F(ANSITranscriptWriterTest, WhatIsLeftAtTheEndIsWrittenAsOneReplacement) {
    writer.append("a\xF0\x9F\x98");
    EXPECT_EQ(writer.finish(), "\uFFFD");
    EXPECT_EQ(writer.finish(), "");
    EXPECT_EQ(raw(), "a\xF0\x9F\x98");
    EXPECT_EQ(text(), "a\uFFFD");
}

TEST_F(ANSITranscriptWriterTest, TextWithoutSequencesIsTheSameHoweverItIsCut) {
    const std::string whole = "é› \U0001F600\xFF\xE2\x80x\xED\xA0\x80\xF4\x90 end";
    const std::string expected = writer.append(whole);
    for (std::size_t size = 1; size < whole.size(); ++size) {
        std::string text;
        for (std::size_t offset = 0; offset < whole.size(); offset += size) {
            text += writer.append(std::string_view(whole).substr(offset, size));
        }
        EXPECT_EQ(text, expected) << "in pieces of " << size;
    }
}

TEST_F(ANSITranscriptWriterTest, AFileThatCannotBeOpenedThrowsAndIsTriedAgain) {
    writeFile(directory / "attempt", "a file where a directory should be");
    EXPECT_THROW(writer.append("lost"), std::system_error);
    std::filesystem::remove(directory / "attempt");
    EXPECT_EQ(writer.append("kept"), "kept");
    EXPECT_EQ(raw(), "kept");
}

TEST_F(ANSITranscriptWriterTest, AWriteThatFailsThrowsAndTheOtherFileGoesOn) {
    ANSITranscriptWriter noText(ansiPath, "/dev/full");
    EXPECT_THROW(noText.append("first "), std::system_error);
    EXPECT_THROW(noText.append("second"), std::system_error);
    EXPECT_EQ(raw(), "first second");
    ANSITranscriptWriter noRaw("/dev/full", textPath);
    EXPECT_THROW(noRaw.append("lost"), std::system_error);
    EXPECT_EQ(text(), "")
        << "created before the raw bytes are written, and nothing written after that failed";
}

TEST_F(ANSITranscriptWriterTest, AnEmptyChunkCreatesTheFilesAndWritesNothing) {
    EXPECT_EQ(writer.append(""), "");
    EXPECT_EQ(raw(), "");
    EXPECT_EQ(text(), "");
}

TEST_F(ANSITranscriptWriterTest, ALineBreakSplitOverChunksIsStillTwoLineFeeds) {
    EXPECT_EQ(writer.append("a\r"), "a\n");
    EXPECT_EQ(writer.append("\nb"), "\nb");
    EXPECT_EQ(raw(), "a\r\nb");
}

TEST_F(ANSITranscriptWriterTest, FilesStayOpenForTheWriter) {
    writer.append("first ");
    std::filesystem::rename(ansiPath, directory / "moved.ansi");
    writer.append("second");
    EXPECT_EQ(readFile(directory / "moved.ansi"), "first second");
    EXPECT_FALSE(std::filesystem::exists(ansiPath));
}

TEST_F(ANSITranscriptWriterTest, ChunksOfTwoThreadsStayWholeAndInTheSameOrderInBothFiles) {
    const auto appendMany = [this](const std::string& chunk) {
        for (int count = 0; count < 200; ++count) {
            writer.append(chunk);
        }
    };
    std::thread other(appendMany, std::string(100, 'a'));
    appendMany(std::string(100, 'b'));
    other.join();
    EXPECT_EQ(raw(), text());
    EXPECT_EQ(raw().size(), 40000U);
    for (std::size_t offset = 0; offset < raw().size(); offset += 4000) {
        EXPECT_EQ(raw().substr(offset, 100), std::string(100, raw()[offset]));
    }
}

}  // namespace
}  // namespace quernlight

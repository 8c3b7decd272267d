#include "quernlight/runner/ansi_transcript_writer.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quernlight/runner/ansi_plain_text_converter.hpp"
#include "quernlight/runner/utf8_decoding.hpp"

namespace quernlight {
namespace {

[[noreturn]] void throwSystemError(const std::filesystem::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

/// What an earlier version made is readable by others. Another user's file, or what is no file, is their
/// affair.
void keepFromOtherUsers(const FileDescriptor& file) {
    constexpr mode_t othersRights = S_IRWXG | S_IRWXO;
    struct stat found {};
    if (::fstat(file.get(), &found) == 0 && S_ISREG(found.st_mode) && (found.st_mode & othersRights) != 0) {
        [[maybe_unused]] const int changed = ::fchmod(file.get(), found.st_mode & S_IRWXU);
    }
}

void openForAppending(FileDescriptor& file, const std::filesystem::path& path) {
    if (file) {
        return;
    }
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path());
    }
    file = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (!file) {
        throwSystemError(path);
    }
    keepFromOtherUsers(file);
}

void writeAll(const FileDescriptor& file, const std::filesystem::path& path, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            throwSystemError(path);
        }
    }
}

}  // namespace

ANSITranscriptWriter::ANSITranscriptWriter(std::filesystem::path ansiPath, std::filesystem::path textPath)
    : ansiPath_(std::move(ansiPath)), textPath_(std::move(textPath)) {}

std::string ANSITranscriptWriter::append(std::string_view data) {
    const std::lock_guard guard(lock_);
    openFiles();
    writeAll(ansiFile_, ansiPath_, data);
    std::string text = plainTextOf(data);
    writeAll(textFile_, textPath_, text);
    return text;
}

std::string ANSITranscriptWriter::finish() {
    const std::lock_guard guard(lock_);
    if (heldBack_.empty()) {
        return {};
    }
    openFiles();
    std::string text = ANSIPlainTextConverter::plain(std::exchange(heldBack_, {}));
    writeAll(textFile_, textPath_, text);
    return text;
}

void ANSITranscriptWriter::openFiles() {
    openForAppending(ansiFile_, ansiPath_);
    openForAppending(textFile_, textPath_);
}

/// A character held back is never part of a control sequence here, because sequences do not go on in another
/// chunk: it is completed byte by byte and converted alone, and the rest of the chunk is converted in place.
std::string ANSITranscriptWriter::plainTextOf(std::string_view data) {
    std::string text;
    text.reserve(data.size() + heldBack_.size());
    while (!heldBack_.empty() && !data.empty()) {
        const std::string longer = heldBack_ + data.front();
        const Utf8Piece piece = utf8PieceAt(longer, 0);
        if (piece.kind != Utf8Piece::Kind::illFormed) {
            heldBack_ = longer;
            data.remove_prefix(1);
        }
        if (piece.kind != Utf8Piece::Kind::incomplete) {
            ANSIPlainTextConverter::appendPlain(text, std::exchange(heldBack_, {}));
        }
    }
    if (heldBack_.empty()) {
        heldBack_ = data.substr(data.size() - incompleteUtf8SuffixLength(data));
        ANSIPlainTextConverter::appendPlain(text, data.substr(0, data.size() - heldBack_.size()));
    }
    return text;
}

}  // namespace quernlight

#include "bench/terminal_output.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace quernlight::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t outputSize = 64 * 1024 * 1024;
constexpr std::size_t chunkSize = 64 * 1024;

std::string contentsOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// All files of that ending beneath `directory`, in the order of their names.
std::string filesOf(const fs::path& directory, const fs::path& ending) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(PROJECT_ROOT) / directory)) {
        if (entry.path().extension() == ending) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::string all;
    for (const fs::path& path : paths) {
        all += contentsOf(path);
    }
    return all.empty() ? throw std::runtime_error("There is nothing in " + directory.string() + ".") : all;
}

std::string repeated(const std::string& text) {
    std::string repeated;
    while (repeated.size() < outputSize) {
        repeated.append(text, 0, outputSize - repeated.size());
    }
    return repeated;
}

std::string withTerminalLineEnds(const std::string& text) {
    std::string typed;
    for (const char character : text) {
        typed += character == '\n' ? "\r\n" : std::string(1, character);
    }
    return typed;
}

}  // namespace

const std::string& screenOutput() {
    static const std::string output = repeated(filesOf("tests/host/screen/recordings", ".ansi"));
    return output;
}

const std::string& plainOutput() {
    static const std::string output = repeated(withTerminalLineEnds(filesOf("quernlight", ".cpp")));
    return output;
}

std::vector<std::string_view> chunksOf(std::string_view text) {
    std::vector<std::string_view> chunks;
    for (std::size_t offset = 0; offset < text.size(); offset += chunkSize) {
        chunks.push_back(text.substr(offset, chunkSize));
    }
    return chunks;
}

}  // namespace quernlight::bench

#include "tests/agents/file_watch.hpp"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>

namespace quernlight::test {
namespace fs = std::filesystem;

std::vector<fs::path> FileWatch::look() {
    std::vector<fs::path> holding;
    lookInto(directory_, holding);
    return holding;
}

/// What goes meanwhile is no error, and ends the look into its own directory alone.
void FileWatch::lookInto(const fs::path& directory, std::vector<fs::path>& holding) {
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code gone;
        if (entry->is_symlink(gone)) {
            continue;
        }
        if (entry->is_directory(gone)) {
            lookInto(entry->path(), holding);
        } else if (entry->is_regular_file(gone) && hasChanged(*entry) && holdsText(entry->path())) {
            holding.push_back(entry->path());
        }
    }
}

bool FileWatch::hasChanged(const fs::directory_entry& file) {
    std::error_code gone;
    const State state{file.last_write_time(gone), file.file_size(gone)};
    State& known = seen_[file.path()];
    return std::exchange(known, state) != state;
}

bool FileWatch::holdsText(const fs::path& file) const {
    std::ifstream stream(file, std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(stream), {});
    return std::search(content.begin(), content.end(),
                       std::boyer_moore_horspool_searcher(text_.begin(), text_.end())) != content.end();
}

}  // namespace quernlight::test

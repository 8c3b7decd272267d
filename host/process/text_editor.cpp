#include "host/process/text_editor.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"

extern char** environ;

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;

/// While an editor runs, as git does it: what is typed to interrupt is the editor's.
class IgnoredInterrupts {
  public:
    IgnoredInterrupts() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignore, &interrupt_);
        sigaction(SIGQUIT, &ignore, &quit_);
    }
    IgnoredInterrupts(const IgnoredInterrupts&) = delete;
    IgnoredInterrupts& operator=(const IgnoredInterrupts&) = delete;
    ~IgnoredInterrupts() {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGQUIT, &quit_, nullptr);
    }

  private:
    struct sigaction interrupt_ {};
    struct sigaction quit_ {};
};

class SpawnAttributes {
  public:
    SpawnAttributes() {
        posix_spawnattr_init(&attributes_);
        sigset_t handled;
        sigemptyset(&handled);
        sigaddset(&handled, SIGINT);
        sigaddset(&handled, SIGQUIT);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes_, &handled);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

/// What this program prints is no place for an editor's picture.
class EditorOutput {
  public:
    EditorOutput() {
        posix_spawn_file_actions_init(&actions_);
        if (isatty(STDOUT_FILENO) == 0) {
            terminal_ = FileDescriptor(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
            posix_spawn_file_actions_adddup2(&actions_, terminal_ ? terminal_.get() : STDERR_FILENO,
                                             STDOUT_FILENO);
        }
    }
    EditorOutput(const EditorOutput&) = delete;
    EditorOutput& operator=(const EditorOutput&) = delete;
    ~EditorOutput() { posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* actions() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_{};
    FileDescriptor terminal_;
};

UserError unwritable(const fs::path& path, int error) {
    return UserError("The file " + path.string() + " cannot be written: " + std::strerror(error) + ".");
}

void writeWhole(int descriptor, const std::string& content, const fs::path& path) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t count = write(descriptor, content.data() + done, content.size() - done);
        if (count < 0) {
            const int error = errno;
            close(descriptor);
            throw unwritable(path, error);
        }
        done += static_cast<std::size_t>(count);
    }
    close(descriptor);
}

int exitStatusOf(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw UserError("How the editor ended is not known.");
        }
    }
    return exitCodeOfWaitStatus(status);
}

}  // namespace

EditedFile::EditedFile(const fs::path& directory, const std::string& name, const std::string& content) {
    std::error_code error;
    const fs::path place = fs::is_directory(directory, error) ? directory : fs::temp_directory_path();
    std::string path = (place / (name + "." + std::to_string(getpid()) + ".XXXXXX")).string();
    const int descriptor = mkstemp(path.data());  // 0600
    path_ = path;
    if (descriptor < 0) {
        throw unwritable(path_, errno);
    }
    writeWhole(descriptor, content, path_);
}

EditedFile::~EditedFile() {
    std::error_code ignored;  // a file that is gone is no loss
    if (!isKept_) {
        fs::remove(path_, ignored);
    }
}

std::string EditedFile::content() const {
    std::ifstream file(path_, std::ios::binary);
    if (!file) {
        throw UserError("The file " + path_.string() + " cannot be read any more; nothing was changed.");
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<fs::path> leftEdited(const fs::path& directory, const std::string& name) {
    std::vector<fs::path> left;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        const std::string file = entry.path().filename().string();
        const std::size_t begin = name.size() + 1;
        pid_t process = 0;
        if (file.starts_with(name + ".") &&
            std::from_chars(file.data() + begin, file.data() + file.size(), process).ec == std::errc() &&
            process > 0 && ::kill(process, 0) != 0 && errno == ESRCH) {
            left.push_back(entry.path());
        }
    }
    std::ranges::sort(left);
    return left;
}

int runEditor(const std::vector<std::string>& words, const fs::path& file) {
    std::vector<std::string> all = words;
    all.push_back(file.string());
    std::vector<char*> arguments;
    for (std::string& word : all) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const SpawnAttributes attributes;
    const EditorOutput output;
    const IgnoredInterrupts ignored;
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments.front(), output.actions(), attributes.get(),
                                   arguments.data(), environ);
    if (error != 0) {
        throw UserError("The editor " + words.front() + " cannot be started: " + std::strerror(error) +
                        "; name another one in VISUAL or EDITOR.");
    }
    return exitStatusOf(child);
}

}  // namespace quernlight::host

#include "host/health/outside_failure.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <new>
#include <string_view>

#include <boost/system/system_error.hpp>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

OutsideFailure shortage(const std::error_code& error) {
    return {.cause = "The system is short of what a start needs (" + error.message() +
                     "); end other programs, or raise the limit (ulimit -a)."};
}

/// Without these no bug of the repository gets a worktree; the others speak of one branch or directory.
bool concernsWholeRepository(std::string_view command) {
    constexpr std::array<std::string_view, 4> commands{"fetch", "remote", "rev-parse", "worktree list"};
    return std::ranges::find(commands, command) != commands.end();
}

/// In strerror(3)'s words and git's own.
bool speaksOfShortage(std::string_view words) {
    constexpr std::array<std::string_view, 6> shortages{
        "Cannot allocate memory",  "ut of memory", "Too many open files", "Resource temporarily unavailable",
        "No space left on device", "cannot fork"};
    return std::ranges::any_of(
        shortages, [words](std::string_view shortage) { return words.find(shortage) != words.npos; });
}

std::string unusable(const std::string& repository, const std::error_code& error) {
    return "The repository " + repository + " cannot be used (" + error.message() +
           "); bring it back, or map its app to another one with: quernlight-dispatch map set";
}

std::string unusableRoot(const std::string& worktreeRoot, const std::error_code& error) {
    return "The directory for worktrees " + worktreeRoot + " cannot be made (" + error.message() +
           "); make room for it, or choose another one with: quernlight-dispatch map set --worktrees DIR";
}

/// Why the path is no directory; nothing when it is one.
std::error_code notADirectory(const fs::path& path) {
    std::error_code error;
    const bool isDirectory = fs::is_directory(path, error);
    return isDirectory || error ? error : std::make_error_code(std::errc::not_a_directory);
}

/// The path itself, or the nearest directory above it that is there: where the rest of it would be made.
fs::path nearestThatIsThere(fs::path path) {
    std::error_code error;
    while (fs::status(path, error).type() == fs::file_type::not_found && path.has_parent_path() &&
           path != path.parent_path()) {
        path = path.parent_path();
    }
    return path;
}

}  // namespace

PauseLengths pausesAfterBlockedAgent(bool limitsUse, bool stopsWork) {
    using std::chrono::seconds;
    if (limitsUse) {
        return {.first = seconds(300), .longest = seconds(1800)};
    }
    return stopsWork ? PauseLengths{.first = seconds(20), .longest = seconds(300)} : PauseLengths{};
}

bool isShortage(const std::error_code& error) {
    return error == std::errc::too_many_files_open || error == std::errc::too_many_files_open_in_system ||
           error == std::errc::resource_unavailable_try_again || error == std::errc::not_enough_memory;
}

std::optional<OutsideFailure> shortageIn(const std::exception_ptr& failure) {
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const std::bad_alloc&) {
        return shortage(std::make_error_code(std::errc::not_enough_memory));
    } catch (const boost::system::system_error& error) {
        const std::error_code code = error.code();
        return isShortage(code) ? std::optional(shortage(code)) : std::nullopt;
    } catch (const std::system_error& error) {
        return isShortage(error.code()) ? std::optional(shortage(error.code())) : std::nullopt;
    } catch (...) {
        // Something else, which its own rules judge.
    }
    return std::nullopt;
}

std::optional<std::string> repositoryTrouble(const std::string& repository, const std::string& worktreeRoot) {
    if (const std::error_code error = notADirectory(repository)) {
        return unusable(repository, error);
    }
    const std::error_code error = notADirectory(nearestThatIsThere(worktreeRoot));
    return error ? std::optional(unusableRoot(worktreeRoot, error)) : std::nullopt;
}

std::optional<OutsideFailure> unusableRepository(const std::string& repository,
                                                 const std::string& worktreeRoot) {
    if (const std::error_code error = notADirectory(repository)) {
        return isShortage(error)
                   ? shortage(error)
                   : OutsideFailure{.repository = repository, .cause = unusable(repository, error)};
    }
    std::error_code error;
    fs::create_directories(worktreeRoot, error);
    const bool isFull = error == std::errc::no_space_on_device || error == std::errc::read_only_file_system;
    if (isFull) {
        throw fs::filesystem_error("Unable to create the worktree root", worktreeRoot, error);
    }
    if (!error) {
        return std::nullopt;
    }
    return isShortage(error)
               ? shortage(error)
               : OutsideFailure{.repository = repository, .cause = unusableRoot(worktreeRoot, error)};
}

std::optional<OutsideFailure> outsideFailure(const std::string& repository, const GitTrouble& trouble) {
    if (isShortage(trouble.systemError)) {
        return shortage(trouble.systemError);
    }
    if (trouble.systemError == std::errc::timed_out) {
        return OutsideFailure{.repository = repository, .cause = withoutControls(trouble.output)};
    }
    if (trouble.systemError == std::errc::no_child_process) {
        return OutsideFailure{.cause = withoutControls(trouble.output)};
    }
    if (trouble.systemError == std::errc::interrupted) {
        return OutsideFailure{
            .cause = "Something else ends git (a lack of memory, perhaps); see to that. Git says: " +
                     withoutControls(trouble.output)};
    }
    if (trouble.systemError) {
        return OutsideFailure{.cause = "git cannot be started (" + trouble.systemError.message() +
                                       "); install it at /usr/bin/git."};
    }
    if (speaksOfShortage(trouble.output)) {
        return OutsideFailure{.cause = "The system is short of what git needs; git says: " +
                                       withoutControls(trouble.output)};
    }
    if (!concernsWholeRepository(trouble.failedCommand)) {
        return std::nullopt;
    }
    const std::string words = trouble.output.empty() ? "" : ": " + withoutControls(trouble.output);
    return OutsideFailure{.repository = repository,
                          .cause = "git " + trouble.failedCommand + " fails in " + repository + words +
                                   " (check the network, the remote and the base branch of its mapping)."};
}

OutsideFailure unstartableAgent(const std::string& program, int exitCode, const std::string& words) {
    return {.cause = "The agent " + withoutControls(program) + " cannot be started (it ended with code " +
                     std::to_string(exitCode) + " before it asked for anything: " + withoutControls(words) +
                     "); install what is missing, or check PATH and the setting agent.command."};
}

}  // namespace quernlight::host

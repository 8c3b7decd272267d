#pragma once

#include <filesystem>
#include <optional>

namespace quernlight::demo {

/// The directory that holds all that a demo makes, with a place for each thing. What the demo has made is
/// removed at the end unless it is kept; a directory that was there before stays.
class DemoDirectory {
  public:
    /// `chosen` must be missing or empty; absent, a temporary directory is made. Throws UserError.
    DemoDirectory(const std::optional<std::filesystem::path>& chosen, bool keep);
    DemoDirectory(const DemoDirectory&) = delete;
    DemoDirectory& operator=(const DemoDirectory&) = delete;
    ~DemoDirectory();

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path userHome() const { return root_ / "home"; }
    std::filesystem::path codexHome() const { return userHome() / ".codex"; }
    std::filesystem::path dispatchHome() const { return root_ / "dispatch"; }
    std::filesystem::path remotes() const { return root_ / "remotes"; }
    std::filesystem::path bareRepository() const { return remotes() / "acme" / "notes.git"; }
    std::filesystem::path checkout() const { return root_ / "notes"; }
    std::filesystem::path worktrees() const { return root_ / "notes-worktrees"; }
    std::filesystem::path backendState() const { return root_ / "backend.json"; }
    std::filesystem::path backendSeed() const { return root_ / "seed.json"; }
    std::filesystem::path tokenFile() const { return root_ / "token"; }
    std::filesystem::path agentTokenFile() const { return root_ / "agent-token"; }

  private:
    enum class Origin {
        temporary,  ///< nobody else knows it
        made,       ///< by the demo, where the person chose
        found,      ///< empty, where the person chose
    };

    void useChosen(const std::filesystem::path& chosen);
    void removeWhatWasMade() const;

    std::filesystem::path root_;
    Origin origin_ = Origin::found;
    bool keep_;
};

}  // namespace quernlight::demo

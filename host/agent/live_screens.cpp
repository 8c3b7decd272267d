#include "host/agent/live_screens.hpp"

#include <string_view>
#include <utility>

#include "host/agent/agent_terminal.hpp"

namespace quernlight::host {
namespace {

/// Counts what an agent writes, from its first byte on.
class OutputCount final : private AgentTerminal::Listener {
  public:
    OutputCount(const OutputCount&) = delete;
    OutputCount& operator=(const OutputCount&) = delete;
    OutputCount(std::shared_ptr<AgentTerminal> terminal, std::shared_ptr<std::uint64_t> recorded)
        : recorded_(std::move(recorded)),
          terminal_(std::move(terminal)),
          listening_(terminal_ ? terminal_->listen(*this) : nullptr) {}

  private:
    void wrote(std::uint64_t first, std::string_view bytes) override {
        *recorded_ += first + bytes.size() - seen_;
        seen_ = first + bytes.size();
    }
    void changed() override {}

    const std::shared_ptr<std::uint64_t> recorded_;
    std::uint64_t seen_ = 0;
    const std::shared_ptr<AgentTerminal> terminal_;
    const AgentTerminal::Subscription listening_;
};

struct Entered {
    Entered(LiveScreens::Look shown, std::shared_ptr<std::uint64_t> recorded)
        : look(std::move(shown)), count(look().terminal, std::move(recorded)) {}

    const LiveScreens::Look look;
    const OutputCount count;
};

}  // namespace

LiveScreens::Entry LiveScreens::enter(const std::string& bugID, Look look) {
    std::erase_if(looks_, [](const auto& entered) { return entered.second.expired(); });
    const auto entered = std::make_shared<const Entered>(std::move(look), recorded_);
    const Entry entry(entered, &entered->look);
    looks_[bugID] = entry;
    return entry;
}

std::optional<LiveAgent> LiveScreens::look(const std::string& bugID) const {
    const auto found = looks_.find(bugID);
    const Entry entry = found == looks_.end() ? nullptr : found->second.lock();
    return entry ? std::optional((*entry)()) : std::nullopt;
}

}  // namespace quernlight::host

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "host/agent/live_screens.hpp"
#include "host/control/control_router.hpp"
#include "host/process/clock.hpp"
#include "host/service/dispatch_service.hpp"
#include "quernlight/platform/background_executor.hpp"

namespace quernlight::host {

/// A part of a file.
struct FilePart {
    std::string bytes{};
    std::uint64_t size = 0;  ///< of the whole file now
};

/// At most `most` bytes of a file that lies below the directory, from `first` on. Throws ServiceError, with
/// `notFound`, for a file that lies elsewhere, also by way of a link, is not there or is no regular one.
/// Blocks.
FilePart partBeneath(const std::filesystem::path& directory, const std::filesystem::path& file,
                     std::uint64_t first, std::size_t most);

/// What is told, as a text, behind the last byte of a transcript that is followed.
inline constexpr const char* transcriptEnd = R"({"type":"end"})";

/// The attempts at a bug and their transcripts, for other processes. Used on one executor; outlives the
/// requests.
class AttemptResource {
  public:
    static constexpr std::uint64_t usualBytes = std::uint64_t{64} << 10U;
    static constexpr std::uint64_t mostBytes = std::uint64_t{1} << 20U;

    struct Uses {
        DispatchService& service;
        BackgroundExecutor& background;
        const LiveScreens& screens;
        Clock& clock;
        std::filesystem::path home{};
    };

    explicit AttemptResource(Uses uses) : uses_(std::move(uses)) {}

    /// Offers, to people, GET /v1/queue/{bug}/attempts, a list, and
    /// GET /v1/queue/{bug}/attempts/{number}/transcript: of the "format" plain, ansi or timing, at most
    /// "limit" bytes after the first "after" ones, as they are. The field Quernlight-Size tells how many
    /// there are by now. As a WebSocket it goes on as the agent writes, as bytes, and once no more comes
    /// there is one text, transcriptEnd.
    void offerOn(ControlRouter& router);

  private:
    /// A part of which transcript.
    struct Wanted {
        std::string bugID{};
        std::int64_t attempt = 0;
        std::filesystem::path file{};
        std::uint64_t first = 0;
    };

    Task<ControlResponse> listed(ControlRequest request);
    Task<ControlResponse> transcript(ControlRequest request);
    Task<FilePart> part(Wanted wanted, std::uint64_t most) const;
    Task<std::string> more(Wanted wanted) const;
    Task<void> send(ControlChannel& channel, Wanted wanted) const;
    Task<bool> sendRest(ControlChannel& channel, Wanted& wanted) const;
    Task<void> waitForMore(AsyncSignal grown, bool hasTerminal) const;
    Task<bool> mayGrow(Wanted wanted) const;

    const Uses uses_;
};

}  // namespace quernlight::host

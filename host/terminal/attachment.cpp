#include "host/terminal/attachment.hpp"

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include <boost/asio.hpp>

#include "host/control/control_client.hpp"
#include "host/control/other_version.hpp"
#include "host/process/caught_exception.hpp"
#include "host/process/task_set.hpp"
#include "host/process/user_error.hpp"
#include "host/terminal/own_terminal.hpp"
#include "host/terminal/shown_session.hpp"
#include "host/terminal/terminal_messages.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;

constexpr char leaveKey = '\x1d';             // Ctrl-]
constexpr std::size_t acknowledgedAt = 2000;  // bytes, below what a paused session waits for

class Attached {
  public:
    Attached(const asio::any_io_executor& executor, Attachment attachment, ControlChannel& channel)
        : attachment_(std::move(attachment)),
          channel_(channel),
          terminal_(executor),
          resized_(executor, SIGWINCH) {
        shown_.ownResized(terminal_.size());
        terminal_.undoWith([this] { return shown_.undone(); });
    }

    Task<AttachmentEnd> run() {
        TaskSet tasks(co_await asio::this_coro::executor, reportFailure);
        tasks.add("sending to the owner", send());
        tasks.add("reading keys", readKeys());
        tasks.add("writing to the terminal", writeShown());
        tasks.add("following the terminal's size", followSize());
        const std::exception_ptr failure = co_await caughtException(receive());
        const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
        const bool isCancelled = state.cancelled() != asio::cancellation_type::none;
        // What uses this must have ended also when this is cancelled.
        co_await asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
        isEnding_ = true;
        co_await tasks.end();
        if (failure) {
            std::rethrow_exception(failure);
        }
        if (isCancelled) {
            throw boost::system::system_error(asio::error::operation_aborted);
        }
        co_return end_.value_or(
            AttachmentEnd{.sentence = "The dispatcher went away; see: quernlight-dispatch sessions show " +
                                      withoutControls(attachment_.bugID),
                          .isLost = true});
    }

  private:
    Task<void> receive() {
        while (auto frame = co_await channel_.receive()) {
            const auto message = messageIn(*frame);
            if (!message) {
                throw UserError(ownerOfAnotherVersion);
            }
            take(*message);
        }
        while (isShowing_ && !wantsToLeave_) {
            co_await allShown_.wait();
        }
    }

    void take(const TerminalMessage& message) {
        if (const auto* picture = std::get_if<PictureBegins>(&message)) {
            picture_ = *picture;
        } else if (const auto* output = std::get_if<TerminalBytes>(&message)) {
            const auto begins = std::exchange(picture_, std::nullopt);
            show(begins ? shown_.picture(begins->size, begins->screenBegins, output->bytes)
                        : shown_.output(output->bytes),
                 output->bytes.size());
        } else if (const auto* changed = std::get_if<SizeChanged>(&message)) {
            show(shown_.sessionResized(changed->size));
        } else if (const auto* ended = std::get_if<SessionEnded>(&message)) {
            end_ = end_.value_or(AttachmentEnd{.sentence = withoutControls(ended->sentence)});
        }
    }

    /// `taken`: for how many bytes of the session's this stands.
    void show(std::string bytes, std::size_t taken = 0) {
        toShow_ += bytes;
        taken_ += taken;
        isShowing_ = true;
        newsToShow_.notify();
    }

    /// One coroutine writes, so that nothing mixes. What the terminal does not take is not acknowledged.
    Task<void> writeShown() {
        while (true) {
            while (isShowing_) {
                std::string bytes = std::exchange(toShow_, {});
                const std::uint64_t taken = taken_;
                co_await terminal_.write(std::move(bytes));
                isShowing_ = !toShow_.empty() || taken_ != taken;
                acknowledge(taken);
            }
            allShown_.notify();
            co_await newsToShow_.wait();
        }
    }

    void acknowledge(std::uint64_t taken) {
        if (taken - acknowledged_ >= acknowledgedAt) {
            acknowledged_ = taken;
            toSend_.notify();
        }
    }

    /// One coroutine sends, so that messages do not mix.
    Task<void> send() {
        std::uint64_t told = 0;
        std::optional<TerminalSize> toldSize;
        while (true) {
            if (!attachment_.isReadOnly && toldSize != terminal_.size()) {
                toldSize = terminal_.size();
                ClientMessage sized = ClientSize{.size = *toldSize};
                co_await sendMessage(std::move(sized));
            }
            if (!keys_.empty()) {
                ClientMessage keys = Keys{.bytes = std::exchange(keys_, {})};
                co_await sendMessage(std::move(keys));
            }
            if (told != acknowledged_) {
                told = acknowledged_;
                ClientMessage taken = Acknowledgement{.bytes = told};
                co_await sendMessage(std::move(taken));
            }
            if (wantsToLeave_) {
                co_return co_await channel_.close(ControlChannel::Ending::done);
            }
            co_await toSend_.wait();
        }
    }

    Task<void> sendMessage(ClientMessage message) {
        ControlFrame frame = frameOf(message);
        co_await channel_.send(std::move(frame));
    }

    Task<void> readKeys() {
        while (!wantsToLeave_) {
            std::string keys = co_await terminal_.read();
            if (isEnding_) {
                co_return;
            }
            const std::size_t leave = keys.find(leaveKey);
            if (keys.empty() || leave != keys.npos) {
                keys.resize(leave == keys.npos ? 0 : leave);
                wantsToLeave_ = true;
                allShown_.notify();
                end_ =
                    AttachmentEnd{.sentence = "Left the terminal of bug " +
                                              withoutControls(attachment_.bugID) + "; its session goes on.",
                                  .isLeft = true};
            }
            keys_ += attachment_.isReadOnly ? "" : keys;
            toSend_.notify();
        }
    }

    Task<void> followSize() {
        while (true) {
            co_await resized_.async_wait(asio::use_awaitable);
            show(shown_.ownResized(terminal_.size()));
            toSend_.notify();
        }
    }

    const Attachment attachment_;
    ControlChannel& channel_;
    ShownSession shown_;  // which tells the terminal in the end how it is put back
    OwnTerminal terminal_;
    asio::signal_set resized_;
    std::optional<PictureBegins> picture_;  // whose bytes come next
    std::uint64_t taken_ = 0, acknowledged_ = 0;
    std::string keys_;
    bool wantsToLeave_ = false, isEnding_ = false;
    std::optional<AttachmentEnd> end_;
    std::string toShow_;
    bool isShowing_ = false;
    AsyncSignal toSend_, newsToShow_, allShown_;
};

}  // namespace

Task<AttachmentEnd> attach(Attachment attachment) {
    const auto executor = co_await asio::this_coro::executor;
    const std::vector<std::string> segments{"v1", "sessions", attachment.bugID, "terminal"};
    std::string target = controlTarget(segments);
    const auto channel = co_await openChannel(attachment.home, std::move(target));
    Attached attached(executor, std::move(attachment), *channel);
    co_return co_await attached.run();
}

}  // namespace quernlight::host

#include "host/screen/session_screen.hpp"

#include <algorithm>
#include <utility>

namespace quernlight::host {
namespace {

/// How much of old output is left out, so that about `kept` bytes stay: up to where something new begins.
std::size_t skippedOf(std::string_view bytes, std::size_t kept) {
    const std::size_t least = bytes.size() - kept;
    const std::size_t beginning = bytes.find_first_of("\x1b\n", least);
    return beginning == bytes.npos ? least : beginning;
}

}  // namespace

SessionScreen::SessionScreen(BackgroundExecutor& thread, TerminalSize size, Observer observer)
    : thread_(thread),
      observer_(std::move(observer)),
      model_(size.columns, size.rows),
      picture_(std::make_shared<const ScreenPicture>(model_.picture())) {}

Task<void> SessionScreen::run() {
    for (;;) {
        while (std::optional<Slice> slice = takeSlice()) {
            auto drawing = [this, slice = std::move(*slice)] { return draw(slice); };
            std::string answers = co_await thread_.run(std::move(drawing));
            if (!answers.empty() && observer_.answers) {
                observer_.answers(std::move(answers));
            }
            if (observer_.drawn) {
                observer_.drawn();
            }
        }
        co_await news_.wait();
    }
}

void SessionScreen::feed(std::string_view bytes) {
    {
        const std::lock_guard guard(mutex_);
        fed_ += bytes.size();
        waiting_.bytes.append(bytes);
        if (waiting_.bytes.size() > mostBacklog) {
            const std::size_t skipped = skippedOf(waiting_.bytes, keptOfBacklog);
            waiting_.bytes.erase(0, skipped);
            waiting_.skipped += skipped;
        }
    }
    news_.notify();
}

void SessionScreen::resize(TerminalSize size) {
    {
        const std::lock_guard guard(mutex_);
        waiting_.size = size;
    }
    news_.notify();
}

std::shared_ptr<const ScreenPicture> SessionScreen::picture() const {
    const std::lock_guard guard(mutex_);
    return picture_;
}

std::shared_ptr<const ScreenPicture> SessionScreen::pictureOfAll() const {
    const std::lock_guard guard(mutex_);
    return picture_->bytes == fed_ && !lacksMoreThan(redrawn_) ? picture_ : nullptr;
}

/// With the lock held.
bool SessionScreen::lacksMoreThan(std::uint64_t skipped) const {
    return picture_->lacksOutput && picture_->skipped > skipped;
}

bool SessionScreen::lacksOutput() const {
    const std::lock_guard guard(mutex_);
    return lacksMoreThan(redrawn_);
}

bool SessionScreen::awaitsRedraw() const {
    const std::lock_guard guard(mutex_);
    return lacksMoreThan(std::max(redrawn_, refused_));
}

void SessionScreen::noteRedraw(std::uint64_t skipped, bool isDrawn) {
    const std::lock_guard guard(mutex_);
    (isDrawn ? redrawn_ : refused_) = skipped;
}

std::uint64_t SessionScreen::fedBytes() const {
    const std::lock_guard guard(mutex_);
    return fed_;
}

Task<std::vector<std::string>> SessionScreen::scrollBack() {
    auto lines = [this] { return model_.scrollBack(); };
    co_return co_await thread_.run(std::move(lines));
}

Task<ScreenPainting> SessionScreen::painting() {
    auto paint = [this] { return model_.painting(); };
    co_return co_await thread_.run(std::move(paint));
}

std::optional<SessionScreen::Slice> SessionScreen::takeSlice() {
    const std::lock_guard guard(mutex_);
    if (waiting_.bytes.empty() && !waiting_.size) {
        return std::nullopt;
    }
    Slice slice{.skipped = std::exchange(waiting_.skipped, 0),
                .size = std::exchange(waiting_.size, std::nullopt),
                .bytes = waiting_.bytes.substr(0, sliceBytes)};
    waiting_.bytes.erase(0, slice.bytes.size());
    return slice;
}

/// Returns what the terminal answers.
std::string SessionScreen::draw(const Slice& slice) {
    if (slice.skipped > 0) {
        model_.skip(slice.skipped);
    }
    if (slice.size) {
        model_.resize(slice.size->columns, slice.size->rows);
    }
    model_.write(slice.bytes);
    auto picture = std::make_shared<const ScreenPicture>(model_.picture());
    const std::lock_guard guard(mutex_);
    picture_ = std::move(picture);
    return model_.takeAnswers();
}

}  // namespace quernlight::host

#include "host/terminal/stream_flow.hpp"

#include <algorithm>

namespace quernlight::host {

void StreamFlow::wrote(std::uint64_t first, std::string_view bytes) {
    const bool isTooMuch = held_.size() + bytes.size() > limits_.mostHeld;
    needsPicture_ = needsPicture_ || isTooMuch;
    if (isTooMuch || (needsPicture_ && isPaused_)) {
        held_.clear();
        heldFrom_ = first + bytes.size();
        return;
    }
    held_ += bytes;
}

void StreamFlow::acknowledged(std::uint64_t bytes) {
    acknowledged_ = std::clamp(bytes, acknowledged_, sent_);
    isPaused_ = isPaused_ && sent_ - acknowledged_ > limits_.resumedAt;
}

void StreamFlow::sentPicture(std::uint64_t output, std::size_t size) {
    needsPicture_ = !canGoOnBehind(output);
    if (!needsPicture_) {
        forgetUpTo(output);
    }
    countSent(size);
}

std::optional<StreamFlow::Piece> StreamFlow::next() {
    if (needsPicture_ || isPaused_ || held_.empty()) {
        return std::nullopt;
    }
    Piece piece{.first = heldFrom_, .bytes = held_.substr(0, limits_.mostAtOnce)};
    forgetUpTo(heldFrom_ + piece.bytes.size());
    countSent(piece.bytes.size());
    return piece;
}

void StreamFlow::forgetUpTo(std::uint64_t output) {
    const auto count = std::min<std::uint64_t>(output - heldFrom_, held_.size());
    held_.erase(0, count);
    heldFrom_ += count;
}

void StreamFlow::countSent(std::size_t bytes) {
    sent_ += bytes;
    isPaused_ = isPaused_ || sent_ - acknowledged_ >= limits_.pausedAt;
}

}  // namespace quernlight::host

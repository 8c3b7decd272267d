#include "host/terminal/shown_session.hpp"

#include <algorithm>
#include <utility>

namespace quernlight::host {

bool ShownSession::isCropped() const {
    return session_.columns > own_.columns || session_.rows > own_.rows;
}

std::string ShownSession::picture(TerminalSize session, std::size_t scrollBack, std::string_view bytes) {
    session_ = session;
    model_ = std::make_unique<ScreenModel>(session.columns, session.rows, 0);
    model_->write(bytes.substr(std::min(scrollBack, bytes.size())));
    model_->takeAnswers();
    const std::string room = std::exchange(isPainted_, true) ? "" : roomAbove();
    if (!room.empty() && !isCropped()) {
        return room + passed_.pass(bytes);
    }
    return room + shownAnew();
}

std::string ShownSession::output(std::string_view bytes) {
    model_->write(bytes);
    model_->takeAnswers();
    return isCropped() ? crop() : passed_.pass(bytes);
}

std::string ShownSession::sessionResized(TerminalSize session) {
    session_ = session;
    model_->resize(session.columns, session.rows);
    return isCropped() || wasCropped_ ? shownAnew() : "";
}

std::string ShownSession::ownResized(TerminalSize own) {
    own_ = own;
    return isPainted_ && (isCropped() || wasCropped_) ? shownAnew() : "";
}

std::string ShownSession::shownAnew() {
    if (isCropped()) {
        return passed_.pass("\x1b[m\x1b(B\x0f\x1b[r\x1b[?6l\x1b[4l\x1b[?7h\x1b[2J") + crop();
    }
    wasCropped_ = false;
    return passed_.pass(model_->painting().screen);
}

std::string ShownSession::crop() {
    wasCropped_ = true;
    return passed_.pass(model_->cropped(own_));
}

/// The title is kept, to be taken back in the end.
std::string ShownSession::roomAbove() const {
    const auto rows = static_cast<std::size_t>(own_.rows);
    return "\x1b[22;0t\x1b[" + std::to_string(rows) + ";1H" + std::string(rows, '\n') + "\x1b[H";
}

std::string ShownSession::undone() const {
    return isPainted_ ? passed_.undone() + "\x1b[" + std::to_string(own_.rows) + ";1H\r\n\x1b[J\x1b[23;0t"
                      : "";
}

}  // namespace quernlight::host

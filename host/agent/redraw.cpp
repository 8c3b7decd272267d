#include "host/agent/redraw.hpp"

namespace quernlight::host {

RedrawStep Redraw::next(const RedrawSight& seen, TimePoint now) {
    if (seen.written != written_) {
        written_ = seen.written;
        wroteAt_ = now;
    }
    isWanted_ = false;
    switch (stage_) {
        case Stage::otherSize: {
            const bool hasFollowed = written_ > writtenBefore_ && now - wroteAt_ >= times_.rest;
            return hasFollowed || now - since_ >= times_.patience
                       ? reach(Stage::ownSize, RedrawStep::giveOwnSize, now)
                       : RedrawStep::wait;
        }
        case Stage::ownSize:
            return judge(seen, now);
        case Stage::none:
        case Stage::refused:
            break;
    }
    return begin(seen, now);
}

/// In a flood the end of it is waited for.
RedrawStep Redraw::begin(const RedrawSight& seen, TimePoint now) {
    const bool wasRefused =
        stage_ == Stage::refused && seen.skipped == skipped_ && now - since_ < times_.again;
    if (!seen.lacksOutput || seen.skipped != skipped_ || (stage_ == Stage::refused && !wasRefused)) {
        tries_ = 0;
    }
    isWanted_ = seen.lacksOutput && !wasRefused;
    if (!isWanted_ || !seen.isAllDrawn) {
        return RedrawStep::wait;
    }
    ++tries_;
    skipped_ = seen.skipped;
    return reach(Stage::otherSize, RedrawStep::giveOtherSize, now);
}

/// An agent that is at work writes all the time, whether it follows its terminal's size or not.
RedrawStep Redraw::judge(const RedrawSight& seen, TimePoint now) {
    if (!seen.lacksOutput || seen.skipped != skipped_) {
        stage_ = Stage::none;
        return begin(seen, now);
    }
    if (written_ > writtenBefore_ && seen.isAllDrawn && now - wroteAt_ >= times_.quiet) {
        return reach(Stage::none, RedrawStep::isDrawn, now);
    }
    if (now - since_ < times_.patience) {
        return RedrawStep::wait;
    }
    if (tries_ == times_.tries) {
        return reach(Stage::refused, RedrawStep::isRefused, now);
    }
    stage_ = Stage::none;
    return begin(seen, now);
}

RedrawStep Redraw::reach(Stage stage, RedrawStep step, TimePoint now) {
    stage_ = stage;
    since_ = now;
    writtenBefore_ = written_;
    return step;
}

}  // namespace quernlight::host

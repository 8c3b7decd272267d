#include "host/intake/list_limit.hpp"

namespace quernlight::host {
namespace {

constexpr int mostAsked = 1 << 20;  // no body holds so many bugs
constexpr std::chrono::hours timeout{1};

}  // namespace

void ListLimit::begin(TimePoint now) {
    if (now >= tooMuchSince_ + timeout) {
        tooMuch_ = 0;
    }
    returned_.reset();
    cutAt_.reset();
    isDone_ = false;
}

void ListLimit::answered(std::size_t returned) {
    const bool isFull = returned >= static_cast<std::size_t>(asked_);
    if (returned_ == returned) {
        cutAt_ = asked_;
    } else if (isFull && !mayGrow()) {
        cutAt_ = asked_ * 2;
    }
    returned_ = returned;
    isDone_ = !isFull || !mayGrow();
    asked_ = isDone_ ? asked_ : asked_ * 2;
}

bool ListLimit::failed(TimePoint now) {
    if (!isLong()) {
        tooMuch_ = 0;  // nothing is answered now, so the limit was not to blame
        return false;
    }
    tooMuch_ = asked_;
    tooMuchSince_ = now;
    if (returned_) {
        cutAt_ = asked_;
        isDone_ = true;
    }
    asked_ = returned_ ? asked_ / 2 : first_;
    return true;
}

bool ListLimit::mayGrow() const {
    return asked_ * 2 <= mostAsked && (tooMuch_ == 0 || asked_ * 2 < tooMuch_);
}

}  // namespace quernlight::host

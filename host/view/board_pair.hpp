#pragma once

#include <memory>
#include <utility>

#include "host/events/progress_board.hpp"

namespace quernlight::host {

/// Two boards that are told the same.
class BoardPair final : public ProgressBoard {
  public:
    BoardPair(std::unique_ptr<ProgressBoard> first, std::unique_ptr<ProgressBoard> second)
        : first_(std::move(first)), second_(std::move(second)) {}

    void show(const BugProgress& progress) override {
        first_->show(progress);
        second_->show(progress);
    }
    void note(const std::string& sentence) override {
        first_->note(sentence);
        second_->note(sentence);
    }
    void alert(const std::string& topic, const std::string& sentence) override {
        first_->alert(topic, sentence);
        second_->alert(topic, sentence);
    }
    void gone(const std::string& bugID) override {
        first_->gone(bugID);
        second_->gone(bugID);
    }
    void event(const LoggedEvent& logged) override {
        first_->event(logged);
        second_->event(logged);
    }
    void close() override {
        first_->close();
        second_->close();
    }

  private:
    const std::unique_ptr<ProgressBoard> first_;
    const std::unique_ptr<ProgressBoard> second_;
};

}  // namespace quernlight::host

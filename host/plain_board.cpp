#include "host/plain_board.hpp"

#include "quernlight/platform/instant.hpp"

namespace quernlight::host {
namespace {

std::string clockNow() {
    return formatInstant(currentInstant()).substr(11, 8) + "Z ";
}

}  // namespace

void PlainBoard::show(const BugProgress& progress) {
    std::string& said = stages_[progress.bugID];
    if (said == progress.stage) {
        return;
    }
    said = progress.stage;
    stream_ << clockNow() << progress.bugID << "  " << progress.stage;
    if (progress.finished && !progress.detail.empty()) {
        stream_ << ": " << progress.detail;
    } else if (progress.stage == "queued") {
        stream_ << ": " << progress.title;
    }
    stream_ << std::endl;
}

void PlainBoard::note(const std::string& sentence) {
    stream_ << clockNow() << sentence << std::endl;
}

}  // namespace quernlight::host

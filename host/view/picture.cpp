#include "host/view/picture.hpp"

#include <algorithm>
#include <array>
#include <chrono>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::size_t stageWidth = 18;  // of the longest stage, "preparing worktree"
constexpr std::array<const char*, 10> spinner{"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};

/// The sign at the head of a line: what state the bug is in, told by form and not by colour alone.
std::string signOf(const BugProgress& progress, std::size_t turn) {
    if (progress.stage == SessionStage::inReview) {
        return std::string(green) + "✓" + plain;
    }
    if (progress.stage == SessionStage::failed) {
        return std::string(red) + "✗" + plain;
    }
    if (hasEnded(progress.stage)) {
        return std::string(yellow) + "?" + plain;
    }
    if (!isRunning(progress.stage) || progress.exitCode) {
        return "·";
    }
    return spinner[turn % spinner.size()];
}

std::string clockText(std::chrono::seconds time) {
    const auto hours = time.count() / 3600;
    const auto minutes = std::to_string(time.count() / 60 % 60);
    const auto seconds = std::to_string(time.count() % 60);
    const auto twoDigits = [](const std::string& number) { return (number.size() < 2 ? "0" : "") + number; };
    return hours > 0 ? std::to_string(hours) + ":" + twoDigits(minutes) + "h"
                     : minutes + ":" + twoDigits(seconds);
}

/// Sign, bug, app, on a wide terminal the title, stage, how long, and with what room is left the agent's last
/// line or why it failed.
std::string textOf(const ViewLine& line, const PictureFrame& frame, Instant now) {
    const BugProgress& progress = line.progress;
    const std::size_t width = frame.columns;
    const std::size_t titleWidth = width >= 110 ? 28 : 0;
    const auto time = std::chrono::duration_cast<std::chrono::seconds>(now - line.since);
    std::string text = signOf(progress, frame.number) + " " + fitted(progress.bugID, 8) + "  " +
                       fitted(progress.appName, 10) + "  " +
                       (titleWidth > 0 ? fitted(progress.title, titleWidth) + "  " : "") +
                       fitted(stageText(progress), stageWidth) + " " +
                       fitted(isRunning(progress.stage) ? clockText(time) : "", 5);
    const std::size_t used = 2 + 8 + 2 + 10 + 2 + (titleWidth > 0 ? titleWidth + 2 : 0) + stageWidth + 1 + 5;
    const std::string& detail = progress.detail.empty() && titleWidth == 0 ? progress.title : progress.detail;
    if (width > used + 8 && !detail.empty()) {
        text += std::string("  ") + dim + fitted(detail, width - used - 3) + plain;
    }
    return width > used ? text : fitted(progress.bugID + " " + stageText(progress), width - 1);
}

/// Those that ended: the last one first.
std::vector<const ViewLine*> linesInOrder(const ViewState& view) {
    std::vector<const ViewLine*> ordered;
    for (const ViewLine& line : view.lines) {
        ordered.push_back(&line);
    }
    const auto group = [](const ViewLine* line) {
        return isRunning(line->progress.stage) ? 0 : hasEnded(line->progress.stage) ? 2 : 1;
    };
    std::sort(ordered.begin(), ordered.end(), [&](const ViewLine* left, const ViewLine* right) {
        const bool bothEnded = group(left) == 2 && group(right) == 2;
        if (bothEnded && left->since != right->since) {
            return left->since > right->since;
        }
        return std::pair(group(left), left) < std::pair(group(right), right);
    });
    return ordered;
}

std::string counted(std::ptrdiff_t number, const std::string& what) {
    return number == 0 ? "" : std::to_string(number) + " " + what;
}

/// "2 running, 3 queued, 1 in review; 1 needs attention".
std::string summary(const ViewState& view) {
    const auto count = [&](auto predicate) {
        return std::count_if(view.lines.begin(), view.lines.end(),
                             [&](const ViewLine& line) { return predicate(line.progress.stage); });
    };
    const auto is = [](SessionStage wanted) {
        return [wanted](SessionStage stage) { return stage == wanted; };
    };
    std::string text;
    for (const std::string& part :
         {counted(count(isRunning), "running"), counted(count(is(SessionStage::queued)), "queued"),
          counted(count(is(SessionStage::inReview)), "in review")}) {
        text += (text.empty() || part.empty() ? "" : ", ") + part;
    }
    const auto attention = count([](SessionStage stage) { return needsAttention(stage); });
    const std::string person = counted(attention, attention == 1 ? "needs attention" : "need attention");
    text += (text.empty() || person.empty() ? "" : "; ") + person;
    return view.alerts.contains({AlertTopic::backend}) ? text + "; the backend does not answer" : text;
}

}  // namespace

std::string withoutColours(std::string_view text) {
    std::string plainText;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t escape = std::min(text.find('\x1b', begin), text.size());
        plainText += text.substr(begin, escape - begin);
        const std::size_t end = text.find('m', escape);
        begin = end == std::string_view::npos ? text.size() : end + 1;
    }
    return plainText;
}

std::vector<std::string> pictureOf(const ViewState& view, const PictureFrame& frame, Instant now) {
    std::vector<std::string> text;
    for (const auto& [topic, sentence] : view.alerts) {
        if (text.size() + 2 < frame.rows) {
            text.push_back(std::string(yellow) + "! " + fitted(sentence, frame.columns - 3) + plain);
        }
    }
    const auto lines = linesInOrder(view);
    const std::size_t room = frame.rows - text.size() - 1;
    const std::size_t shown = lines.size() <= room ? lines.size() : room - std::min<std::size_t>(room, 1);
    for (std::size_t index = 0; index < shown; ++index) {
        text.push_back(textOf(*lines[index], frame, now));
    }
    if (shown < lines.size() && room > 0) {
        text.push_back("  and " + std::to_string(lines.size() - shown) + " more");
    }
    if (!lines.empty()) {
        text.push_back(std::string(dim) + fitted("  " + summary(view), frame.columns - 1) + plain);
    }
    if (!frame.coloured) {
        std::ranges::transform(text, text.begin(), withoutColours);
    }
    return text;
}

}  // namespace quernlight::host

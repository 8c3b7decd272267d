#include "host/live/live_picture.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "host/events/session_stage.hpp"
#include "host/live/picture_layout.hpp"
#include "host/live/picture_text.hpp"
#include "host/live/row_writer.hpp"
#include "host/text/counted.hpp"
#include "host/text/relative_time.hpp"
#include "host/text/terminal_text.hpp"
#include "host/text/wrapped_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::array<const char*, 10> spinner{"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};
constexpr std::size_t columnsForTwo = 60;  // lists side by side

constexpr auto keyHints =
    std::to_array<std::string_view>({"↑↓ select", "⏎ attach", "a answer", "c cancel", "r retry", "J/K move",
                                     "o web", "/ filter", "? help", "q leave"});

constexpr auto helpLines = std::to_array<std::string_view>({
    "↑ ↓ j k     select a bug; Tab and Shift-Tab go from one list to the next",
    "⏎           work in its agent's terminal; Ctrl-] comes back here",
    "a           answer what its agent has asked: Enter sends, Esc does not",
    "c  r        cancel it; have it worked on again",
    "J  K  n     move it down or up in its queue, or to its head",
    "o           open its pull request, or its page, in the browser",
    "t e g d     show its terminal, its events, its goal, what it has changed; also ← →",
    "PgUp PgDn   read on in that; v gives it all the room, and takes it back",
    "/           show only what holds a text; Esc shows all again",
    "u           try at once what is not started for a while",
    "q           leave; Ctrl-Z puts this aside",
});

struct Sign {
    std::string_view text;
    CellStyle style;
};

/// The state by form, and not by colour alone.
Sign signOf(const LiveBug& bug, std::size_t turn) {
    switch (bug.stage) {
        case SessionStage::needsPerson:
        case SessionStage::needsReply:
            return {"?", styles::yellow};
        case SessionStage::failed:
            return {"x", styles::red};
        case SessionStage::needsMapping:
        case SessionStage::needsStart:
            return {"!", styles::yellow};
        case SessionStage::inReview:
            return {"✓", styles::green};
        default:
            break;
    }
    const bool turns = bug.isFollowed && isRunning(bug.stage) && !bug.exitCode;
    return turns ? Sign{spinner[turn % spinner.size()], styles::normal} : Sign{"·", styles::dim};
}

std::string twoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

/// "3:40", "1:02:07".
std::string clockText(std::chrono::seconds time) {
    const auto seconds = std::max<std::int64_t>(time.count(), 0);
    const std::string minutes = seconds < 3600
                                    ? std::to_string(seconds / 60)
                                    : std::to_string(seconds / 3600) + ":" + twoDigits(seconds / 60 % 60);
    return minutes + ":" + twoDigits(seconds % 60);
}

/// A session's time goes by the second; all others by the minute.
std::string ageOf(const LiveBug& bug, Instant now) {
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(now - bug.since);
    if (bug.isFollowed && isRunning(bug.stage)) {
        return clockText(age);
    }
    return age < std::chrono::minutes(1) ? "now" : shortDuration(age);
}

/// What its state is, and what is known besides.
std::string whyOf(const LiveBug& bug) {
    const std::string stage = stageText(BugProgress{.stage = bug.stage, .exitCode = bug.exitCode});
    switch (bug.stage) {
        case SessionStage::needsReply:
        case SessionStage::needsPerson:
            return bug.detail.empty() ? stage : "asks: " + bug.detail;
        case SessionStage::failed:
            return bug.detail.empty() ? stage : bug.detail;
        default:
            return bug.detail.empty() ? stage : stage + "  " + bug.detail;
    }
}

/// How many characters tell the bugs apart.
std::size_t shortestIDs(const LiveSnapshot& snapshot) {
    constexpr std::size_t least = 4;
    constexpr std::size_t whole = 8;
    for (std::size_t length = least; length < whole; ++length) {
        std::set<std::string> beginnings;
        for (const LiveBug& bug : snapshot.bugs) {
            beginnings.insert(bug.bugID.substr(0, length));
        }
        if (beginnings.size() == snapshot.bugs.size()) {
            return length;
        }
    }
    return whole;
}

/// One picture while it is drawn.
class Drawing {
  public:
    Drawing(const LiveSnapshot& snapshot, const LiveChoice& choice, const PaneText& pane,
            const LiveFrame& frame)
        : snapshot_(snapshot),
          choice_(choice),
          pane_(pane),
          frame_(frame),
          columns_(static_cast<std::size_t>(std::max(frame.size.columns, 1))),
          rows_(static_cast<std::size_t>(std::max(frame.size.rows, 1))),
          idWidth_(columns_ >= 50 ? 8 : shortestIDs(snapshot)),
          listed_(listedBugs(snapshot, choice.filter)),
          selected_(selectedBug(inOrder(listed_), choice)) {}

    LivePicture drawn() {
        const std::vector<std::string> told = toldLines(choice_, frame_.size);
        const std::size_t below = told.size() + (rows_ > 2 ? 1 : 0);
        addHeader();
        choice_.showsHelp ? addHelp(rows_ - below) : addBody(rows_ - below);
        picture_.rows.resize(rows_ - below, ScreenRow(columns_));
        for (const std::string& line : told) {
            addText(" " + line, choice_.question    ? styles::bold
                                : choice_.isTrouble ? styles::red
                                                    : styles::green);
        }
        if (rows_ > 2) {
            addLastLine();
        }
        return std::move(picture_);
    }

    /// All but the pane and the keys, without what is selected.
    LivePicture listsAlone() {
        selected_ = nullptr;
        addHeader();
        addBody(rows_);
        return std::move(picture_);
    }

  private:
    RowWriter newRow() const { return RowWriter(columns_); }
    void add(RowWriter& row) { picture_.rows.push_back(row.take()); }
    void addText(std::string_view text, CellStyle style = {}) {
        RowWriter row = newRow();
        add(row.putFitted(text, columns_, style));
    }

    const std::vector<const LiveBug*>& bugsOf(LiveSection section) { return listed_[section]; }

    void addHeader();
    void addBody(std::size_t end);
    void addHelp(std::size_t end);
    void addWholePane(std::size_t rows);
    void addLastLine();
    std::size_t hiddenNeeding() const;
    std::size_t wantedByNeedsYou();
    void addTyped(std::string_view prompt, const TypedLine& line);
    void addNeedsYou(std::size_t rows);
    void addLists(std::size_t queued, std::size_t review);
    void addPane(std::size_t rows);

    std::size_t wantedRows(LiveSection section) {
        const std::size_t count = bugsOf(section).size();
        return count == 0 ? 0 : count + 1;
    }
    std::vector<ScreenRow> listRows(LiveSection section, std::size_t rows, std::size_t columns);
    ScreenRow titleRow(std::string_view title, std::size_t count, std::size_t shown, std::size_t columns,
                       std::size_t hidden = 0) const;
    ScreenRow bugRow(const LiveBug& bug, std::size_t columns) const;
    ScreenRow queueRow(const LiveBug& bug, std::size_t number, std::size_t columns) const;
    void putBegin(RowWriter& row, const LiveBug& bug) const;

    const LiveSnapshot& snapshot_;
    const LiveChoice& choice_;
    const PaneText& pane_;
    const LiveFrame& frame_;
    const std::size_t columns_, rows_, idWidth_;
    BugsBySection listed_;
    const LiveBug* selected_;
    LivePicture picture_;
};

/// A part of the header; those with a higher rank give way first.
struct HeaderPart {
    std::string text;
    CellStyle style;
    int rank;
};

std::string hostOf(const std::string& address) {
    const std::size_t scheme = address.find("://");
    const std::string rest = scheme == std::string::npos ? address : address.substr(scheme + 3);
    return rest.substr(0, rest.find('/'));
}

std::string memoryText(std::uint64_t mebibytes) {
    constexpr std::uint64_t gibibyte = 1024;
    const std::uint64_t tenths = mebibytes * 10 / gibibyte;
    return "mem " + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "G";
}

std::vector<HeaderPart> headerParts(const LiveSnapshot& snapshot, const LiveFrame& frame) {
    std::vector<HeaderPart> parts{{"quernlight", styles::bold, 4}};
    if (snapshot.owner) {
        const bool isWell = snapshot.backendTrouble.empty();
        parts.push_back({hostOf(snapshot.owner->backend) + (isWell ? " ok" : " does not answer"),
                         isWell ? styles::normal : styles::red, 3});
        parts.push_back(
            {std::to_string(snapshot.owner->sessions) + "/" + counted(snapshot.owner->maxSessions, "agent"),
             styles::normal, 2});
        if (snapshot.owner->memoryMiB) {
            parts.push_back({memoryText(*snapshot.owner->memoryMiB), styles::normal, 6});
        }
    } else if (snapshot.isKnown && snapshot.trouble.empty()) {
        parts.push_back({"no dispatcher runs", styles::yellow, 1});
    }
    if (!snapshot.trouble.empty()) {
        parts.push_back({snapshot.trouble, styles::red, 1});
    }
    if (snapshot.isKnown) {
        parts.push_back({std::to_string(snapshot.takenInToday) + " today", styles::normal, 5});
    }
    parts.push_back({localTime(frame.now, frame.now, frame.offset), styles::normal, 7});
    return parts;
}

std::size_t widthOf(const std::vector<HeaderPart>& parts) {
    std::size_t width = 0;
    for (const HeaderPart& part : parts) {
        width += displayWidth(part.text) + (width > 0 ? 2 : 0);
    }
    return width;
}

void Drawing::addHeader() {
    std::vector<HeaderPart> parts = headerParts(snapshot_, frame_);
    while (parts.size() > 1 && widthOf(parts) > columns_) {
        parts.erase(std::ranges::max_element(parts, {}, &HeaderPart::rank));
    }
    RowWriter row = newRow();
    for (const HeaderPart& part : parts) {
        row.put(row.column() > 0 ? "  " : "").putFitted(part.text, displayWidth(part.text), part.style);
    }
    add(row);
}

ScreenRow Drawing::titleRow(std::string_view title, std::size_t count, std::size_t shown, std::size_t columns,
                            std::size_t hidden) const {
    RowWriter row(columns);
    row.put(std::string(title) + " (" + std::to_string(count) + ")", styles::bold);
    if (hidden > 0) {
        row.put("  " + std::to_string(hidden) + " hidden by the filter", styles::bold);
    }
    if (shown < count) {
        row.put("  and " + std::to_string(count - shown) + " more", styles::dim);
    }
    return row.take();
}

void Drawing::putBegin(RowWriter& row, const LiveBug& bug) const {
    const bool isSelected = selected_ == &bug;
    const Sign sign = signOf(bug, frame_.turn);
    row.put(isSelected ? ">" : " ", styles::bold).put(sign.text, sign.style).put(" ");
    row.putFitted(bug.bugID.substr(0, idWidth_), idWidth_, isSelected ? styles::chosen : styles::normal)
        .put(" ");
}

ScreenRow Drawing::bugRow(const LiveBug& bug, std::size_t columns) const {
    constexpr std::size_t ageWidth = 8;
    constexpr std::size_t roomForBoth = 24;
    RowWriter row(columns);
    putBegin(row, bug);
    const std::size_t room = row.room() > ageWidth + 8 ? row.room() - ageWidth : row.room();
    if (room >= roomForBoth) {
        const std::size_t titleWidth = room * 45 / 100;
        row.putFitted(bug.title, titleWidth, selected_ == &bug ? styles::bold : styles::normal).put(" ");
        row.putFitted(whyOf(bug), room - titleWidth - 1, styles::dim);
    } else {
        row.putFitted(sectionOf(bug) == LiveSection::needsYou ? whyOf(bug) : bug.title, room);
    }
    if (row.room() == ageWidth) {
        const std::string age = ageOf(bug, frame_.now);
        row.skipTo(columns - std::min(displayWidth(age), ageWidth)).put(age);
    }
    return row.take();
}

/// Of what waits or is in review there is less to tell.
ScreenRow Drawing::queueRow(const LiveBug& bug, std::size_t number, std::size_t columns) const {
    const bool isSelected = selected_ == &bug;
    RowWriter row(columns);
    row.put(isSelected ? ">" : " ", styles::bold);
    if (number > 0) {
        row.put(std::to_string(number), styles::dim).put(" ");
    } else {
        const Sign sign = signOf(bug, frame_.turn);
        row.put(sign.text, sign.style).put(" ");
    }
    row.putFitted(bug.bugID.substr(0, idWidth_), idWidth_, isSelected ? styles::chosen : styles::normal)
        .put(" ");
    row.putFitted(bug.title, row.room(), isSelected ? styles::bold : styles::normal);
    return row.take();
}

std::vector<ScreenRow> Drawing::listRows(LiveSection section, std::size_t rows, std::size_t columns) {
    const auto& bugs = bugsOf(section);
    std::vector<ScreenRow> lines;
    if (rows == 0 || bugs.empty()) {
        return lines;
    }
    constexpr std::array<std::string_view, 4> titles{"NEEDS YOU", "RUNNING", "QUEUED", "REVIEW"};
    const std::size_t shown = std::min(rows - 1, bugs.size());
    const auto at = static_cast<std::size_t>(std::ranges::find(bugs, selected_) - bugs.begin());
    const std::size_t first = at == bugs.size() ? 0 : firstShown(bugs.size(), shown, at);
    lines.push_back(titleRow(titles[static_cast<std::size_t>(section)], bugs.size(), shown, columns));
    for (std::size_t index = first; index < first + shown; ++index) {
        const bool isLong = section == LiveSection::needsYou || section == LiveSection::running;
        const std::size_t number = section == LiveSection::queued ? index + 1 : 0;
        lines.push_back(isLong ? bugRow(*bugs[index], columns) : queueRow(*bugs[index], number, columns));
    }
    return lines;
}

/// A bug that the filter does not fit may need a person all the same.
std::size_t Drawing::hiddenNeeding() const {
    if (choice_.filter.empty()) {
        return 0;
    }
    const auto count = [](const BugsBySection& listed) { return listed.at(LiveSection::needsYou).size(); };
    return count(listedBugs(snapshot_, "")) - count(listed_);
}

std::size_t Drawing::wantedByNeedsYou() {
    const std::size_t count =
        alertLines(snapshot_.alerts, columns_, rows_).size() + bugsOf(LiveSection::needsYou).size();
    return count + (count + hiddenNeeding() == 0 ? 0 : 1);
}

/// Alerts, which are about no bug, stand above the bugs.
void Drawing::addNeedsYou(std::size_t rows) {
    const std::size_t bugs = bugsOf(LiveSection::needsYou).size();
    const std::size_t count = snapshot_.alerts.size() + bugs;
    const std::size_t hidden = hiddenNeeding();
    if (rows == 0 || count + hidden == 0) {
        return;
    }
    // Bugs are not crowded out by alerts, of which each bug may have one.
    const std::size_t room = rows - 1;
    const auto alerts =
        alertLines(snapshot_.alerts, columns_, std::max(room - std::min(room, bugs), room / 3));
    const std::size_t shown =
        std::min(snapshot_.alerts.size(), alerts.size()) + std::min(bugs, room - alerts.size());
    picture_.rows.push_back(titleRow("NEEDS YOU", count, shown, columns_, hidden));
    for (const std::string& line : alerts) {  // whole sentences in yellow are hard to read on white
        RowWriter row = newRow();
        row.put(line.substr(0, alertSign.size()), styles::yellow);
        add(row.putFitted(line.substr(alertSign.size()), row.room()));
    }
    std::vector<ScreenRow> lines = listRows(LiveSection::needsYou, rows - alerts.size(), columns_);
    if (!lines.empty()) {
        picture_.rows.insert(picture_.rows.end(), lines.begin() + 1, lines.end());
    }
}

void Drawing::addLists(std::size_t queued, std::size_t review) {
    if (columns_ < columnsForTwo) {
        for (const auto& [section, rows] :
             {std::pair(LiveSection::queued, queued), {LiveSection::review, review}}) {
            const auto lines = listRows(section, rows, columns_);
            picture_.rows.insert(picture_.rows.end(), lines.begin(), lines.end());
        }
        return;
    }
    const std::size_t left = bugsOf(LiveSection::queued).empty()   ? 0
                             : bugsOf(LiveSection::review).empty() ? columns_
                                                                   : columns_ / 2;
    const auto first = listRows(LiveSection::queued, queued, left > 0 && left < columns_ ? left - 1 : left);
    const auto second = listRows(LiveSection::review, queued, columns_ - left);
    for (std::size_t index = 0; index < std::max(first.size(), second.size()); ++index) {
        RowWriter row = newRow();
        if (index < first.size()) {
            row.put(first[index]);
        }
        row.skipTo(left);
        if (index < second.size()) {
            row.put(second[index]);
        }
        add(row);
    }
}

void Drawing::addPane(std::size_t rows) {
    if (rows == 0 || !selected_) {
        return;
    }
    const LivePane shown = shownPane(*selected_, choice_);
    RowWriter title = newRow();
    title.put("─ ", styles::dim).put(selected_->bugID, styles::bold).put(" ── ", styles::dim);
    for (const LivePane pane : allLivePanes) {
        title.put(pane == allLivePanes.front() ? "" : " | ", styles::dim);
        const std::string name(nameOf(pane));
        pane == shown ? title.put("[" + name + "]", styles::bold) : title.put(name);
    }
    title.put(" ");
    while (title.room() > 0) {
        title.put("─", styles::dim);
    }
    add(title);
    if (pane_.bugID != selected_->bugID || pane_.pane != shown) {
        return addText(" …", styles::dim);
    }
    const bool isCut = shown == LivePane::terminal && selected_->stage != SessionStage::needsPerson;
    const ShownLines lines =
        shownLines(pane_, choice_.scrolled, {.columns = columns_, .rows = rows - 1, .isCut = isCut});
    picture_.paneLines = rows - 1;
    picture_.scrolled = lines.scrolled;
    for (const std::string& line : lines.lines) {
        addText(" " + line);
    }
}

/// What needs a person is counted all the same.
void Drawing::addWholePane(std::size_t rows) {
    const std::size_t count = snapshot_.alerts.size() + bugsOf(LiveSection::needsYou).size();
    const bool isTold = rows > 1 && count + hiddenNeeding() > 0;
    if (isTold) {
        picture_.rows.push_back(titleRow("NEEDS YOU", count, count, columns_, hiddenNeeding()));
    }
    addPane(rows - (isTold ? 1 : 0));
}

void Drawing::addBody(std::size_t end) {
    const std::size_t room = end - std::min(end, picture_.rows.size());
    if (choice_.isPaneWhole && selected_) {
        return addWholePane(room);
    }
    const bool isWide = columns_ >= columnsForTwo;
    const std::size_t queued = wantedRows(LiveSection::queued), review = wantedRows(LiveSection::review);
    if (inOrder(listed_).empty()) {
        addNeedsYou(std::min(room, wantedByNeedsYou()));
        const bool isFiltered = !choice_.filter.empty() && !snapshot_.bugs.empty();
        const auto lines =
            isFiltered ? std::vector<std::string>{"No bug holds \"" + choice_.filter + "\"; Esc shows all."}
                       : waitsFor(snapshot_, frame_.now, frame_.offset);
        for (const std::string& sentence : lines) {
            for (const std::string& line : wrapped(sentence, columns_ - std::min<std::size_t>(columns_, 1))) {
                addText(" " + line);
            }
        }
        return;
    }
    const WantedRows wanted{.needsYou = wantedByNeedsYou(),
                            .running = wantedRows(LiveSection::running),
                            .queued = isWide ? std::max(queued, review) : queued,
                            .review = isWide ? 0 : review,
                            .hasPane = selected_ != nullptr};
    const PictureLayout layout = layoutOf(room, wanted);
    addNeedsYou(layout.needsYou);
    const auto running = listRows(LiveSection::running, layout.running, columns_);
    picture_.rows.insert(picture_.rows.end(), running.begin(), running.end());
    addLists(layout.queued, layout.review);
    addPane(layout.pane);
}

void Drawing::addHelp(std::size_t end) {
    const std::size_t room = end - std::min(end, picture_.rows.size());
    const PaneText help{.pane = LivePane::goal, .lines = {helpLines.begin(), helpLines.end()}};
    const ShownLines lines = shownLines(help, choice_.scrolled, {.columns = columns_, .rows = room});
    picture_.paneLines = room;
    picture_.scrolled = lines.scrolled;
    for (const std::string& line : lines.lines) {
        addText(" " + line);
    }
}

/// As much of the line as there is room for, with the cursor in it.
void Drawing::addTyped(std::string_view prompt, const TypedLine& line) {
    RowWriter row = newRow();
    row.put(prompt, styles::bold);
    const std::size_t room = std::max<std::size_t>(row.room(), 2) - 1;
    std::size_t first = line.cursor;
    std::size_t width = 0;
    while (first > 0 && width + characterWidth(line.text[first - 1]) <= room) {
        width += characterWidth(line.text[--first]);
    }
    const std::size_t begin = row.column();
    const TypedLine seen{.text = line.text.substr(first)};
    row.put(seen.utf8());
    picture_.cursor = PicturePlace{.row = rows_ - 1, .column = std::min(begin + width, columns_ - 1)};
    add(row);
}

void Drawing::addLastLine() {
    if (choice_.question) {
        const TypedLine none;
        return addTyped(askedOnLastLine(*choice_.question, frame_.size), none);
    }
    if (choice_.answering) {
        return addTyped("Answer to " + choice_.answered + ": ", *choice_.answering);
    }
    if (choice_.filtering) {
        return addTyped("Filter: ", *choice_.filtering);
    }
    RowWriter row = newRow();
    if (!choice_.filter.empty()) {
        row.put("[" + choice_.filter + "] ", styles::bold);
    }
    for (const std::string_view hint : keyHints) {
        if (displayWidth(hint) <= row.room()) {
            row.put(hint, styles::dim).put(" ");
        }
    }
    add(row);
}

}  // namespace

LivePicture livePicture(const LiveSnapshot& snapshot, const LiveChoice& choice, const PaneText& pane,
                        const LiveFrame& frame) {
    LivePicture picture = Drawing(snapshot, choice, pane, frame).drawn();
    return frame.isColoured ? picture : withoutStyles(std::move(picture));
}

std::vector<std::string> lastPicture(const LiveSnapshot& snapshot, const LiveFrame& frame) {
    const LiveChoice choice;
    const PaneText none;
    return textLines(Drawing(snapshot, choice, none, frame).listsAlone());
}

}  // namespace quernlight::host

#include "host/screen/screen_model.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/text/terminal_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

enum Mode : int {
    originMode = 6,
    wrapMode = 7,
    cursorMode = 25,
    alternateMode = 47,
    alternateClearedMode = 1047,
    savedCursorMode = 1048,
    alternateSavedMode = 1049,
    bracketedPasteMode = 2004,
    synchronizedMode = 2026,
};

constexpr std::size_t mostKeptTitles = 10;

std::map<int, bool> initialModes() {
    std::map<int, bool> modes{{wrapMode, true}, {cursorMode, true}};
    for (const int off : {1, int{originMode}, 9, 12, int{alternateMode}, 66, 1000, 1002, 1003, 1004, 1005,
                          1006, 1007, 1015, int{alternateClearedMode}, int{savedCursorMode},
                          int{alternateSavedMode}, int{bracketedPasteMode}, int{synchronizedMode}}) {
        modes[off] = false;
    }
    return modes;
}

TerminalSize possibleSize(int columns, int rows) {
    return {.columns = std::clamp(columns, 1, ScreenModel::largest.columns),
            .rows = std::clamp(rows, 1, ScreenModel::largest.rows)};
}

/// The character of the set for lines and boxes (DEC Special Graphics) that has this one's place.
char32_t lineDrawing(char32_t character) {
    constexpr std::u32string_view drawn = U"◆▒␉␌␍␊°±␤␋┘┐┌└┼⎺⎻─⎼⎽├┤┴┬│≤≥π≠£·";
    const bool isReplaced = character >= U'`' && character <= U'~';
    return isReplaced ? drawn[character - U'`'] : character;
}

ScreenGrid::Part partOf(const ControlSequence& sequence) {
    constexpr std::array parts{ScreenGrid::Part::toEnd, ScreenGrid::Part::fromStart, ScreenGrid::Part::all};
    return parts.at(static_cast<std::size_t>(sequence.value(0)));
}

}  // namespace

ScreenModel::ScreenModel(int columns, int rows, std::size_t scrollBack)
    : scrollBackLines_(scrollBack),
      main_(possibleSize(columns, rows),
            [this](const ScreenRow& row) {
                scrolledOff_.push_back(rowText(row));
                if (scrolledOff_.size() > scrollBackLines_) {
                    scrolledOff_.pop_front();
                }
            }),
      alternate_(possibleSize(columns, rows)),
      modes_(initialModes()) {}

void ScreenModel::write(std::string_view bytes) {
    parser_.write(bytes, *this);
    bytes_ += bytes.size();
}

void ScreenModel::resize(int columns, int rows) {
    main_.resize(possibleSize(columns, rows));
    alternate_.resize(possibleSize(columns, rows));
}

void ScreenModel::skip(std::uint64_t bytes) {
    parser_ = {};
    lastPrinted_ = 0;
    bytes_ += bytes;
    skipped_ += bytes;
}

ScreenPicture ScreenModel::picture() const {
    ScreenPicture picture{.columns = grid().columns(),
                          .rows = grid().rows(),
                          .cursorRow = grid().cursorRow(),
                          .cursorColumn = grid().cursorColumn(),
                          .cursorShown = isOn(cursorMode),
                          .bracketedPaste = isOn(bracketedPasteMode),
                          .alternateScreen = isAlternate_,
                          .beingDrawn = isOn(synchronizedMode),
                          .title = title_,
                          .bytes = bytes_,
                          .skipped = skipped_};
    for (int row = 0; row < picture.rows; ++row) {
        picture.lines.push_back(rowText(grid().row(row)));
        picture.brightLines.push_back(rowText(grid().row(row), false));
    }
    return picture;
}

std::string ScreenModel::takeAnswers() {
    return std::exchange(answers_, {});
}

void ScreenModel::print(char32_t character) {
    if (sets_.isLineDrawing[sets_.shown]) {
        character = lineDrawing(character);
    }
    const auto width = static_cast<int>(character < 0x7F ? 1 : characterWidth(character));
    if (width == 0) {
        if (lastPrinted_ != 0 && !isActingCharacter(character)) {
            grid().combine(character);
        }
        return;
    }
    grid().print(character, width, style_);
    lastPrinted_ = character;
}

void ScreenModel::control(char character) {
    lastPrinted_ = 0;
    switch (character) {
        case '\b':
            return grid().backspace();
        case '\t':
            return grid().tabulate(1);
        case '\n':
        case '\v':
        case '\f':
            return grid().lineFeed();
        case '\r':
            return grid().carriageReturn();
        case '\x0E':
            sets_.shown = 1;
            return;
        case '\x0F':
            sets_.shown = 0;
            return;
        default:
            return;
    }
}

void ScreenModel::escape(char intermediate, char final) {
    lastPrinted_ = 0;
    if (intermediate == '(' || intermediate == ')') {
        sets_.isLineDrawing[intermediate == '(' ? 0 : 1] = final == '0';
    }
    if (intermediate != 0) {
        return;
    }
    switch (final) {
        case '7':
            return saveCursor();
        case '8':
            return restoreCursor();
        case 'D':
            return grid().lineFeed();
        case 'E':
            grid().carriageReturn();
            return grid().lineFeed();
        case 'H':
            return grid().setTabStop(true);
        case 'M':
            return grid().reverseLineFeed();
        case 'c':
            return reset();
        default:
            return;
    }
}

struct ScreenModel::Entry {
    char prefix, intermediate;
    std::string_view finals;
    Operation operation;
};

ScreenModel::Operation ScreenModel::operationOf(const Sequence& sequence) {
    static constexpr std::array entries{
        Entry{0, 0, "m", &ScreenModel::setStyle},
        Entry{0, 0, "Hf`Gde", &ScreenModel::placeCursor},
        Entry{0, 0, "ABCDEFaIZ", &ScreenModel::moveCursor},
        Entry{0, 0, "K", &ScreenModel::eraseInLine},
        Entry{0, 0, "J", &ScreenModel::eraseInScreen},
        Entry{'?', 0, "K", &ScreenModel::eraseInLine},
        Entry{'?', 0, "J", &ScreenModel::eraseInScreen},
        Entry{'?', 0, "hl", &ScreenModel::setModes},
        Entry{0, 0, "@PX", &ScreenModel::editCells},
        Entry{0, 0, "LMST", &ScreenModel::editLines},
        Entry{0, 0, "r", &ScreenModel::setRegion},
        Entry{0, 0, "hl", &ScreenModel::setInsertMode},
        Entry{0, 0, "b", &ScreenModel::repeat},
        Entry{0, 0, "g", &ScreenModel::clearTabStops},
        Entry{0, 0, "s", &ScreenModel::saveCursor},
        Entry{0, 0, "u", &ScreenModel::restoreCursor},
        Entry{0, 0, "t", &ScreenModel::keepTitle},
        Entry{0, '!', "p", &ScreenModel::resetStyle},
        Entry{0, 0, "n", &ScreenModel::answerStatus},
        Entry{'?', 0, "n", &ScreenModel::answerStatus},
        Entry{0, 0, "c", &ScreenModel::answerAttributes},
        Entry{'>', 0, "c", &ScreenModel::answerAttributes},
        Entry{'?', 0, "u", &ScreenModel::answerKeyboard},
        Entry{'?', '$', "p", &ScreenModel::answerMode},
    };
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& known) {
        return known.prefix == sequence.prefix && known.intermediate == sequence.intermediate &&
               known.finals.find(sequence.final) != std::string_view::npos;
    });
    return entry == entries.end() ? nullptr : entry->operation;
}

void ScreenModel::controlSequence(const Sequence& sequence) {
    if (const Operation operation = operationOf(sequence)) {
        (this->*operation)(sequence);
    }
    lastPrinted_ = sequence.final == 'b' ? lastPrinted_ : 0;
}

void ScreenModel::moveCursor(const Sequence& sequence) {
    const int count = sequence.count(0);
    switch (sequence.final) {
        case 'A':
            return grid().moveBy(-count, 0);
        case 'B':
            return grid().moveBy(count, 0);
        case 'C':
        case 'a':
            return grid().moveBy(0, count);
        case 'D':
            return grid().moveBy(0, -count);
        case 'E':
            grid().moveBy(count, 0);
            return grid().carriageReturn();
        case 'F':
            grid().moveBy(-count, 0);
            return grid().carriageReturn();
        case 'I':
            return grid().tabulate(count);
        default:
            return grid().tabulate(-count);
    }
}

void ScreenModel::placeCursor(const Sequence& sequence) {
    const int first = sequence.count(0) - 1;
    switch (sequence.final) {
        case 'G':
        case '`':
            return grid().moveTo(grid().cursorRow(), first);
        case 'd':
            return moveTo(first, grid().cursorColumn());
        case 'e':
            return grid().moveTo(grid().cursorRow() + first + 1, grid().cursorColumn());
        default:
            return moveTo(first, sequence.count(1) - 1);
    }
}

void ScreenModel::moveTo(int row, int column) {
    if (isOn(originMode)) {
        grid().moveToOrigin(row, column);
    } else {
        grid().moveTo(row, column);
    }
}

void ScreenModel::editCells(const Sequence& sequence) {
    switch (sequence.final) {
        case '@':
            return grid().insertCells(sequence.count(0));
        case 'P':
            return grid().deleteCells(sequence.count(0));
        default:
            return grid().eraseCells(sequence.count(0));
    }
}

void ScreenModel::editLines(const Sequence& sequence) {
    switch (sequence.final) {
        case 'L':
            return grid().insertLines(sequence.count(0));
        case 'M':
            return grid().deleteLines(sequence.count(0));
        case 'S':
            return grid().scrollUp(sequence.count(0));
        default:
            return grid().scrollDown(sequence.count(0));
    }
}

void ScreenModel::eraseInLine(const Sequence& sequence) {
    if (sequence.value(0) <= 2) {
        grid().eraseInLine(partOf(sequence));
    }
}

void ScreenModel::eraseInScreen(const Sequence& sequence) {
    if (sequence.value(0) <= 2) {
        grid().eraseInScreen(partOf(sequence));
    } else if (sequence.value(0) == 3) {
        scrolledOff_.clear();
    }
}

void ScreenModel::clearTabStops(const Sequence& sequence) {
    if (sequence.value(0) == 0) {
        grid().setTabStop(false);
    } else if (sequence.value(0) == 3) {
        grid().clearTabStops();
    }
}

void ScreenModel::repeat(const Sequence& sequence) {
    const char32_t character = lastPrinted_;
    const int most = grid().columns() * grid().rows();
    for (int left = std::min(sequence.count(0), most); character != 0 && left > 0; --left) {
        print(character);
    }
    lastPrinted_ = 0;
}

void ScreenModel::setRegion(const Sequence& sequence) {
    const int bottom = std::min(sequence.count(1, grid().rows()), grid().rows());
    if (sequence.count(0) < bottom) {
        grid().setRegion(sequence.count(0) - 1, bottom - 1);
        moveTo(0, 0);
    }
}

void ScreenModel::setStyle(const Sequence& sequence) {
    const auto& parameters = sequence.parameters;
    style_.isDim = style_.isDim && !parameters.empty();
    for (std::size_t at = 0; at < parameters.size(); ++at) {
        if (parameters[at].isSubordinate) {
            continue;
        }
        const int value = sequence.value(at);
        if (value == 38 || value == 48 || value == 58) {  // a colour, whose numbers mean nothing else
            const bool hasColons = at + 1 < parameters.size() && parameters[at + 1].isSubordinate;
            at += hasColons ? 0U : sequence.value(at + 1) == 2 ? 4U : 2U;
        } else if (value == 2) {
            style_.isDim = true;
        } else if (value == 0 || value == 22) {
            style_.isDim = false;
        }
    }
}

void ScreenModel::setInsertMode(const Sequence& sequence) {
    if (sequence.value(0) == 4) {
        style_.inserts = sequence.final == 'h';
    }
}

void ScreenModel::setModes(const Sequence& sequence) {
    for (std::size_t at = 0; at < sequence.parameters.size(); ++at) {
        setMode(sequence.value(at), sequence.final == 'h');
    }
}

bool ScreenModel::isOn(int mode) const {
    const auto known = modes_.find(mode);
    return known != modes_.end() && known->second;
}

void ScreenModel::setMode(int mode, bool isOn) {
    const auto known = modes_.find(mode);
    if (known == modes_.end()) {
        return;
    }
    known->second = isOn;
    style_.wraps = this->isOn(wrapMode);
    const bool savesCursor = mode == savedCursorMode || mode == alternateSavedMode;
    if (savesCursor && isOn) {
        saveCursor();
    }
    if (mode == originMode) {
        moveTo(0, 0);
    } else if (mode == alternateMode || mode == alternateClearedMode || mode == alternateSavedMode) {
        showAlternate(isOn);
    }
    if (savesCursor && !isOn) {
        restoreCursor();
    }
}

/// The alternate screen comes up blank and without a scrolling region; the cursor stays where it is.
void ScreenModel::showAlternate(bool isOn) {
    if (isOn == isAlternate_) {
        return;
    }
    const int row = grid().cursorRow(), column = grid().cursorColumn();
    isAlternate_ = isOn;
    alternate_.clear();
    alternate_.setRegion(0, alternate_.rows() - 1);
    grid().moveTo(row, column);
}

void ScreenModel::saveCursor(const Sequence& /*sequence*/) {
    saved_[isAlternate_] = {
        .row = grid().cursorRow(), .column = grid().cursorColumn(), .isDim = style_.isDim, .sets = sets_};
}

void ScreenModel::restoreCursor(const Sequence& /*sequence*/) {
    const SavedCursor saved = saved_.try_emplace(isAlternate_, SavedCursor{.sets = sets_}).first->second;
    grid().moveTo(saved.row, saved.column);
    style_.isDim = saved.isDim;
    sets_ = saved.sets;
}

/// What also the soft reset, a control sequence, undoes.
void ScreenModel::resetStyle(const Sequence& /*sequence*/) {
    style_ = {};
    sets_ = {};
    saved_.clear();
    modes_[originMode] = false;
    modes_[wrapMode] = modes_[cursorMode] = true;
    main_.setRegion(0, main_.rows() - 1);
    alternate_.setRegion(0, alternate_.rows() - 1);
}

void ScreenModel::reset() {
    showAlternate(false);
    resetStyle();
    modes_ = initialModes();
    main_.clear();
    main_.moveTo(0, 0);
    scrolledOff_.clear();
}

void ScreenModel::operatingSystemCommand(std::string_view text, std::string_view end) {
    lastPrinted_ = 0;
    if (text.starts_with("0;") || text.starts_with("2;")) {
        title_ = withoutControls(text.substr(2));
    } else if (text == "10;?") {
        answer("\x1b]10;rgb:e5e5/e5e5/e5e5" + std::string(end));
    } else if (text == "11;?") {
        answer("\x1b]11;rgb:0000/0000/0000" + std::string(end));
    }
}

/// Puts the title on a stack or takes the last one back; also where the terminal's size is asked for.
void ScreenModel::keepTitle(const Sequence& sequence) {
    const bool isTitle = sequence.value(1) == 0 || sequence.value(1) == 2;
    if (sequence.value(0) == 18) {
        answerSize(sequence);
    } else if (sequence.value(0) == 22 && isTitle && keptTitles_.size() < mostKeptTitles) {
        keptTitles_.push_back(title_);
    } else if (sequence.value(0) == 23 && isTitle && !keptTitles_.empty()) {
        title_ = std::move(keptTitles_.back());
        keptTitles_.pop_back();
    }
}

void ScreenModel::answerSize(const Sequence& /*sequence*/) {
    answer("\x1b[8;" + std::to_string(grid().rows()) + ";" + std::to_string(grid().columns()) + "t");
}

void ScreenModel::answerStatus(const Sequence& sequence) {
    const std::string prefix = sequence.prefix == '?' ? "\x1b[?" : "\x1b[";
    if (sequence.value(0) == 5 && sequence.prefix == 0) {
        answer("\x1b[0n");
    } else if (sequence.value(0) == 6) {
        answer(prefix + std::to_string(grid().cursorRow() + 1) + ";" +
               std::to_string(grid().cursorColumn() + 1) + "R");
    }
}

/// A terminal with colours, without more.
void ScreenModel::answerAttributes(const Sequence& sequence) {
    if (sequence.value(0) == 0) {
        answer(sequence.prefix == '>' ? "\x1b[>1;10;0c" : "\x1b[?62;22c");
    }
}

/// None of the keyboard protocol's additions is on: keys are written the plain way.
void ScreenModel::answerKeyboard(const Sequence& /*sequence*/) {
    answer("\x1b[?0u");
}

void ScreenModel::answerMode(const Sequence& sequence) {
    const int mode = sequence.value(0);
    const char* state = !modes_.contains(mode) ? "0" : isOn(mode) ? "1" : "2";
    answer("\x1b[?" + std::to_string(mode) + ";" + state + "$y");
}

void ScreenModel::answer(std::string_view text) {
    if (answers_.size() + text.size() <= mostAnswerBytes) {
        answers_ += text;
    }
}

}  // namespace quernlight::host

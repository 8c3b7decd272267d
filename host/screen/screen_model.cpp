#include "host/screen/screen_model.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "host/screen/grid_sequences.hpp"
#include "host/screen/terminal_answers.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

using Mode = TerminalModes::Mode;

constexpr std::size_t mostKeptTitles = 10;
constexpr std::size_t mostUnfinished = 8192;

TerminalSize possibleSize(int columns, int rows) {
    return {.columns = std::clamp(columns, 1, ScreenModel::largest.columns),
            .rows = std::clamp(rows, 1, ScreenModel::largest.rows)};
}

}  // namespace

ScreenModel::ScreenModel(int columns, int rows, std::size_t scrollBack)
    : scrollBackLines_(scrollBack),
      main_(possibleSize(columns, rows),
            [this](const ScreenRow& row) {
                scrolledOff_.push_back(paintedRow(row));
                if (scrolledOff_.size() > scrollBackLines_) {
                    scrolledOff_.pop_front();
                }
            }),
      alternate_(possibleSize(columns, rows)) {}

void ScreenModel::write(std::string_view bytes) {
    parser_.write(bytes, *this);
    bytes_ += bytes.size();
    keepUnfinished(bytes);
}

/// The next bytes go on with it, also on a terminal that is painted in between.
void ScreenModel::keepUnfinished(std::string_view bytes) {
    if (parser_.isBetweenPieces()) {
        unfinished_.clear();
        return;
    }
    const auto beginsCharacter = [](char byte) { return static_cast<unsigned char>(byte) >= 0xC0; };
    const auto character = std::find_if(bytes.rbegin(), bytes.rend(), beginsCharacter);
    const std::size_t begin = parser_.isInSequence() ? bytes.rfind('\x1b')
                              : character == bytes.rend()
                                  ? bytes.npos
                                  : static_cast<std::size_t>(bytes.rend() - character) - 1;
    if (begin != bytes.npos) {
        unfinished_.clear();
        bytes.remove_prefix(begin);
    }
    unfinished_ += bytes.substr(0, mostUnfinished - std::min(unfinished_.size(), mostUnfinished));
}

void ScreenModel::resize(int columns, int rows) {
    main_.resize(possibleSize(columns, rows));
    alternate_.resize(possibleSize(columns, rows));
}

void ScreenModel::skip(std::uint64_t bytes) {
    parser_ = {};
    unfinished_.clear();
    lastPrinted_ = 0;
    bytes_ += bytes;
    skipped_ += bytes;
    lacksOutput_ = {false, true};
}

ScreenPicture ScreenModel::picture() const {
    ScreenPicture picture{.columns = grid().columns(),
                          .rows = grid().rows(),
                          .cursorRow = grid().cursorRow(),
                          .cursorColumn = grid().cursorColumn(),
                          .cursorShown = modes_.isOn(Mode::cursor),
                          .bracketedPaste = modes_.isOn(Mode::bracketedPaste),
                          .alternateScreen = isAlternate_,
                          .beingDrawn = modes_.isOn(Mode::synchronized),
                          .title = title_,
                          .bytes = bytes_,
                          .skipped = skipped_,
                          .lacksOutput = lacksOutput_.contains(isAlternate_)};
    for (int row = 0; row < picture.rows; ++row) {
        picture.lines.push_back(rowText(grid().row(row)));
        picture.brightLines.push_back(rowText(grid().row(row), false));
    }
    return picture;
}

ScreenPainting ScreenModel::painting() const {
    return {.size = {.columns = grid().columns(), .rows = grid().rows()},
            .title = title_,
            .scrollBack = paintedScrollBack(),
            .screen = painted(parts()) + unfinished_,
            .bytes = bytes_};
}

PaintedScreen ScreenModel::parts() const {
    return {.main = main_,
            .alternate = alternate_,
            .isAlternate = isAlternate_,
            .modes = modes_,
            .saved = saved_,
            .style = style_.cell,
            .sets = sets_,
            .inserts = style_.inserts,
            .title = title_};
}

/// The lines, and as many line feeds as bring the last one off the top.
std::string ScreenModel::paintedScrollBack() const {
    std::size_t size = 0;
    auto first = scrolledOff_.end();
    while (first != scrolledOff_.begin() &&
           size + (first - 1)->size() + 2 <= ScreenPainting::mostScrollBack) {
        --first;
        size += first->size() + 2;
    }
    std::string bytes;
    bytes.reserve(size);
    for (auto line = first; line != scrolledOff_.end(); ++line) {
        bytes += *line + "\r\n";
    }
    return bytes.empty() ? bytes : bytes + std::string(static_cast<std::size_t>(main_.rows() - 1), '\n');
}

std::vector<std::string> ScreenModel::scrollBack() const {
    std::vector<std::string> lines;
    std::ranges::transform(scrolledOff_, std::back_inserter(lines), plainRow);
    return lines;
}

std::string ScreenModel::takeAnswers() {
    return std::exchange(answers_, {});
}

void ScreenModel::print(char32_t character) {
    character = sets_.drawn(character);
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
            sets_.shift(1);
            return;
        case '\x0F':
            sets_.shift(0);
            return;
        default:
            return;
    }
}

void ScreenModel::escape(char intermediate, char final) {
    lastPrinted_ = 0;
    if (intermediate == '(' || intermediate == ')') {
        sets_.choose(intermediate, final);
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
        case '=':
        case '>':
            modes_.set(Mode::keypad, final == '=');
            return;
        default:
            return;
    }
}

void ScreenModel::controlSequence(const Sequence& sequence) {
    const bool isPlain = sequence.prefix == 0 && sequence.intermediate == 0;
    if (isPlain && sequence.final == 'b') {
        repeat(sequence.count(0));
    }
    lastPrinted_ = 0;
    if (isPlain && sequence.final == 'm') {
        setStyle(styleAfter(sequence, style_.cell));
    } else if (isPlain && sequence.final == 'J' && sequence.value(0) == 3) {
        scrolledOff_.clear();
    } else if (applyToGrid(sequence, grid())) {
        noteErasure(sequence);
    } else {
        if (isPlain) {
            applyPlain(sequence);
        } else {
            applyPrivate(sequence);
        }
        answer(answerTo(sequence, grid(), modes_));
    }
}

/// Of all that stood on the screen.
void ScreenModel::noteErasure(const Sequence& sequence) {
    const bool isAtTop = grid().cursorRow() == 0 && grid().cursorColumn() == 0;
    const int part = sequence.value(0);
    if (sequence.final == 'J' && sequence.prefix == 0 && (part == 2 || (part == 0 && isAtTop))) {
        lacksOutput_.erase(isAlternate_);
    }
}

void ScreenModel::applyPlain(const Sequence& sequence) {
    switch (sequence.final) {
        case 's':
            return saveCursor();
        case 'u':
            return restoreCursor();
        case 't':
            return keepTitle(sequence);
        case 'h':
        case 'l':
            style_.inserts = sequence.value(0) == 4 ? sequence.final == 'h' : style_.inserts;
            return;
        default:
            return;
    }
}

void ScreenModel::applyPrivate(const Sequence& sequence) {
    if (sequence.prefix == 0 && sequence.intermediate == '!' && sequence.final == 'p') {
        resetStyle();
    }
    if (sequence.prefix != '?' || (sequence.final != 'h' && sequence.final != 'l')) {
        return;
    }
    for (std::size_t at = 0; at < sequence.parameters.size(); ++at) {
        setMode(sequence.value(at), sequence.final == 'h');
    }
}

/// Prints the last character again, if nothing else came since.
void ScreenModel::repeat(int count) {
    const char32_t character = lastPrinted_;
    const int most = grid().columns() * grid().rows();
    for (int left = std::min(count, most); character != 0 && left > 0; --left) {
        print(character);
    }
}

void ScreenModel::setMode(int mode, bool isOn) {
    if (!modes_.set(mode, isOn)) {
        return;
    }
    style_.wraps = modes_.isOn(Mode::wrap);
    const bool savesCursor = mode == Mode::savedCursor || mode == Mode::alternateSaved;
    if (savesCursor && isOn) {
        saveCursor();
    }
    if (mode == Mode::origin) {
        main_.setOrigin(isOn);
        alternate_.setOrigin(isOn);
        grid().place(0, 0);
    } else if (mode == Mode::alternate || mode == Mode::alternateCleared || mode == Mode::alternateSaved) {
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
    lacksOutput_.erase(true);
    alternate_.setRegion(0, alternate_.rows() - 1);
    grid().moveTo(row, column);
}

void ScreenModel::saveCursor() {
    saved_[isAlternate_] = {
        .row = grid().cursorRow(), .column = grid().cursorColumn(), .style = style_.cell, .sets = sets_};
}

void ScreenModel::restoreCursor() {
    const SavedCursor saved = saved_.try_emplace(isAlternate_, SavedCursor{.sets = sets_}).first->second;
    grid().moveTo(saved.row, saved.column);
    setStyle(saved.style);
    sets_ = saved.sets;
}

/// What also the soft reset, a control sequence, undoes.
void ScreenModel::resetStyle() {
    style_ = {};
    setStyle({});
    sets_ = {};
    saved_.clear();
    modes_.set(Mode::origin, false);
    main_.setOrigin(false);
    alternate_.setOrigin(false);
    modes_.set(Mode::wrap, true);
    modes_.set(Mode::cursor, true);
    main_.setRegion(0, main_.rows() - 1);
    alternate_.setRegion(0, alternate_.rows() - 1);
}

void ScreenModel::reset() {
    showAlternate(false);
    resetStyle();
    modes_ = {};
    main_.clear();
    main_.moveTo(0, 0);
    scrolledOff_.clear();
    lacksOutput_.erase(false);
}

void ScreenModel::operatingSystemCommand(std::string_view text, std::string_view end) {
    lastPrinted_ = 0;
    if (text.starts_with("0;") || text.starts_with("2;")) {
        title_ = withoutControls(text.substr(2));
    }
    answer(answerTo(text, end));
}

/// Puts the title on a stack or takes the last one back.
void ScreenModel::keepTitle(const Sequence& sequence) {
    const bool isTitle = sequence.value(1) == 0 || sequence.value(1) == 2;
    if (sequence.value(0) == 22 && isTitle && keptTitles_.size() < mostKeptTitles) {
        keptTitles_.push_back(title_);
    } else if (sequence.value(0) == 23 && isTitle && !keptTitles_.empty()) {
        title_ = std::move(keptTitles_.back());
        keptTitles_.pop_back();
    }
}

void ScreenModel::setStyle(const CellStyle& style) {
    style_.cell = style;
    main_.setBackground(style.background);
    alternate_.setBackground(style.background);
}

void ScreenModel::answer(std::string_view text) {
    if (answers_.size() + text.size() <= mostAnswerBytes) {
        answers_ += text;
    }
}

}  // namespace quernlight::host

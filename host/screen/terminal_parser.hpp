#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quernlight::host {

/// A control sequence, "CSI ? 2004 h" and the like.
struct ControlSequence {
    struct Parameter {
        int value = -1;              ///< -1: none was given
        bool isSubordinate = false;  ///< follows a colon
    };

    char prefix = 0;        ///< one of "<=>?", or none
    char intermediate = 0;  ///< one of " !\"#$%&'()*+,-./", or none; of several the last
    char final = 0;
    std::span<const Parameter> parameters{};

    /// A parameter; `otherwise` where it is missing or 0.
    int count(std::size_t index, int otherwise = 1) const;

    /// A parameter; 0 where it is missing.
    int value(std::size_t index) const;
};

/// What a terminal is told, one piece at a time.
class TerminalActions {
  public:
    virtual ~TerminalActions() = default;
    virtual void print(char32_t character) = 0;
    virtual void control(char character) = 0;
    virtual void escape(char intermediate, char final) = 0;
    virtual void controlSequence(const ControlSequence& sequence) = 0;
    /// `end` is how the command was ended, for answers that end alike.
    virtual void operatingSystemCommand(std::string_view text, std::string_view end) = 0;
};

/// UTF-8 in pieces. Each maximal ill-formed piece is one U+FFFD.
class Utf8Decoder {
  public:
    bool isBetweenCharacters() const { return missing_ == 0; }

    template <class Receive>
    void put(unsigned char byte, Receive receive) {
        if (missing_ > 0 && (byte < lowest_ || byte > highest_)) {
            missing_ = 0;
            receive(char32_t{0xFFFD});
        }
        if (missing_ == 0 ? begin(byte) : goOn(byte)) {
            receive(scalar_);
        }
    }

  private:
    bool begin(unsigned char byte);
    bool goOn(unsigned char byte);

    char32_t scalar_ = 0;
    int missing_ = 0;                               // bytes of the character
    unsigned char lowest_ = 0x80, highest_ = 0xBF;  // that the next one may be
};

/// Cuts what a program writes to its terminal into pieces, wherever the writes cut it. Holds a few kilobytes
/// at most, whatever comes: a command that is longer is dropped as a whole.
class TerminalParser {
  public:
    static constexpr std::size_t mostCommandBytes = 4096;

    void write(std::string_view bytes, TerminalActions& actions);

    /// Whether the next byte begins something new.
    bool isBetweenPieces() const { return state_ == State::ground && decoder_.isBetweenCharacters(); }

    /// Whether a control sequence or string has begun and not ended.
    bool isInSequence() const { return state_ != State::ground; }

  private:
    enum class State : std::uint8_t {
        ground,
        escape,
        sequence,
        ignoredSequence,
        command,
        ignoredString,
    };
    static constexpr std::size_t mostParameters = 32;

    void put(char32_t character, TerminalActions& actions);
    void putC1(char32_t character, TerminalActions& actions);
    void putIntoEscape(char32_t character, TerminalActions& actions);
    void putIntoSequence(char32_t character, TerminalActions& actions);
    void putIntoCommand(char32_t character, TerminalActions& actions);
    void beginSequence();
    bool addParameterCharacter(char character);
    void endCommand(std::string_view end, TerminalActions& actions);

    Utf8Decoder decoder_;
    State state_ = State::ground;
    ControlSequence sequence_;
    std::array<ControlSequence::Parameter, mostParameters> parameters_{};
    std::size_t parameterCount_ = 0;
    std::string command_;
    bool commandIsTooLong_ = false;
};

}  // namespace quernlight::host

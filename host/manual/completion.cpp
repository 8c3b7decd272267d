#include "host/manual/completion.hpp"

#include <algorithm>
#include <cctype>
#include <set>
#include <utility>

#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

/// Where in the program's commands a line has come to, as its words are read one by one.
class LineReading {
  public:
    explicit LineReading(const CommandDescription& program) : command_(&program) {}

    void read(const std::string& word);
    Completion ask(const std::string& last) const;

  private:
    void readOption(const std::string& word);
    Completion askOption(const std::string& last) const;
    const OptionDescription* option(const std::string& name) const;
    std::vector<Candidate> options() const;
    Completion begun() const { return {.arguments = arguments_, .home = home_}; }

    const CommandDescription* command_;
    const OptionDescription* pending_ = nullptr;  // the option whose value comes next
    std::set<std::string> given_;                 // options
    std::vector<std::string> arguments_;
    std::optional<std::string> home_;
    bool onlyArguments_ = false;  // behind "--"
};

/// It may stand behind every command.
const OptionDescription homeOption{.names = {"--home"}, .value = "DIR"};

const OptionDescription* LineReading::option(const std::string& name) const {
    for (const OptionDescription& option : command_->options) {
        if (std::ranges::find(option.names, name) != option.names.end()) {
            return &option;
        }
    }
    return name == homeOption.names.front() ? &homeOption : nullptr;
}

void LineReading::readOption(const std::string& word) {
    const std::size_t sign = word.find('=');
    const OptionDescription* known = option(word.substr(0, sign));
    if (!known) {
        return;
    }
    given_.insert(known->names.begin(), known->names.end());
    if (sign == word.npos) {
        pending_ = known->value.empty() ? nullptr : known;
    } else if (known->names == homeOption.names) {
        home_ = word.substr(sign + 1);
    }
}

void LineReading::read(const std::string& word) {
    if (const auto* option = std::exchange(pending_, nullptr)) {
        home_ = option->names == homeOption.names ? word : home_;
        return;
    }
    if (!onlyArguments_ && word.starts_with('-')) {
        onlyArguments_ = word == "--";
        return readOption(word);
    }
    const auto beneath = std::ranges::find_if(
        command_->commands, [&](const CommandDescription& command) { return command.path.back() == word; });
    if (beneath != command_->commands.end()) {
        command_ = &*beneath;
    } else {
        arguments_.push_back(word);
    }
}

std::vector<Candidate> LineReading::options() const {
    std::vector<Candidate> options;
    for (const OptionDescription& option : command_->options) {
        if (option.isRepeatable || !given_.contains(option.names.back())) {
            options.push_back({option.names.back(), option.help});
        }
    }
    return options;
}

Completion LineReading::askOption(const std::string& last) const {
    Completion completion = begun();
    const std::size_t sign = last.find('=');
    if (sign == last.npos) {
        completion.typed = last;
        completion.candidates = options();
        return completion;
    }
    const OptionDescription* known = option(last.substr(0, sign));
    completion.option = last.substr(0, sign + 1);
    completion.typed = last.substr(sign + 1);
    completion.value = known ? known->value : "";
    return completion;
}

Completion LineReading::ask(const std::string& last) const {
    if (!pending_ && !onlyArguments_ && last.starts_with('-')) {
        return askOption(last);
    }
    Completion completion = begun();
    completion.typed = last;
    if (pending_) {
        completion.value = pending_->value;
        return completion;
    }
    for (const CommandDescription* beneath : shownCommands(*command_)) {
        completion.candidates.push_back({beneath->path.back(), beneath->help});
    }
    const auto& expected = command_->arguments;
    if (arguments_.size() < expected.size()) {
        completion.value = expected[arguments_.size()].value;
    } else if (!expected.empty() && expected.back().isRepeatable) {
        completion.value = expected.back().value;
    } else if (completion.candidates.empty()) {
        completion.candidates = options();
    }
    return completion;
}

/// No shell takes more out of it than stands there.
bool isPlain(const std::string& word) {
    return !word.empty() && std::ranges::all_of(word, [](unsigned char character) {
        return (character < 0x80 && std::isalnum(character)) || character == '-' || character == '_' ||
               character == '.';
    });
}

}  // namespace

Completion completionOf(const CommandDescription& program, const std::vector<std::string>& words) {
    LineReading reading(program);
    for (std::size_t index = 0; index + 1 < words.size(); ++index) {
        reading.read(words[index]);
    }
    return reading.ask(words.empty() ? "" : words.back());
}

std::string candidateLines(const Completion& completion, const std::vector<Candidate>& candidates) {
    constexpr std::size_t mostShown = 60;
    std::string lines;
    for (const Candidate& candidate : candidates) {
        if (isPlain(candidate.text) && candidate.text.starts_with(completion.typed)) {
            const bool isLong = displayWidth(candidate.help) > mostShown;
            lines += completion.option + candidate.text + "\t" +
                     (isLong ? fitted(candidate.help, mostShown) : withoutControls(candidate.help)) + "\n";
        }
    }
    return lines;
}

std::string shellDirective(const std::string& value) {
    if (value == "FILE") {
        return ":files\n";
    }
    return value == "DIR" ? ":directories\n" : "";
}

}  // namespace quernlight::host

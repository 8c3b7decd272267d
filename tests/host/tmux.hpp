#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "quernlight/platform/user_directories.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::test {

/// A person's terminal with a shell in it: a tmux of its own, in which the test types and looks.
class Tmux {
  public:
    Tmux(const std::filesystem::path& directory, const EnvironmentMap& environment,
         const std::string& name = "one", int columns = 100, int rows = 30)
        : command_("tmux -u -S " + (directory / (name + ".sock")).string() + " ") {
        std::string start = "env -i LANG=C.UTF-8 TERM=xterm-256color PS1='$ ' ";
        for (const auto& [variable, value] : environment) {
            start += variable + "='" + value + "' ";
        }
        run(start + command_ + "-f /dev/null new-session -d -x " + std::to_string(columns) + " -y " +
            std::to_string(rows) + " 'bash --norc --noprofile'");
        run(command_ + "set-option -g status off");
        run(command_ + "resize-window -x " + std::to_string(columns) + " -y " + std::to_string(rows));
    }
    Tmux(const Tmux&) = delete;
    Tmux& operator=(const Tmux&) = delete;
    ~Tmux() { run(command_ + "kill-server"); }

    /// As tmux names keys: "Enter", "C-]", "Up".
    void press(const std::string& keys) { run(command_ + "send-keys " + keys); }
    void type(const std::string& text) { run(command_ + "send-keys -l '" + text + "'"); }
    void enter(const std::string& line) {
        type(line);
        press("Enter");
    }
    void resize(int columns, int rows) {
        run(command_ + "resize-window -x " + std::to_string(columns) + " -y " + std::to_string(rows));
    }

    /// The terminal goes away, as when a person closes its window or a connection is lost.
    void close() { run(command_ + "kill-server"); }

    /// What stands on it now; with its colours, too.
    std::string screen() const { return run(command_ + "capture-pane -p"); }
    std::string colouredScreen() const { return run(command_ + "capture-pane -p -e"); }
    std::string scrollBack() const { return run(command_ + "capture-pane -p -S -"); }

    bool shows(const std::string& text) const {
        return eventually([&] { return screen().find(text) != std::string::npos; });
    }

    /// Whether the condition comes to hold when a key is pressed again and again. Each key gets its time: one
    /// on the heels of another is read together with it.
    template <class Condition>
    bool holdsOnceTyped(const std::string& key, Condition holds) {
        return eventually([&] {
            press(key);
            for (int looks = 0; looks < 50; ++looks) {
                if (holds()) {
                    return true;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            return false;
        });
    }
    bool showsOnceTyped(const std::string& key, const std::string& text) {
        return holdsOnceTyped(key, [&] { return screen().find(text) != std::string::npos; });
    }

    static constexpr const char* usualSettings = "icrnl opost isig icanon echo; 0 0 0 1";

    /// How it is set once a shell has it again: what it does with keys and output, whether the other screen,
    /// the mouse and the keypad are on, and the cursor. What is typed before a shell reads it is lost, and an
    /// answer to an earlier call may still be on the screen.
    std::string settingsInShell() {
        eventually([&] { return state("#{pane_current_command}") == "bash"; });
        const std::string answer = "shell-" + std::to_string(40 + ++calls_);
        std::string seen;
        eventually([&] {
            enter(
                "clear; stty -a | grep -owE -e \"-?(icrnl|opost|isig|icanon|echo)\" | tr \"\\n\" \" \"; "
                "echo shell-$((40 + " +
                std::to_string(calls_) + "))");
            for (int looks = 0; looks < 100 && seen.find(answer) == seen.npos; ++looks) {
                seen = screen();
            }
            return seen.find(answer) != seen.npos;
        });
        const auto end = seen.find(" " + answer);
        const auto begin = seen.rfind("icrnl", end);  // what was typed may have been echoed above
        return (begin < end ? seen.substr(begin, end - begin) : seen) + "; " +
               state("#{alternate_on} #{mouse_standard_flag} #{keypad_cursor_flag} #{cursor_flag}");
    }

    /// What tmux knows of it, as its formats name it: "alternate_on", "mouse_any_flag".
    std::string state(const std::string& names) const {
        std::string text = run(command_ + "display-message -p '" + names + "'");
        return text.substr(0, text.find('\n'));
    }

  private:
    static std::string run(const std::string& command) {
        std::string output;
        if (FILE* pipe = popen((command + " 2>&1").c_str(), "r")) {
            char bytes[4096];
            for (std::size_t count = 0; (count = fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
                output.append(bytes, count);
            }
            pclose(pipe);
        }
        return output;
    }

    const std::string command_;
    int calls_ = 0;  // of `settingsInShell`
};

}  // namespace quernlight::test

#include <algorithm>
#include <csignal>
#include <map>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/support/session_keyring.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

/// A piece of shell in the guide, and the heading that it stands under.
struct Block {
    std::string section;
    std::vector<std::string> lines;
};

std::vector<Block> blocksOf(const std::string& document) {
    std::vector<Block> blocks;
    std::string section;
    bool isInside = false;
    std::istringstream lines(document);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("## ")) {
            section = line.substr(3);
        } else if (line.starts_with("```")) {
            isInside = !isInside;
            if (isInside) {
                EXPECT_EQ(line, "```sh") << section;
                blocks.push_back({section, {}});
            }
        } else if (isInside) {
            blocks.back().lines.push_back(line);
        }
    }
    return blocks;
}

/// The guide's commands in a shell of a person who has a backend, a repository, a keyring, and nothing of
/// ours.
class FirstHourTest : public test::DispatchFixture {
  protected:
    FirstHourTest() {
        report("3f2a9c1d", "Crash on launch", "Open it. It crashes.");
        report("b05d83f7", "It does not work");  // so its agent asks
        startBackend();
        keyring.startBus();
        keyring.startService("a password");
        fs::create_directories(person());
        fs::copy_file(person().parent_path() / ".gitconfig", person() / ".gitconfig");
        environment["DBUS_SESSION_BUS_ADDRESS"] = keyring.busAddress();
        environment["HOME"] = person();
        environment["PATH"] =
            fs::path(QUERNLIGHT_DISPATCH_PATH).parent_path().string() + ":" + environment["PATH"];
        executable = "/bin/bash";
    }

    fs::path person() const { return repository.scratch("person"); }

    /// What a reader fills in, by the names that the guide gives it.
    std::string filledIn(const std::string& line) const {
        const std::map<std::string, std::string> values{
            {"BACKEND=https", "BACKEND=" + address()},
            {"REPO=~", "REPO=" + repository.directory().string()},
            {"BUNDLE=com", "BUNDLE=com.acme.shop APP=Shop"},
            {"BUG=", "BUG=3f2a"},
            {"ASKING=", "ASKING=b05d"},
        };
        for (const auto& [beginning, value] : values) {
            if (line.starts_with(beginning)) {
                return value;
            }
        }
        return line;
    }

    std::string scriptOf(const Block& block) {
        std::string script = "set -euo pipefail\n" + variables_;
        for (const std::string& line : block.lines) {
            const std::string wanted = filledIn(line);
            if (wanted != line) {
                variables_ += wanted + "\n";
            }
            if (notRunHere.contains(line)) {
                left_.insert(line);
            } else {
                script += wanted + "\n";
            }
        }
        return script;
    }

    /// Ends the `run` that was left running, as a person does.
    void pressControlC() {
        if (running_) {
            running_->signal(SIGINT);
            EXPECT_EQ(running_->exitCode(), 130) << running_->output() << running_->errorText();
            running_.reset();
        }
    }

    void follow(const Block& block) {
        if (block.section != section_) {
            pressControlC();
            section_ = block.section;
        }
        const std::string script = scriptOf(block);
        if (script.ends_with("\nquernlight-dispatch run\n")) {
            std::string inPlace = script;
            // It gets the signal, and looks more often than a reader needs it.
            inPlace.insert(inPlace.rfind("quernlight-dispatch"),
                           "quernlight-dispatch config set poll.bugs_seconds 0.5\nexec ");
            running_ = start({"-c", inPlace});
            EXPECT_TRUE(running_->says("b05d83f7")) << running_->errorText();  // the reader has seen it, too
            return;
        }
        startedBy = {"/bin/sh", "-c", "printf '%s\\n' " + std::string(token) + " | \"$@\"", "sh"};
        const auto outcome = dispatch({"-c", script});
        startedBy.clear();
        EXPECT_EQ(outcome.exitCode, 0)
            << section_ << "\n"
            << script << outcome.output << outcome.error << (running_ ? running_->output() : "");
        printed += outcome.output;
    }

    /// Why each is left out: it builds anew what the test has.
    const std::set<std::string> notRunHere{"make release && cmake --install build/release --prefix ~/.local"};
    std::string printed;
    test::SessionKeyring keyring;

  public:
    const std::set<std::string>& left() const { return left_; }

  private:
    std::string variables_;
    std::string section_;
    std::set<std::string> left_;
    std::unique_ptr<test::DispatchProcess> running_;
};

TEST_F(FirstHourTest, LeadsFromNothingToABugInReviewAnAnswerAndNothingAgain) {
    const auto blocks = blocksOf(test::readFile(PROJECT_ROOT "/docs/first-hour.md"));
    ASSERT_GT(blocks.size(), 10U);
    for (const Block& block : blocks) {
        follow(block);
        if (HasFailure()) {
            break;  // what follows builds on it
        }
    }
    EXPECT_EQ(left(), notRunHere);
    EXPECT_EQ(backendStatus("3f2a9c1d-0000-4000-8000-000000000000"), "in_review");
    EXPECT_EQ(backendStatus("b05d83f7-0000-4000-8000-000000000000"), "in_review");
    EXPECT_THAT(filesHolding(token, person()), IsEmpty());
    EXPECT_FALSE(fs::exists(person() / ".local/share/QuernlightDispatch"));
    EXPECT_TRUE(fs::exists(person() / "quernlight-backup.tar.gz"));
}

}  // namespace
}  // namespace quernlight

#include <iostream>
#include <iterator>
#include <memory>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <boost/json/object.hpp>

#include "host/commands/command_line.hpp"
#include "host/commands/command_output.hpp"
#include "host/commands/path_option.hpp"
#include "host/commands/service_call.hpp"
#include "host/process/core_dumps.hpp"
#include "host/process/hidden_line.hpp"
#include "host/process/token_file.hpp"
#include "host/process/user_error.hpp"
#include "host/settings/backend_address.hpp"
#include "host/settings/token_source.hpp"
#include "host/text/terminal_text.hpp"
#include "quernlight/platform/text.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

struct TokenOptions {
    ChosenHome home{};
    std::optional<std::string> backend{};
    bool json = false;
};

/// The backend that is meant, and where `run` would take its token from.
struct TokenPlace {
    Url backend{};
    TokenSource source{};
};

Task<TokenPlace> placeOf(TokenOptions given) {
    const auto backend = given.backend ? std::optional(parseBackendAddress(*given.backend)) : std::nullopt;
    const Settings settings = co_await settingsOf(given.home);
    co_return TokenPlace{.backend = backendAddress(backend, settings),
                         .source = tokenSource(std::nullopt, currentEnvironmentMap(), settings)};
}

/// What stands on standard input, to its end.
std::string pipedInput() {
    constexpr std::size_t longest = 64 * 1024;
    std::string input;
    for (std::istreambuf_iterator<char> next(std::cin), end; next != end && input.size() <= longest; ++next) {
        input += *next;
    }
    return input;
}

Task<std::string> givenToken(Url backend) {
    std::string input;
    if (isatty(STDIN_FILENO) != 0) {
        input = co_await readHiddenLine("Administrator token for " + backend.text() + " (is not shown): ");
    } else {
        input = pipedInput();
    }
    const std::string token(trimmed(input));
    if (const auto trouble = tokenTrouble(token)) {
        throw UserError("The token that was given " + *trouble + "; give the administrator token alone.");
    }
    co_return token;
}

/// What the token store says of a backend's token.
struct StoredToken {
    std::optional<bool> isThere{};  ///< absent: it cannot be asked
    std::string trouble{};
};

StoredToken askStore(const Url& backend) {
    try {
        return {.isThere = TokenStore(backend).token().has_value()};
    } catch (const UserError& error) {
        return {.trouble = error.what()};
    }
}

json::object shown(const TokenPlace& place, const StoredToken& stored) {
    return {
        {"backend", place.backend.text()},
        {"stored", stored.isThere ? json::value(*stored.isThere) : json::value(nullptr)},
        {"trouble", stored.trouble.empty() ? json::value(nullptr) : json::value(stored.trouble)},
        {"source", nameOf(place.source.kind)},
        {"file", place.source.file.empty() ? json::value(nullptr) : json::value(place.source.file.string())}};
}

Task<void> set(TokenOptions given) {
    const TokenPlace place = co_await placeOf(given);
    const TokenStore store(place.backend);
    store.token();  // before a person types one in vain
    const std::string token = co_await givenToken(place.backend);
    store.save(token);
    if (given.json) {
        CommandOutput output;
        co_return output.printJson(shown(place, {.isThere = true}));
    }
    std::cout << "The token for " << place.backend.text() << " is in the token store.\n";
    if (place.source.kind != TokenSource::Kind::store) {
        std::cout << "But run takes it from " << withoutControls(describe(place.source))
                  << ", which comes first.\n";
    }
    std::cout << std::flush;
}

std::string told(const TokenPlace& place, const StoredToken& stored) {
    const std::string inStore = !stored.isThere   ? stored.trouble
                                : *stored.isThere ? "A token for it is in the token store."
                                                  : "No token for it is in the token store.";
    const bool isNowhere = place.source.kind == TokenSource::Kind::store && stored.isThere == false;
    const std::string next = isNowhere ? "Store one with: quernlight-dispatch token set"
                                       : "run takes the token from " + describe(place.source) + ".";
    return "backend: " + place.backend.text() + "\n" + withoutControls(inStore) + "\n" +
           withoutControls(next) + "\n";
}

Task<void> status(TokenOptions given) {
    const TokenPlace place = co_await placeOf(given);
    const StoredToken stored = askStore(place.backend);
    CommandOutput output;
    if (given.json) {
        output.printJson(shown(place, stored));
    } else {
        output.print(told(place, stored));
    }
}

Task<void> remove(TokenOptions given) {
    const TokenPlace place = co_await placeOf(given);
    const TokenStore store(place.backend);
    const bool wasThere = store.token().has_value();
    store.remove();
    if (given.json) {
        json::object object = shown(place, {.isThere = false});
        object["deleted"] = wasThere;
        CommandOutput output;
        co_return output.printJson(object);
    }
    std::cout << (wasThere ? "The token for " + place.backend.text() + " is deleted from the token store."
                           : "No token for " + place.backend.text() + " is in the token store.")
              << std::endl;
}

using Command = Task<void> (*)(TokenOptions);

void add(CLI::App& token, const char* name, const char* help, ChosenCommand& chosen, Command command) {
    const auto options = std::make_shared<TokenOptions>();
    CLI::App* app = token.add_subcommand(name, help);
    app->add_option("--backend", options->backend, "Address of the bug backend (setting backend.url)");
    addHomeOption(*app, options->home);
    app->callback([options, &chosen, command] {
        chosen = [options, command] {
            switchOffCoreDumps();
            return statusOf(command(*options));
        };
    });
    app->add_flag("--json", options->json, "As JSON: an object");
}

}  // namespace

void addTokenCommand(CLI::App& program, ChosenCommand& chosen) {
    CLI::App* token = program.add_subcommand("token", "The administrator token in your token store");
    token->require_subcommand(1);
    add(*token, "set", "Store it, typed without being shown or from standard input", chosen, set);
    add(*token, "status", "Say whether one is stored, and where run takes it from", chosen, status);
    add(*token, "delete", "Delete it from the token store", chosen, remove);
}

}  // namespace quernlight::host

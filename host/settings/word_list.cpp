#include "host/settings/word_list.hpp"

#include <algorithm>
#include <utility>

namespace quernlight::host {
namespace {

constexpr bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

bool needsQuotes(const std::string& word) {
    return word.empty() || std::any_of(word.begin(), word.end(), [](char character) {
               return isBlank(character) || character == '"' || character == '\\';
           });
}

std::string quoted(const std::string& word) {
    std::string text = "\"";
    for (const char character : word) {
        if (character == '"' || character == '\\') {
            text += '\\';
        }
        text += character;
    }
    return text + '"';
}

}  // namespace

std::optional<std::vector<std::string>> splitWords(std::string_view line) {
    std::vector<std::string> words;
    std::optional<std::string> word;
    bool inQuotes = false;
    for (std::size_t index = 0; index < line.size(); ++index) {
        const char character = line[index];
        if (!inQuotes && isBlank(character)) {
            if (word) {
                words.push_back(*std::exchange(word, std::nullopt));
            }
            continue;
        }
        word = word.value_or(std::string());
        const bool escapes = inQuotes && character == '\\' && index + 1 < line.size();
        if (escapes) {
            *word += line[++index];
        } else if (character == '"') {
            inQuotes = !inQuotes;
        } else {
            *word += character;
        }
    }
    if (inQuotes) {
        return std::nullopt;
    }
    if (word) {
        words.push_back(*std::move(word));
    }
    return words;
}

std::string joinWords(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "" : " ") + (needsQuotes(word) ? quoted(word) : word);
    }
    return line;
}

}  // namespace quernlight::host

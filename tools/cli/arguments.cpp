#include "arguments.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "command_error.h"

namespace trevalo_cli {

Arguments::Arguments(const std::vector<std::string>& words, const OptionNames& names) {
    bool options_ended = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        // A negative number is an operand, left for the command to judge.
        const bool negative_number =
            word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1]));
        if (options_ended || word == "-" || word[0] != '-' || negative_number) {
            m_Operands.push_back(word);
            continue;
        }
        if (word == "--") {
            options_ended = true;
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        if (names.with_value.count(name) != 0) {
            if (equals != std::string::npos) {
                m_Values[name] = word.substr(equals + 1);
            } else if (i + 1 < words.size()) {
                m_Values[name] = words[++i];
            } else {
                throw UsageError(name + " needs a value");
            }
        } else if (names.flags.count(name) != 0 && equals == std::string::npos) {
            m_Flags.insert(name);
        } else {
            throw UsageError("unknown option '" + word + "'");
        }
    }
}

std::optional<std::string> Arguments::Value(const std::string& option) const {
    const auto found = m_Values.find(option);
    if (found == m_Values.end()) return std::nullopt;
    return found->second;
}

bool Arguments::Flag(const std::string& option) const {
    return m_Flags.count(option) != 0;
}

std::optional<long long> ParseInteger(const std::string& text, long long minimum,
                                      long long maximum) {
    if (text.empty() || text.find_first_of(" \t\n") != std::string::npos) return std::nullopt;
    const bool hexadecimal =
        text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, hexadecimal ? 16 : 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') return std::nullopt;
    if (value < minimum || value > maximum) return std::nullopt;
    return value;
}

}  // namespace trevalo_cli

// The words after a command's name: options ("--name VALUE", "--name=VALUE", "--flag") and
// operands. "-" alone is an operand (standard input); "--" ends the options.
#ifndef TREVALO_CLI_ARGUMENTS_H
#define TREVALO_CLI_ARGUMENTS_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace trevalo_cli {

struct OptionNames {
    std::set<std::string> with_value;  // e.g. "--data"
    std::set<std::string> flags;       // e.g. "--json"
};

class Arguments {
  public:
    // Throws a usage error for an unknown option or a missing value.
    Arguments(const std::vector<std::string>& words, const OptionNames& names);

    std::optional<std::string> Value(const std::string& option) const;
    bool Flag(const std::string& option) const;
    const std::vector<std::string>& Operands() const { return m_Operands; }

  private:
    std::map<std::string, std::string> m_Values;
    std::set<std::string> m_Flags;
    std::vector<std::string> m_Operands;
};

// Number parsing for operands and option values: decimal, or hexadecimal after "0x". Empty
// when `text` is not a whole number within [minimum, maximum].
std::optional<long long> ParseInteger(const std::string& text, long long minimum,
                                      long long maximum);

}  // namespace trevalo_cli

#endif

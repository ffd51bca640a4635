#include "CommandLine.h"

#include <cctype>

#include "UsageError.h"

namespace qorCli {

CommandLine::CommandLine(const std::vector<std::string>& arguments,
                         const std::set<std::string>& flags, const std::set<std::string>& valued) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& word = arguments[i];
        // "--name" and short "-x" options; "-1" and other words are positional.
        const bool option = (word.size() > 2 && word.compare(0, 2, "--") == 0) ||
                            (word.size() == 2 && word[0] == '-' &&
                             std::isalpha(static_cast<unsigned char>(word[1])) != 0);
        if (!option) {
            m_positional.push_back(word);
        } else if (flags.count(word) != 0) {
            m_options[word] = "";
        } else if (valued.count(word) != 0) {
            if (i + 1 == arguments.size()) {
                throw UsageError("option " + word + " needs a value");
            }
            m_options[word] = arguments[++i];
        } else {
            throw UsageError("unknown option " + word);
        }
    }
}

bool CommandLine::has(const std::string& option) const {
    return m_options.count(option) != 0;
}

std::string CommandLine::value(const std::string& option, const std::string& fallback) const {
    const auto found = m_options.find(option);
    return found == m_options.end() ? fallback : found->second;
}

}  // namespace qorCli

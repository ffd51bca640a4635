#pragma once

// The words of a command line: positional arguments and `--option [value]` pairs.

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qorCli {

/// Splits the arguments after the command words. Options listed in `flags` take no value; every
/// other option takes the next argument. Throws UsageError for an option that is not in
/// `flags` or `valued`, or that lacks its value.
class CommandLine {
  public:
    CommandLine(const std::vector<std::string>& arguments, const std::set<std::string>& flags,
                const std::set<std::string>& valued);

    const std::vector<std::string>& positional() const { return m_positional; }
    bool has(const std::string& option) const;
    /// The value given to `option`, or `fallback` when it was not given.
    std::string value(const std::string& option, const std::string& fallback) const;

  private:
    std::vector<std::string> m_positional;
    std::map<std::string, std::string> m_options;
};

}  // namespace qorCli

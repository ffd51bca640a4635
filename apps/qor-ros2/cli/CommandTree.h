#pragma once

// Every command and verb of qor-ros2, declared on one tree of CLI11 apps.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/Verb.h"

namespace qorCli {

/// The tool's command line: `qor-ros2 COMMAND VERB [arguments]`, with the layout, help and
/// errors of the ros2 command.
class CommandTree {
  public:
    CommandTree();
    CommandTree(const CommandTree&) = delete;
    CommandTree& operator=(const CommandTree&) = delete;

    /// Reads `arguments` (without the program name and the ROS arguments) and runs the verb they
    /// name. "-h"/"--help" prints the help of the command or verb it follows on stdout and
    /// returns 0; a command without a verb prints its help as well. Throws ArgumentError for a
    /// command line argparse would refuse, CommandFailure or UsageError for bad input found while
    /// running, StopRequested when Ctrl-C cut a wait short.
    int run(const std::vector<std::string>& arguments);

    /// The program's own app, whose help text is printed for an empty command line.
    const CLI::App& root() const { return m_root; }

  private:
    CLI::App m_root;
    std::vector<std::pair<const CLI::App*, std::unique_ptr<Verb>>> m_verbs;
};

}  // namespace qorCli

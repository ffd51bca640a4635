#include "cli/CompletionTable.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <vector>

#include "cli/ArgparseText.h"

namespace qorCli {
namespace {

const char* const kPlaceholder = "@QOR_ROS2_OPTION_TABLES@";

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

// The names of `option` as a user types them, short ones first: "-w --window".
std::vector<std::string> typedNames(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

bool isHelp(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (name == "-h" || name == "--help") {
            return true;
        }
    }
    return false;
}

// One bash associative array entry: ["topic echo"]="value".
std::string entry(const std::string& verb, const std::string& value) {
    return "  [\"" + verb + "\"]=\"" + value + "\"\n";
}

}  // namespace

std::string completionTables(const CLI::App& root) {
    std::string options =
        "# Every verb with the options it takes, as the program declares them.\n"
        "declare -gA _qor_ros2_options=(\n";
    std::string valued =
        "# The options of each verb that take a value: the word after one is that value.\n"
        "declare -gA _qor_ros2_valued_options=(\n";
    for (const CLI::App* command : subcommandsOf(root)) {
        for (const CLI::App* verb : subcommandsOf(*command)) {
            const std::string name = command->get_name() + " " + verb->get_name();
            std::string all;
            std::string withValue = " ";
            for (const CLI::Option* option : verb->get_options()) {
                const std::vector<std::string> names = typedNames(*option);
                if (option->get_positional() || names.empty() || isHelp(names)) {
                    continue;
                }
                for (const std::string& typed : names) {
                    all += (all.empty() ? "" : " ") + typed;
                    if (takesValue(*option)) {
                        withValue += typed + " ";
                    }
                }
            }
            options += entry(name, all);
            if (withValue.size() > 1) {
                valued += entry(name, withValue);
            }
        }
    }
    return options + ")\n\n" + valued + ")\n";
}

std::string completionScript(const std::string& script, const CLI::App& root) {
    const std::string line = std::string(kPlaceholder) + "\n";
    const std::size_t at = script.find(line);
    if (at == std::string::npos || (at > 0 && script[at - 1] != '\n')) {
        throw std::invalid_argument(std::string("the completion script has no line ") +
                                    kPlaceholder + " to put the option tables in");
    }
    return script.substr(0, at) + completionTables(root) + script.substr(at + line.size());
}

}  // namespace qorCli

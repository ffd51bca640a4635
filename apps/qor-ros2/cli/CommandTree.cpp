#include "cli/CommandTree.h"

#include <algorithm>
#include <cstdio>

#include "cli/ArgparseText.h"
#include "cli/ArgumentError.h"
#include "cli/CommandOptions.h"

namespace qorCli {
namespace {

struct CommandEntry {
    const char* name;
    const char* description;
};

struct VerbEntry {
    const char* command;
    const char* name;
    const char* description;
    VerbFactory make;
};

const CommandEntry kCommands[] = {
    {"action", "Various action related sub-commands"},
    {"bag", "Various rosbag related sub-commands"},
    {"bridge", "Serve the ROS 2 graph to other tools"},
    {"interface", "Show information about ROS interfaces"},
    {"node", "Various node related sub-commands"},
    {"param", "Various param related sub-commands"},
    {"security", "Various security related sub-commands"},
    {"service", "Various service related sub-commands"},
    {"topic", "Various topic related sub-commands"},
};

const VerbEntry kVerbs[] = {
    {"action", "info", "Print information about an action", &makeActionInfoVerb},
    {"action", "list", "Output a list of action names", &makeActionListVerb},
    {"action", "send_goal", "Send an action goal", &makeActionSendGoalVerb},
    {"bag", "info", "Print information about a bag to the screen", &makeBagInfoVerb},
    {"bag", "play", "Play back ROS data from a bag", &makeBagPlayVerb},
    {"bag", "record", "Record ROS data to a bag", &makeBagRecordVerb},
    {"bridge", "web", "Serve every topic to Foxglove over its WebSocket protocol",
     &makeBridgeWebVerb},
    {"interface", "list", "List all interface types available", &makeInterfaceListVerb},
    {"interface", "package", "Output a list of available interface types within one package",
     &makeInterfacePackageVerb},
    {"interface", "packages", "Output a list of packages that provide interfaces",
     &makeInterfacePackagesVerb},
    {"interface", "proto", "Output an interface prototype", &makeInterfaceProtoVerb},
    {"interface", "show", "Output the interface definition", &makeInterfaceShowVerb},
    {"node", "info", "Output information about a node", &makeNodeInfoVerb},
    {"node", "list", "Output a list of available nodes", &makeNodeListVerb},
    {"param", "delete", "Delete parameter", &makeParamDeleteVerb},
    {"param", "describe", "Show descriptive information about declared parameters",
     &makeParamDescribeVerb},
    {"param", "dump", "Show all of the parameters of a node in a YAML file format",
     &makeParamDumpVerb},
    {"param", "get", "Get parameter", &makeParamGetVerb},
    {"param", "list", "Output a list of available parameters", &makeParamListVerb},
    {"param", "load", "Load parameter file for a node", &makeParamLoadVerb},
    {"param", "set", "Set parameter", &makeParamSetVerb},
    {"security", "create_enclave", "Create enclave", &makeSecurityCreateEnclaveVerb},
    {"security", "create_keystore", "Create keystore", &makeSecurityCreateKeystoreVerb},
    {"service", "call", "Call a service", &makeServiceCallVerb},
    {"service", "find", "Output a list of available services of a given type",
     &makeServiceFindVerb},
    {"service", "list", "Output a list of available services", &makeServiceListVerb},
    {"service", "type", "Output a service's type", &makeServiceTypeVerb},
    {"topic", "bw", "Display bandwidth used by topic", &makeTopicBwVerb},
    {"topic", "delay", "Display delay of topic from timestamp in header", &makeTopicDelayVerb},
    {"topic", "echo", "Output messages from a topic", &makeTopicEchoVerb},
    {"topic", "find", "Output a list of available topics of a given type", &makeTopicFindVerb},
    {"topic", "hz", "Print the average publishing rate to screen", &makeTopicHzVerb},
    {"topic", "info", "Print information about a topic", &makeTopicInfoVerb},
    {"topic", "list", "Output a list of available topics", &makeTopicListVerb},
    {"topic", "pub", "Publish a message to a topic", &makeTopicPubVerb},
    {"topic", "type", "Print a topic's type", &makeTopicTypeVerb},
};

bool hasVerbs(const CLI::App& app) {
    return !app.get_subcommands([](const CLI::App*) { return true; }).empty();
}

CLI::App* findVerb(CLI::App& app, const std::string& name) {
    for (CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (sub->get_name() == name) {
            return sub;
        }
    }
    return nullptr;
}

// The app the words select: the root, a command, or a verb.
const CLI::App& selected(const CLI::App& root) {
    const CLI::App* app = &root;
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
    }
    return *app;
}

// Where help was asked for: the deepest command or verb named before "-h"/"--help", or null
// when it was not asked for. argparse acts on the flag as soon as it meets it.
const CLI::App* helpRequested(CLI::App& root, const std::vector<std::string>& arguments) {
    CLI::App* app = &root;
    bool descending = true;
    for (const std::string& word : arguments) {
        if (word == "--") {
            return nullptr;
        }
        if (word == "-h" || word == "--help") {
            return app;
        }
        if (word.empty() || word[0] == '-') {
            continue;
        }
        CLI::App* verb = descending ? findVerb(*app, word) : nullptr;
        if (verb != nullptr) {
            app = verb;
        } else {
            descending = false;
        }
    }
    return nullptr;
}

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

std::string verbChoices(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* sub : command.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back("'" + sub->get_name() + "'");
    }
    std::sort(names.begin(), names.end());
    return joined(names, ", ");
}

// Words nobody took, reported by the deepest app that holds some, as argparse does: a word in
// place of a verb is an invalid choice, anything else is unrecognized.
void refuseLeftovers(const CLI::App& root) {
    std::vector<const CLI::App*> chain = {&root};
    while (!chain.back()->get_subcommands().empty()) {
        chain.push_back(chain.back()->get_subcommands().front());
    }
    for (auto app = chain.rbegin(); app != chain.rend(); ++app) {
        const std::vector<std::string> left = (*app)->remaining();
        if (left.empty()) {
            continue;
        }
        if (hasVerbs(**app) && *app == chain.back() && left.front()[0] != '-') {
            throw ArgumentError(**app, "argument Call `" + commandPath(**app) +
                                           " <command> -h` for more detailed usage.: invalid "
                                           "choice: '" +
                                           left.front() + "' (choose from " + verbChoices(**app) +
                                           ")");
        }
        throw ArgumentError(**app, "unrecognized arguments: " + joined(left, " "));
    }
}

}  // namespace

CommandTree::CommandTree() : m_root("", "qor-ros2") {
    m_root.description(
        "qor-ros2 is a command-line tool for ROS 2 graphs, like ros2, without a ROS 2 "
        "installation.");
    addHelpFlag(m_root);
    m_root.require_subcommand(0, 1);
    m_root.allow_extras();
    for (const CommandEntry& entry : kCommands) {
        CLI::App* command = m_root.add_subcommand(entry.name, entry.description);
        addHelpFlag(*command);
        command->require_subcommand(0, 1);
        command->allow_extras();
        if (std::string(entry.name) == "topic") {
            // The verbs that list topics read this flag of the command, as ros2's do.
            command->add_flag("--include-hidden-topics", "Consider hidden topics as well");
        } else if (std::string(entry.name) == "service") {
            command->add_flag("--include-hidden-services", "Consider hidden services as well");
        }
    }
    for (const VerbEntry& entry : kVerbs) {
        CLI::App* verb =
            findVerb(m_root, entry.command)->add_subcommand(entry.name, entry.description);
        addHelpFlag(*verb);
        verb->allow_extras();
        m_verbs.emplace_back(verb, entry.make(*verb));
    }
}

int CommandTree::run(const std::vector<std::string>& arguments) {
    if (const CLI::App* help = helpRequested(m_root, arguments)) {
        const std::string text = helpText(*help);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        m_root.parse(reversed);
    } catch (const CLI::RequiredError&) {
        const CLI::App& app = selected(m_root);
        std::vector<std::string> missing;
        for (const CLI::Option* option : app.get_options()) {
            if (option->get_positional() && option->get_required() && option->count() == 0) {
                missing.push_back(option->get_name());
            }
        }
        throw ArgumentError(app, "the following arguments are required: " + joined(missing, ", "));
    } catch (const CLI::ArgumentMismatch& error) {
        // CLI11 names the option before the first colon.
        const CLI::App& app = selected(m_root);
        const std::string what = error.what();
        throw ArgumentError(app, "argument " + optionLabel(app, what.substr(0, what.find(':'))) +
                                     ": expected one argument");
    } catch (const CLI::ParseError& error) {
        throw ArgumentError(selected(m_root), error.what());
    }
    refuseLeftovers(m_root);
    const CLI::App& app = selected(m_root);
    for (const auto& [verbApp, verb] : m_verbs) {
        if (verbApp == &app) {
            return verb->run();
        }
    }
    // A command without its verb shows what it offers, as ros2 does.
    const std::string text = helpText(app);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

}  // namespace qorCli

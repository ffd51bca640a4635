#include "cli/ArgparseText.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace qorCli {
namespace {

// argparse lays text out to the terminal's width less 2, and starts help texts at most 24
// columns in.
constexpr std::size_t kMaxHelpPosition = 24;

std::size_t textWidth() {
    if (const char* columns = std::getenv("COLUMNS")) {
        const long value = std::strtol(columns, nullptr, 10);
        if (value > 2 && value < 10000) {
            return static_cast<std::size_t>(value) - 2;
        }
    }
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 2) {
        return static_cast<std::size_t>(size.ws_col) - 2;
    }
    return 78;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    std::string word;
    while (stream >> word) {
        result.push_back(word);
    }
    return result;
}

// The first option string as declared: the short one when there is one.
std::string firstName(const CLI::Option& option) {
    if (!option.get_snames().empty()) {
        return "-" + option.get_snames().front();
    }
    return "--" + option.get_lnames().front();
}

// An option of one word or more shows its metavar as argparse shows nargs='+'.
std::string metavar(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return option.get_items_expected_max() > 1 ? name + " [" + name + " ...]" : name;
}

std::string optionUsage(const CLI::Option& option) {
    if (option.get_positional()) {
        const std::string name = option.get_name();
        if (option.get_items_expected_max() > 1) {
            // nargs='*' as Python 3.9 and later show it.
            return option.get_items_expected_min() == 0 ? "[" + name + " ...]"
                                                        : name + " [" + name + " ...]";
        }
        return option.get_required() ? name : "[" + name + "]";
    }
    return "[" + firstName(option) + (takesValue(option) ? " " + metavar(option) : "") + "]";
}

std::string invocation(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name();
    }
    std::string text;
    const std::string value = takesValue(option) ? " " + metavar(option) : "";
    for (const std::string& name : option.get_snames()) {
        text += (text.empty() ? "-" : ", -") + name + value;
    }
    for (const std::string& name : option.get_lnames()) {
        text += (text.empty() ? "--" : ", --") + name + value;
    }
    return text;
}

std::string callForDetails(const CLI::App& command) {
    return "Call `" + commandPath(command) + " <command> -h` for more detailed usage.";
}

// argparse's usage wrapping: parts fill lines of the text width; when the program name is short,
// the optionals follow it and the positionals start a line of their own, both indented under it.
std::string wrapUsage(const std::string& prog, const std::vector<std::string>& optionals,
                      const std::vector<std::string>& positionals) {
    const std::string prefix = "usage: ";
    const std::size_t width = textWidth();
    std::vector<std::string> all = {prog};
    all.insert(all.end(), optionals.begin(), optionals.end());
    all.insert(all.end(), positionals.begin(), positionals.end());
    std::string flat;
    for (const std::string& part : all) {
        flat += (flat.empty() ? "" : " ") + part;
    }
    if (prefix.size() + flat.size() <= width) {
        return prefix + flat + "\n";
    }
    const auto lines = [&](const std::vector<std::string>& parts, const std::string& indent,
                           bool first) {
        std::vector<std::string> result;
        std::vector<std::string> line;
        std::size_t length = (first ? prefix.size() : indent.size()) - 1;
        const auto flush = [&] {
            std::string text = indent;
            for (std::size_t i = 0; i < line.size(); ++i) {
                text += (i == 0 ? "" : " ") + line[i];
            }
            result.push_back(text);
            line.clear();
        };
        for (const std::string& part : parts) {
            if (length + 1 + part.size() > width && !line.empty()) {
                flush();
                length = indent.size() - 1;
            }
            line.push_back(part);
            length += part.size() + 1;
        }
        if (!line.empty()) {
            flush();
        }
        if (first && !result.empty()) {
            result[0] = result[0].substr(indent.size());
        }
        return result;
    };
    std::vector<std::string> text;
    if (static_cast<double>(prefix.size() + prog.size()) <= 0.75 * static_cast<double>(width)) {
        const std::string indent(prefix.size() + prog.size() + 1, ' ');
        std::vector<std::string> head = {prog};
        if (!optionals.empty()) {
            head.insert(head.end(), optionals.begin(), optionals.end());
            text = lines(head, indent, true);
            const std::vector<std::string> rest = lines(positionals, indent, false);
            text.insert(text.end(), rest.begin(), rest.end());
        } else {
            head.insert(head.end(), positionals.begin(), positionals.end());
            text = lines(head, indent, true);
        }
    } else {
        // A long program name gets a line of its own; the arguments follow on one line when
        // they fit, else the optionals and the positionals each start a line.
        const std::string indent(prefix.size(), ' ');
        std::vector<std::string> parts = optionals;
        parts.insert(parts.end(), positionals.begin(), positionals.end());
        std::vector<std::string> rest = lines(parts, indent, false);
        if (rest.size() > 1) {
            rest = lines(optionals, indent, false);
            const std::vector<std::string> second = lines(positionals, indent, false);
            rest.insert(rest.end(), second.begin(), second.end());
        }
        text = {prog};
        text.insert(text.end(), rest.begin(), rest.end());
    }
    std::string result = prefix;
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += (i == 0 ? "" : "\n") + text[i];
    }
    return result + "\n";
}

// Wraps `text` into lines of at most `width` characters, each after `indent`.
std::string fill(const std::string& text, std::size_t width, const std::string& indent) {
    std::string result;
    std::string line;
    for (const std::string& word : words(text)) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            result += indent + line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) {
        result += indent + line + "\n";
    }
    return result;
}

std::vector<const CLI::App*> verbsOf(const CLI::App& command) {
    std::vector<const CLI::App*> verbs;
    for (const CLI::App* verb : command.get_subcommands([](const CLI::App*) { return true; })) {
        verbs.push_back(verb);
    }
    std::sort(verbs.begin(), verbs.end(),
              [](const CLI::App* a, const CLI::App* b) { return a->get_name() < b->get_name(); });
    return verbs;
}

}  // namespace

bool takesValue(const CLI::Option& option) {
    // Every option that takes a value declares its metavar; flags have none.
    return !option.get_type_name().empty();
}

std::string commandPath(const CLI::App& command) {
    std::string path = command.get_name();
    for (const CLI::App* parent = command.get_parent(); parent != nullptr;
         parent = parent->get_parent()) {
        path = parent->get_name() + " " + path;
    }
    return path;
}

std::string usageText(const CLI::App& command) {
    std::vector<std::string> optionals;
    std::vector<std::string> positionals;
    for (const CLI::Option* option : command.get_options()) {
        (option->get_positional() ? positionals : optionals).push_back(optionUsage(*option));
    }
    if (!verbsOf(command).empty()) {
        const std::vector<std::string> call = words(callForDetails(command) + " ...");
        positionals.insert(positionals.end(), call.begin(), call.end());
    }
    return wrapUsage(commandPath(command), optionals, positionals);
}

std::string helpText(const CLI::App& command) {
    const std::size_t width = textWidth();
    std::string text = usageText(command) + "\n";
    if (!command.get_description().empty()) {
        text += fill(command.get_description(), width, "") + "\n";
    }
    std::vector<const CLI::Option*> positionals;
    std::vector<const CLI::Option*> optionals;
    std::size_t longest = 0;
    for (const CLI::Option* option : command.get_options()) {
        (option->get_positional() ? positionals : optionals).push_back(option);
        longest = std::max(longest, invocation(*option).size());
    }
    const std::size_t helpPosition = std::min(longest + 4, kMaxHelpPosition);
    const std::size_t helpWidth = std::max<std::size_t>(width - helpPosition, 11);
    const auto section = [&](const std::string& title,
                             const std::vector<const CLI::Option*>& options) {
        text += title + ":\n";
        for (const CLI::Option* option : options) {
            const std::string head = "  " + invocation(*option);
            const std::string help = option->get_description();
            if (help.empty()) {
                text += head + "\n";
                continue;
            }
            const std::string wrapped = fill(help, helpWidth, std::string(helpPosition, ' '));
            if (head.size() + 2 <= helpPosition) {
                text += head + std::string(helpPosition - head.size(), ' ') +
                        wrapped.substr(helpPosition);
            } else {
                text += head + "\n" + wrapped;
            }
        }
        text += "\n";
    };
    if (!positionals.empty()) {
        section("positional arguments", positionals);
    }
    section("options", optionals);
    const std::vector<const CLI::App*> verbs = verbsOf(command);
    if (!verbs.empty()) {
        std::size_t nameWidth = 0;
        for (const CLI::App* verb : verbs) {
            nameWidth = std::max(nameWidth, verb->get_name().size());
        }
        text += "Commands:\n";
        for (const CLI::App* verb : verbs) {
            std::string name = verb->get_name();
            name.resize(nameWidth, ' ');
            text += "  " + name + "  " + verb->get_description() + "\n";
        }
        text += "\n  " + callForDetails(command) + "\n";
    }
    while (text.size() > 1 && text[text.size() - 1] == '\n' && text[text.size() - 2] == '\n') {
        text.pop_back();
    }
    return text;
}

std::string errorText(const CLI::App& command, const std::string& message) {
    return usageText(command) + commandPath(command) + ": error: " + message + "\n";
}

std::string optionLabel(const CLI::App& command, const std::string& anyName) {
    const CLI::Option* option = command.get_option_no_throw(anyName);
    if (option == nullptr) {
        return anyName;
    }
    std::string label;
    for (const std::string& name : option->get_snames()) {
        label += (label.empty() ? "-" : "/-") + name;
    }
    for (const std::string& name : option->get_lnames()) {
        label += (label.empty() ? "--" : "/--") + name;
    }
    return label.empty() ? option->get_name() : label;
}

}  // namespace qorCli

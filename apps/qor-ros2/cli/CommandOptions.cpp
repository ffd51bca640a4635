#include "cli/CommandOptions.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "cli/ArgparseText.h"
#include "cli/ArgumentError.h"

namespace qorCli {
namespace {

// The first long name of "-r,--rate", which CLI11 finds the option by.
std::string lookupName(const std::string& names) {
    const std::size_t comma = names.rfind(',');
    return comma == std::string::npos ? names : names.substr(comma + 1);
}

[[noreturn]] void refuse(const CLI::App& command, const std::string& names, const std::string& kind,
                         const std::string& value) {
    throw ArgumentError(command, "argument " + optionLabel(command, lookupName(names)) +
                                     ": invalid " + kind + " value: '" + value + "'");
}

// A whole number written in decimal, with an optional sign, as Python's int() reads it.
bool parseWhole(const std::string& text, std::int64_t& value) {
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (end != text.c_str() + text.size() || errno != 0) {
        return false;
    }
    value = parsed;
    return true;
}

// A number as Python's float() reads it: decimal, with an optional sign, exponent, surrounding
// blanks and underscores between digits, or "inf", "infinity" and "nan" in any case.
bool parsePythonFloat(const std::string& text, double& value) {
    const std::size_t first = text.find_first_not_of(" \t\n\r\f\v");
    if (first == std::string::npos) {
        return false;
    }
    std::string word = text.substr(first, text.find_last_not_of(" \t\n\r\f\v") - first + 1);
    std::string lower;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const char c = word[i];
        if (c == '_') {
            const bool between = i > 0 && i + 1 < word.size() &&
                                 std::isdigit(static_cast<unsigned char>(word[i - 1])) != 0 &&
                                 std::isdigit(static_cast<unsigned char>(word[i + 1])) != 0;
            if (!between) {
                return false;
            }
            continue;
        }
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    const std::size_t sign = lower[0] == '-' || lower[0] == '+' ? 1 : 0;
    const std::string magnitude = lower.substr(sign);
    if (magnitude == "inf" || magnitude == "infinity" || magnitude == "nan") {
        value = magnitude == "nan" ? std::nan("") : HUGE_VAL;
        value = lower[0] == '-' ? -value : value;
        return true;
    }
    // strtod would also read hexadecimal, "infinite" spellings and "nan(...)".
    if (magnitude.empty() || magnitude.find_first_not_of("0123456789.e+-") != std::string::npos) {
        return false;
    }
    char* end = nullptr;
    value = std::strtod(lower.c_str(), &end);
    return end == lower.c_str() + lower.size();
}

}  // namespace

void addHelpFlag(CLI::App& command) {
    command.set_help_flag();
    command.add_flag("-h,--help", "show this help message and exit");
}

void addPositional(CLI::App& command, const std::string& name, std::string& target, bool required,
                   const std::string& help) {
    CLI::Option* option = command.add_option(name, target, help)->type_name("");
    if (required) {
        option->required();
    }
}

void addPositionals(CLI::App& command, const std::string& name, std::vector<std::string>& target,
                    const std::string& help) {
    command.add_option(name, target, help)->type_name("")->required();
}

void addOptionalPositionals(CLI::App& command, const std::string& name,
                            std::vector<std::string>& target, const std::string& help) {
    command.add_option(name, target, help)
        ->type_name("")
        ->expected(0, CLI::detail::expected_max_vector_size);
}

void addFlag(CLI::App& command, const std::string& names, bool& target, const std::string& help) {
    command.add_flag(names, target, help);
}

void addText(CLI::App& command, const std::string& names, std::string& target,
             const std::string& metavar, const std::string& help) {
    command.add_option(names, target, help)->type_name(metavar);
}

void addTexts(CLI::App& command, const std::string& names, std::vector<std::string>& target,
              const std::string& metavar, const std::string& help) {
    command.add_option(names, target, help)
        ->type_name(metavar)
        ->expected(1, CLI::detail::expected_max_vector_size);
}

void addChoice(CLI::App& command, const std::string& names, std::string& target,
               const std::vector<std::string>& choices, const std::string& help) {
    std::string shown;
    for (const std::string& choice : choices) {
        shown += (shown.empty() ? "" : ",") + choice;
    }
    command
        .add_option_function<std::string>(
            names,
            [&command, &target, names, choices](const std::string& value) {
                for (const std::string& choice : choices) {
                    if (choice == value) {
                        target = value;
                        return;
                    }
                }
                std::string listed;
                for (const std::string& choice : choices) {
                    listed += (listed.empty() ? "'" : ", '") + choice + "'";
                }
                throw ArgumentError(command, "argument " + optionLabel(command, lookupName(names)) +
                                                 ": invalid choice: '" + value + "' (choose from " +
                                                 listed + ")");
            },
            help)
        ->type_name("{" + shown + "}");
}

void addPositiveFloat(CLI::App& command, const std::string& names, double& target,
                      const std::string& metavar, const std::string& help) {
    command
        .add_option_function<std::string>(
            names,
            [&command, &target, names](const std::string& value) {
                char* end = nullptr;
                const double parsed = std::strtod(value.c_str(), &end);
                if (value.empty() || end != value.c_str() + value.size() || !(parsed > 0.0) ||
                    !std::isfinite(parsed)) {
                    refuse(command, names, "positive_float", value);
                }
                target = parsed;
            },
            help)
        ->type_name(metavar);
}

void addFloat(CLI::App& command, const std::string& names, std::optional<double>& target,
              const std::string& metavar, const std::string& help) {
    command
        .add_option_function<std::string>(
            names,
            [&command, &target, names](const std::string& value) {
                double parsed = 0.0;
                if (!parsePythonFloat(value, parsed)) {
                    refuse(command, names, "float", value);
                }
                target = parsed;
            },
            help)
        ->type_name(metavar);
}

void addNonNegativeInt(CLI::App& command, const std::string& names,
                       std::optional<std::uint64_t>& target, const std::string& metavar,
                       const std::string& help) {
    command
        .add_option_function<std::string>(
            names,
            [&command, &target, names](const std::string& value) {
                std::int64_t parsed = 0;
                if (!parseWhole(value, parsed) || parsed < 0) {
                    refuse(command, names, "nonnegative_int", value);
                }
                target = static_cast<std::uint64_t>(parsed);
            },
            help)
        ->type_name(metavar);
}

void addInt(CLI::App& command, const std::string& names, std::optional<std::int64_t>& target,
            const std::string& metavar, const std::string& help) {
    command
        .add_option_function<std::string>(
            names,
            [&command, &target, names](const std::string& value) {
                std::int64_t parsed = 0;
                if (!parseWhole(value, parsed)) {
                    refuse(command, names, "int", value);
                }
                target = parsed;
            },
            help)
        ->type_name(metavar);
}

bool given(const CLI::App& command, const std::string& name) {
    const CLI::Option* option = command.get_option_no_throw(name);
    return option != nullptr && option->count() > 0;
}

}  // namespace qorCli

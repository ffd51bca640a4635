// Usage lines and help texts laid out as argparse lays them out, at any terminal width.

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <string>

#include "cli/ArgparseText.h"
#include "cli/CommandOptions.h"

namespace {

// Sets COLUMNS while it lives, as a terminal of that width would.
class Columns {
  public:
    explicit Columns(const char* width) { ::setenv("COLUMNS", width, 1); }
    ~Columns() { ::unsetenv("COLUMNS"); }
    Columns(const Columns&) = delete;
    Columns& operator=(const Columns&) = delete;
};

struct Tool {
    CLI::App root{"", "tool"};
    CLI::App* verb = nullptr;
    std::string name;
    std::string mode;
    bool quiet = false;
    double rate = 1.0;

    explicit Tool(const std::string& verbName) {
        qorCli::addHelpFlag(root);
        verb = root.add_subcommand(verbName, "Does the thing");
        qorCli::addHelpFlag(*verb);
        qorCli::addPositional(*verb, "name", name, true, "what to do it to");
        qorCli::addChoice(*verb, "-m,--mode", mode, {"fast", "slow"}, "how to do it");
        qorCli::addFlag(*verb, "-q,--quiet", quiet, "say nothing");
        qorCli::addPositiveFloat(*verb, "--rate", rate, "N", "how often, in Hz (default: 1)");
    }
};

TEST(ArgparseText, ShortUsageStaysOnOneLine) {
    const Columns columns("80");
    const Tool tool("do");
    EXPECT_EQ(qorCli::usageText(*tool.verb),
              "usage: tool do [-h] [-m {fast,slow}] [-q] [--rate N] name\n");
}

TEST(ArgparseText, LongUsageWrapsOptionalsThenPositionalsUnderTheProgram) {
    const Columns columns("40");
    const Tool tool("do");
    EXPECT_EQ(qorCli::usageText(*tool.verb),
              "usage: tool do [-h] [-m {fast,slow}]\n"
              "               [-q] [--rate N]\n"
              "               name\n");
}

TEST(ArgparseText, ALongProgramNameGetsALineOfItsOwn) {
    const Columns columns("40");
    const Tool tool("do-it-with-a-very-long-verb-name");
    EXPECT_EQ(qorCli::usageText(*tool.verb),
              "usage: tool do-it-with-a-very-long-verb-name\n"
              "       [-h] [-m {fast,slow}] [-q]\n"
              "       [--rate N]\n"
              "       name\n");
}

TEST(ArgparseText, HelpListsPositionalsAndOptionsWithAlignedTexts) {
    const Columns columns("80");
    const Tool tool("do");
    EXPECT_EQ(qorCli::helpText(*tool.verb),
              "usage: tool do [-h] [-m {fast,slow}] [-q] [--rate N] name\n"
              "\n"
              "Does the thing\n"
              "\n"
              "positional arguments:\n"
              "  name                  what to do it to\n"
              "\n"
              "options:\n"
              "  -h, --help            show this help message and exit\n"
              "  -m {fast,slow}, --mode {fast,slow}\n"
              "                        how to do it\n"
              "  -q, --quiet           say nothing\n"
              "  --rate N              how often, in Hz (default: 1)\n");
    EXPECT_EQ(qorCli::errorText(*tool.verb, "unrecognized arguments: -x"),
              "usage: tool do [-h] [-m {fast,slow}] [-q] [--rate N] name\n"
              "tool do: error: unrecognized arguments: -x\n");
    EXPECT_EQ(qorCli::optionLabel(*tool.verb, "--mode"), "-m/--mode");
}

}  // namespace

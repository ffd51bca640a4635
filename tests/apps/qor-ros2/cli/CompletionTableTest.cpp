// The completion script's option tables as the command tree declares them.

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string>

#include "cli/CommandOptions.h"
#include "cli/CompletionTable.h"

namespace {

struct Tool {
    CLI::App root{"", "tool"};
    std::string name;
    std::string mode;
    std::string save;
    bool quiet = false;
    bool all = false;
    double rate = 1.0;

    Tool() {
        qorCli::addHelpFlag(root);
        CLI::App* thing = root.add_subcommand("thing", "Things");
        qorCli::addHelpFlag(*thing);
        CLI::App* make = thing->add_subcommand("make", "Makes a thing");
        qorCli::addHelpFlag(*make);
        qorCli::addPositional(*make, "name", name, true, "what to make");
        qorCli::addChoice(*make, "-m,--mode", mode, {"fast", "slow"}, "how to make it");
        qorCli::addFlag(*make, "-q,--quiet", quiet, "say nothing");
        qorCli::addPositiveFloat(*make, "--rate", rate, "N", "how often");
        CLI::App* list = thing->add_subcommand("list", "Lists the things");
        qorCli::addHelpFlag(*list);
        qorCli::addFlag(*list, "-a,--all", all, "all of them");
        CLI::App* other = root.add_subcommand("other", "Others");
        qorCli::addHelpFlag(*other);
        CLI::App* keep = other->add_subcommand("keep", "Keeps");
        qorCli::addHelpFlag(*keep);
        qorCli::addText(*keep, "--save", save, "FILE", "where");
    }
};

TEST(CompletionTable, ListsEveryVerbWithItsOptionsAndThoseThatTakeAValue) {
    const Tool tool;
    EXPECT_EQ(qorCli::completionTables(tool.root),
              "# Every verb with the options it takes, as the program declares them.\n"
              "declare -gA _qor_ros2_options=(\n"
              "  [\"thing make\"]=\"-m --mode -q --quiet --rate\"\n"
              "  [\"thing list\"]=\"-a --all\"\n"
              "  [\"other keep\"]=\"--save\"\n"
              ")\n"
              "\n"
              "# The options of each verb that take a value: the word after one is that value.\n"
              "declare -gA _qor_ros2_valued_options=(\n"
              "  [\"thing make\"]=\" -m --mode --rate \"\n"
              "  [\"other keep\"]=\" --save \"\n"
              ")\n");
}

TEST(CompletionTable, ScriptGetsTheTablesInPlaceOfItsPlaceholderLine) {
    const Tool tool;
    const std::string script = qorCli::completionScript(
        "# head\n@QOR_ROS2_OPTION_TABLES@\ncomplete -F f tool\n", tool.root);
    EXPECT_EQ(script, "# head\n" + qorCli::completionTables(tool.root) + "complete -F f tool\n");
}

TEST(CompletionTable, ScriptWithoutThePlaceholderLineIsRefused) {
    const Tool tool;
    for (const std::string script :
         {"# head\ncomplete -F f tool\n", "# head @QOR_ROS2_OPTION_TABLES@\n"}) {
        try {
            qorCli::completionScript(script, tool.root);
            ADD_FAILURE() << "accepted: " << script;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(),
                         "the completion script has no line @QOR_ROS2_OPTION_TABLES@ to put the "
                         "option tables in");
        }
    }
}

}  // namespace

#include "bag/BagArguments.h"

#include <CLI/CLI.hpp>
#include <filesystem>

#include "cli/ArgumentError.h"
#include "cli/CommandOptions.h"

namespace qorCli {

void addBagPathArguments(CLI::App& app, BagPathArguments& target) {
    addPositional(app, "bag_path", target.path, true, "Bag to open");
    // MCAP is the only storage this tool reads; ros2 bag offers its installed plugins.
    addChoice(app, "-s,--storage", target.storage, {"mcap"},
              "Storage implementation of bag. By default attempts to detect automatically - use "
              "this argument to override.");
}

void requireBagPath(const CLI::App& app, const BagPathArguments& arguments) {
    std::error_code error;
    if (!std::filesystem::exists(arguments.path, error)) {
        throw ArgumentError(app,
                            "argument bag_path: Bag path '" + arguments.path + "' does not exist!");
    }
}

}  // namespace qorCli

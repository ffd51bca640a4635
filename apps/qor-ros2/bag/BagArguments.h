#pragma once

// The arguments every bag-reading verb takes, as ros2 bag declares them: the bag's path, which
// must exist, and the storage plugin to read it with.

#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

struct BagPathArguments {
    std::string path;
    std::string storage;
};

/// Declares "bag_path" and "-s/--storage" on `app`.
void addBagPathArguments(CLI::App& app, BagPathArguments& target);

/// Refuses, as argparse does for ros2 bag, a bag path that does not exist.
void requireBagPath(const CLI::App& app, const BagPathArguments& arguments);

}  // namespace qorCli

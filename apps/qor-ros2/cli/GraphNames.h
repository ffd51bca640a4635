#pragma once

// The names of a domain's topics or services with their types, as the verbs that list, type and
// find them (`topic list`, `service find`...) wait for them and print them.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/TopicDiscovery.h"

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// Names with their types: topics or services, sorted by name.
using NamesAndTypes = std::vector<qorROS2::DiscoveredTopic>;

/// Whether ROS 2 hides `name` (a topic or service) from listings: one of its tokens starts with
/// '_'.
bool isHiddenName(const std::string& name);

/// The names and types, in one list that changes whenever they do.
std::vector<std::string> namesSummary(const NamesAndTypes& names);

/// What `list` gives once discovery has settled (or after `spinTime` seconds, when given);
/// hidden names only with `includeHidden`.
NamesAndTypes settledNames(const std::function<NamesAndTypes()>& list, bool includeHidden,
                           const std::optional<double>& spinTime);

/// The lines of `list`: one name a line, with " [type1, type2]" after it when `showTypes`.
std::string namesText(const NamesAndTypes& names, bool showTypes);

/// What `type` does: prints the types of `name`, one a line, and returns 0; returns 1, printing
/// nothing, when no such name is there.
int printTypesOf(const NamesAndTypes& names, const std::string& name);

/// The lines of `find`: the names that have the type `type` (the whole name must match), or
/// their count alone when `countOnly`.
std::string namesOfTypeText(const NamesAndTypes& names, const std::string& type, bool countOnly);

/// Whether the flag `flag` was given to `verb` or to its command.
bool givenToVerbOrCommand(const CLI::App& verb, const std::string& flag);

}  // namespace qorCli

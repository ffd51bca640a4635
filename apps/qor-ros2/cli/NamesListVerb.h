#pragma once

// `topic list` and `service list`: one verb that lists names with their types, worded for what
// it lists, as ros2's two verbs are the same but for their words.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cli/GraphNames.h"
#include "cli/Verb.h"

namespace qorCli {

/// What a list verb lists.
struct ListedNames {
    std::string noun;  ///< "topic" or "service": its flags and help texts name it
    /// The names of a domain once discovery has settled (or after the spin time, when given),
    /// hidden ones only when asked for.
    std::function<NamesAndTypes(std::int8_t domain, bool includeHidden,
                                const std::optional<double>& spinTime)>
        settled;
};

/// Declares `-t,--show-types`, `-c,--count-<noun>s`, `--include-hidden-<noun>s` and the node
/// options on `app` and returns the verb that prints the names, one a line.
std::unique_ptr<Verb> makeNamesListVerb(CLI::App& app, ListedNames listed);

}  // namespace qorCli

#include "cli/GraphNames.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "cli/CommandOptions.h"
#include "cli/GraphWait.h"

namespace qorCli {

bool isHiddenName(const std::string& name) {
    std::size_t start = 0;
    while (start < name.size()) {
        const std::size_t slash = name.find('/', start);
        const std::size_t end = slash == std::string::npos ? name.size() : slash;
        if (end > start && name[start] == '_') {
            return true;
        }
        start = end + 1;
    }
    return false;
}

std::vector<std::string> namesSummary(const NamesAndTypes& names) {
    std::vector<std::string> summary;
    for (const qorROS2::DiscoveredTopic& entry : names) {
        summary.push_back(entry.name);
        summary.insert(summary.end(), entry.types.begin(), entry.types.end());
    }
    return summary;
}

NamesAndTypes settledNames(const std::function<NamesAndTypes()>& list, bool includeHidden,
                           const std::optional<double>& spinTime) {
    waitUntilSettled([&] { return namesSummary(list()); }, spinTime);
    NamesAndTypes shown;
    for (qorROS2::DiscoveredTopic& entry : list()) {
        if (includeHidden || !isHiddenName(entry.name)) {
            shown.push_back(std::move(entry));
        }
    }
    return shown;
}

std::string namesText(const NamesAndTypes& names, bool showTypes) {
    std::string text;
    for (const qorROS2::DiscoveredTopic& entry : names) {
        text += entry.name;
        if (showTypes) {
            text += " [";
            for (std::size_t i = 0; i < entry.types.size(); ++i) {
                text += (i == 0 ? "" : ", ") + entry.types[i];
            }
            text += "]";
        }
        text += "\n";
    }
    return text;
}

int printTypesOf(const NamesAndTypes& names, const std::string& name) {
    // The name must match exactly, as ros2 compares it.
    for (const qorROS2::DiscoveredTopic& entry : names) {
        if (entry.name == name) {
            std::string text;
            for (const std::string& type : entry.types) {
                text += type + "\n";
            }
            std::fwrite(text.data(), 1, text.size(), stdout);
            return 0;
        }
    }
    return 1;
}

std::string namesOfTypeText(const NamesAndTypes& names, const std::string& type, bool countOnly) {
    std::string text;
    std::size_t count = 0;
    for (const qorROS2::DiscoveredTopic& entry : names) {
        if (std::find(entry.types.begin(), entry.types.end(), type) != entry.types.end()) {
            text += entry.name + "\n";
            ++count;
        }
    }
    return countOnly ? std::to_string(count) + "\n" : text;
}

bool givenToVerbOrCommand(const CLI::App& verb, const std::string& flag) {
    return given(verb, flag) || (verb.get_parent() != nullptr && given(*verb.get_parent(), flag));
}

}  // namespace qorCli

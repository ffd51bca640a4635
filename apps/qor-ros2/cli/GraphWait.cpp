#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>
#include <tuple>

#include "cli/GraphWait.h"
#include "cli/StopSignal.h"

namespace qorCli {
namespace {

// How long a listing looks: at least the shortest time, then until nothing new has come for the
// quiet period, at most the longest time. While nothing at all has been found it keeps looking:
// on a loaded machine the first answers can take more than a second.
constexpr std::chrono::milliseconds kShortest{1000};
constexpr std::chrono::milliseconds kQuietPeriod{500};
constexpr std::chrono::milliseconds kLongest{5000};

// A summary that changes whenever a node or an endpoint comes, goes or changes its node.
std::vector<std::string> graphSummary(const qorROS2::TopicDiscovery& discovery) {
    std::vector<std::string> summary;
    for (const qorROS2::DiscoveredNode& node : discovery.nodes()) {
        summary.push_back(node.fullName());
    }
    for (const qorROS2::DiscoveredEndpoint& endpoint : discovery.endpoints()) {
        summary.push_back(endpoint.topic + " " + endpoint.nodeNamespace + " " + endpoint.nodeName +
                          (endpoint.publisher ? " p" : " s"));
    }
    return summary;
}

}  // namespace

void waitUntilSettled(const std::function<std::vector<std::string>()>& summary,
                      const std::optional<double>& spinTime, const std::function<bool()>& found) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    if (spinTime) {
        // At most thirty years, which the clock's count can hold.
        const auto until = start + std::chrono::duration_cast<Clock::duration>(
                                       std::chrono::duration<double>(std::min(*spinTime, 1e9)));
        while (Clock::now() < until) {
            throwIfStopRequested();
            if (found && found()) {
                return;
            }
            std::this_thread::sleep_for(
                std::min<Clock::duration>(until - Clock::now(), kGraphPoll));
        }
        return;
    }
    auto lastChange = start;
    std::vector<std::string> seen = summary();
    for (;;) {
        throwIfStopRequested();
        if (!found) {
            std::this_thread::sleep_for(kGraphPoll);
        } else if (found()) {
            return;
        }
        std::vector<std::string> current = summary();
        const auto now = Clock::now();
        if (current != seen) {
            seen = std::move(current);
            lastChange = now;
        }
        const bool settled =
            !seen.empty() && now - start >= kShortest && now - lastChange >= kQuietPeriod;
        if (settled || now - start >= kLongest) {
            return;
        }
    }
}

void waitForSettledGraph(const qorROS2::TopicDiscovery& discovery,
                         const std::optional<double>& spinTime) {
    waitUntilSettled([&] { return graphSummary(discovery); }, spinTime);
}

}  // namespace qorCli

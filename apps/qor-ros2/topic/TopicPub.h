#pragma once

// `topic pub`: sends a message, built from YAML values, once, N times or at a rate, as
// `ros2 topic pub` does.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cli/StopSignal.h"
#include "cli/UsageError.h"
#include "qorROS2/builtinInterfaces.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"
#include "topic/TopicOptions.h"

namespace qorCli {

/// The stamps of a record that `topic pub` sets to the current time as it sends each message:
/// each builtin_interfaces/Time field given as `now`, and the stamp of each std_msgs/Header
/// given as `auto` (whose frame_id stays empty). They point into the record filled.
using StampFields = std::vector<qorROS2::builtinInterfaces::Time*>;

/// Whether the YAML text `values` is a mapping. Throws UsageError when it is not YAML.
bool valuesAreMapping(const std::string& values);

/// Fills `record`, at its defaults, as the YAML text `values` describes it; with `stamps`,
/// `header: auto` and `stamp: now` are taken as stamps to set later, into `stamps`, which point
/// into `record`. Throws UsageError, naming the field, when the text is not YAML, names a field
/// the record does not have, or gives a value of the wrong type or (for a fixed array) length.
void fillFromYaml(const std::string& values, const qorROS2::typesupport::RecordView& record,
                  StampFields* stamps);

template <typename Record>
void fillRecordFromYaml(const std::string& values, Record& record, StampFields* stamps) {
    fillFromYaml(values, qorROS2::typesupport::viewOfRecord(record), stamps);
}

/// The record that the YAML text `values` describes, as fillRecordFromYaml reads it.
template <typename Record>
Record recordFromYaml(const std::string& values) {
    Record record{};
    fillRecordFromYaml(values, record, nullptr);
    return record;
}

/// How often the publisher checks for matched subscriptions, and how often it says that it is
/// still waiting for them.
inline constexpr std::chrono::milliseconds kMatchPoll{100};
inline constexpr int kPollsBetweenWaitingLines = 10;
/// A match is seen by the two ends at slightly different moments: a volatile subscription that
/// does not know the publisher yet would drop the first message for good, so the publisher waits
/// this long after the subscriptions it waited for have matched.
inline constexpr std::chrono::milliseconds kMatchSettle{200};

/// `seconds` as a clock duration; an absurdly long one (a rate of 1e-300 Hz) lasts some thirty
/// years instead of overflowing the clock's count of nanoseconds.
inline std::chrono::steady_clock::duration clockDuration(double seconds) {
    constexpr double kLongest = 1e9;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(std::min(seconds, kLongest)));
}

/// How long ros2's node spins before it publishes, which is how long a simulation clock has to
/// send its first message.
inline constexpr double kDefaultSpinTime = 0.5;

/// Waits, polling every kMatchPoll, until `publisher` has matched `wanted` subscriptions, saying
/// so once a second. With `maxWaitSeconds`, gives up as ros2 does: after that many polls' worth
/// of waiting, with std::runtime_error in ros2's words. Returns false on Ctrl-C.
template <typename Publisher>
bool waitForSubscriptions(const Publisher& publisher, std::uint64_t wanted,
                          const std::optional<double>& maxWaitSeconds) {
    // ros2 adds up its sleeps, so a limit of 1 s ends after 11 of them, not 10.
    double waited = 0.0;
    for (int polls = 0; publisher.matchedSubscriptions() < wanted; ++polls) {
        if (stopRequested()) {
            return false;
        }
        if (polls % kPollsBetweenWaitingLines == 0) {
            std::printf("Waiting for at least %llu matching subscription(s)...\n",
                        static_cast<unsigned long long>(wanted));
            std::fflush(stdout);
        }
        if (maxWaitSeconds && *maxWaitSeconds <= waited) {
            // "subcribers" is ros2's spelling.
            throw std::runtime_error("Timed out waiting for subscribers: Expected " +
                                     std::to_string(wanted) + " subcribers but only got " +
                                     std::to_string(publisher.matchedSubscriptions()) +
                                     " subscribers");
        }
        std::this_thread::sleep_for(kMatchPoll);
        waited += std::chrono::duration<double>(kMatchPoll).count();
    }
    return true;
}

/// Sends samples of `type`, filled from options.values, on options.topic, as `ros2 topic pub`
/// does: waits for the subscriptions and for a simulation clock, sends once, N times or at a
/// rate, sets the stamps given as `now` or `auto` at each send. Throws UsageError, before any
/// endpoint exists, when the values cannot fill a sample of the type.
int publishTopic(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options);

}  // namespace qorCli

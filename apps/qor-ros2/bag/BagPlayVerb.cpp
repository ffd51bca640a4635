// `qor-ros2 bag play BAG`: plays a bag back on the ROS 2 graph as `ros2 bag play` of ROS 2 Humble
// does, with its options, their defaults and their checks.

#include <CLI/CLI.hpp>
#include <cmath>
#include <optional>

#include "bag/BagArguments.h"
#include "bag/BagPlayer.h"
#include "cli/ArgparseText.h"
#include "cli/ArgumentError.h"
#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "qorROS2/bag/BagQos.h"

namespace qorCli {
namespace {

// rosbag2's default /clock rate when --clock is given without a value.
constexpr double kDefaultClockHz = 40.0;

class BagPlayVerb : public Verb {
  public:
    explicit BagPlayVerb(CLI::App& app) : m_app(app) {
        addBagPathArguments(app, m_bag);
        addInt(app, "--read-ahead-queue-size", m_readAhead, "READ_AHEAD_QUEUE_SIZE",
               "size of message queue rosbag tries to hold in memory to help deterministic "
               "playback. Larger size will result in larger memory needs but might prevent "
               "delay of message playback.");
        addFloat(app, "-r,--rate", m_rate, "RATE",
                 "rate at which to play back messages. Valid range > 0.0.");
        addTexts(app, "--topics", m_options.topics, "TOPICS",
                 "topics to replay, separated by space. If none specified, all topics will be "
                 "replayed.");
        addText(app, "--qos-profile-overrides-path", m_overridesPath, "QOS_PROFILE_OVERRIDES_PATH",
                "Path to a yaml file defining overrides of the QoS profile for specific topics.");
        addFlag(app, "-l,--loop", m_options.loop,
                "enables loop playback when playing a bagfile: it starts back at the beginning "
                "on reaching the end and plays indefinitely.");
        addTexts(app, "--remap,-m", m_remaps, "REMAP",
                 "list of topics to be remapped: in the form \"old_topic1:=new_topic1 "
                 "old_topic2:=new_topic2 etc.\" ");
        app.add_option("--clock", m_clock,
                       "Publish to /clock at a specific frequency in Hz, to act as a ROS Time "
                       "Source. Value must be positive. Defaults to not publishing.")
            ->expected(0, 1)
            ->type_name("[CLOCK]");
        app.add_option("-d,--delay", m_delay,
                       "Sleep duration before play (each loop), in seconds. Negative durations "
                       "invalid.")
            ->type_name("DELAY");
        addFlag(app, "--disable-keyboard-controls", m_disableKeyboard,
                "disables keyboard controls for playback");
        addFlag(app, "-p,--start-paused", m_options.startPaused,
                "Start the playback player in a paused state.");
        addFloat(app, "--start-offset", m_startOffset, "START_OFFSET",
                 "Start the playback player this many seconds into the bag file.");
    }

    int run() override {
        requireBagPath(m_app, m_bag);
        if (m_rate) {
            if (!(*m_rate > 0.0)) {
                refuse("--rate", valueOf("--rate") + " is not in the valid range (> 0.0)");
            }
            m_options.rate = *m_rate;
        }
        if (m_startOffset) {
            if (*m_startOffset < 0.0) {
                refuse("--start-offset",
                       "Value " + valueOf("--start-offset") + " is less than zero.");
            }
            m_options.startOffsetSeconds = *m_startOffset;
        }
        if (given(m_app, "--clock")) {
            m_options.clockHz =
                m_clock.empty() ? kDefaultClockHz : positiveFloat("--clock", m_clock);
        }
        if (given(m_app, "--delay")) {
            m_options.delaySeconds = positiveFloat("--delay", m_delay);
        }
        if (m_readAhead) {
            // rosbag2 keeps what it is given; a queue cannot hold less than one message.
            m_options.readAheadQueueSize =
                static_cast<std::size_t>(std::max<std::int64_t>(1, *m_readAhead));
        }
        if (!m_overridesPath.empty()) {
            m_options.overrides = qorROS2::bag::readQosOverrides(m_overridesPath);
        }
        m_options.remaps = remapRules(m_remaps);
        m_options.keyboardControls = !m_disableKeyboard;
        playBag(m_bag.path, m_options, domainFromEnvironment());
        return 0;
    }

  private:
    std::string valueOf(const std::string& name) const { return m_app[name]->as<std::string>(); }

    [[noreturn]] void refuse(const std::string& name, const std::string& what) const {
        throw ArgumentError(m_app, "argument " + optionLabel(m_app, name) + ": " + what);
    }

    // play.py's own positive_float: argparse names its type when it refuses the value.
    double positiveFloat(const std::string& name, const std::string& text) const {
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        if (text.empty() || end != text.c_str() + text.size() || !(value > 0.0) ||
            !std::isfinite(value)) {
            refuse(name, "invalid positive_float value: '" + text + "'");
        }
        return value;
    }

    const CLI::App& m_app;
    BagPathArguments m_bag;
    PlayOptions m_options;
    std::optional<std::int64_t> m_readAhead;
    std::optional<double> m_rate;
    std::optional<double> m_startOffset;
    std::string m_overridesPath;
    std::vector<std::string> m_remaps;
    std::string m_clock;
    std::string m_delay;
    bool m_disableKeyboard = false;
};

}  // namespace

std::unique_ptr<Verb> makeBagPlayVerb(CLI::App& app) {
    return std::make_unique<BagPlayVerb>(app);
}

}  // namespace qorCli

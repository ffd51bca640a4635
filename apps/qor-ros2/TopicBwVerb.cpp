// `qor-ros2 topic bw`: prints the bandwidth a topic uses once a second, as `ros2 topic bw` does.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <thread>

#include "ArgumentError.h"
#include "BandwidthMeter.h"
#include "CommandOptions.h"
#include "StopSignal.h"
#include "ToolDomain.h"
#include "TopicTaps.h"
#include "Verb.h"

namespace qorCli {
namespace {

double monotonicSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

class TopicBwVerb : public Verb {
  public:
    explicit TopicBwVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "topic", m_topic, true,
                      "Topic name to monitor for bandwidth utilization");
        addNonNegativeInt(app, "-w,--window", m_window, "WINDOW",
                          "maximum window size, in # of messages, for calculating rate "
                          "(default: 100)");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
    }

    int run() override {
        std::size_t window = BandwidthMeter::kDefaultWindow;
        if (m_window.has_value()) {
            if (*m_window == 0) {
                throw ArgumentError(m_app, "argument -w/--window: invalid positive_int value: '0'");
            }
            window = static_cast<std::size_t>(*m_window);
        }
        TopicTaps taps({m_topic}, "", m_qos, domainFromEnvironment(), "bw");
        print(subscribedLine(m_topic));
        BandwidthMeter meter(window);
        TappedSample sample;
        auto nextReport = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (!stopRequested()) {
            bool any = false;
            while (taps.tap(0).take(sample)) {
                any = true;
                meter.add(sample.serializedBytes, monotonicSeconds());
            }
            if (std::chrono::steady_clock::now() >= nextReport) {
                nextReport += std::chrono::seconds(1);
                if (const auto text = meter.report(monotonicSeconds())) {
                    print(*text);
                }
            }
            if (!any) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
        return 0;
    }

  private:
    const CLI::App& m_app;
    std::string m_topic;
    std::optional<std::uint64_t> m_window;
    QosFlags m_qos;
};

}  // namespace

std::unique_ptr<Verb> makeTopicBwVerb(CLI::App& app) {
    return std::make_unique<TopicBwVerb>(app);
}

}  // namespace qorCli

#include "topic/measure/BandwidthMeter.h"

#include <algorithm>

#include "text/PythonText.h"
#include "topic/measure/WindowStatistics.h"

namespace qorCli {

namespace {

// One unit for every figure of a report, chosen by the rate.
struct Unit {
    double divisor;
    int decimals;
    const char* name;
};

Unit unitFor(double bytesPerSecond) {
    if (bytesPerSecond < 1000.0) {
        return {1.0, 0, "B"};
    }
    if (bytesPerSecond < 1000000.0) {
        return {1000.0, 2, "KB"};
    }
    return {1000000.0, 2, "MB"};
}

std::string inUnit(double bytes, const Unit& unit) {
    // ros2 divides megabytes twice by 1000; the same two roundings keep the last digit equal.
    const double scaled =
        unit.divisor == 1000000.0 ? bytes / 1000.0 / 1000.0 : bytes / unit.divisor;
    return pythonFixed(scaled, unit.decimals) + " " + unit.name;
}

}  // namespace

BandwidthMeter::BandwidthMeter(std::size_t window) : m_window(std::max<std::size_t>(window, 1)) {}

void BandwidthMeter::add(std::size_t bytes, double seconds) {
    if (!m_times.empty() && seconds < m_times.back()) {
        m_times.clear();
        m_sizes.clear();
    }
    m_times.push_back(seconds);
    m_sizes.push_back(bytes);
    if (m_times.size() > m_window) {
        m_times.pop_front();
        m_sizes.pop_front();
    }
}

std::optional<std::string> BandwidthMeter::report(double nowSeconds) const {
    if (m_times.size() < 2 || nowSeconds <= m_times.front()) {
        return std::nullopt;
    }
    const WindowStatistics sizes = windowStatistics(m_sizes);
    const double bytesPerSecond = sizes.sum / (nowSeconds - m_times.front());
    const Unit unit = unitFor(bytesPerSecond);
    return inUnit(bytesPerSecond, unit) + "/s from " + std::to_string(sizes.count) +
           " messages\n\tMessage size mean: " + inUnit(sizes.mean, unit) +
           " min: " + inUnit(sizes.min, unit) + " max: " + inUnit(sizes.max, unit) + "\n";
}

std::string subscribedLine(const std::string& topic) {
    return "Subscribed to [" + topic + "]\n";
}

}  // namespace qorCli

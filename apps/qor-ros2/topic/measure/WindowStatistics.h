#pragma once

// The statistics the topic meters print over their window of samples, computed in the order and
// with the exactness of ROS 2's Python tools: integer sums exact, the mean from the sum, the
// standard deviation of the population summed value by value.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <deque>
#include <type_traits>

namespace qorCli {

/// Summary of a non-empty window of samples.
struct WindowStatistics {
    double sum = 0.0;                ///< the total, rounded once from the exact integer sum
    double mean = 0.0;               ///< sum / count
    double min = 0.0;                ///< the smallest sample
    double max = 0.0;                ///< the largest sample
    double standardDeviation = 0.0;  ///< of the population: sqrt(sum((x - mean)^2) / count)
    std::size_t count = 0;           ///< the number of samples
};

/// The statistics of `window`, which must not be empty.
template <typename Value>
WindowStatistics windowStatistics(const std::deque<Value>& window) {
    WindowStatistics out;
    out.count = window.size();
    const auto count = static_cast<double>(window.size());
    if constexpr (std::is_integral_v<Value>) {
        // Python's integers do not overflow: a window of nanosecond stamps can exceed 64 bits.
        __extension__ using Wide = __int128;
        Wide total = 0;
        for (Value value : window) {
            total += static_cast<Wide>(value);
        }
        out.sum = static_cast<double>(total);
        out.mean = static_cast<double>(static_cast<long double>(total) /
                                       static_cast<long double>(window.size()));
    } else {
        for (Value value : window) {
            out.sum += static_cast<double>(value);
        }
        out.mean = out.sum / count;
    }
    const auto [low, high] = std::minmax_element(window.begin(), window.end());
    out.min = static_cast<double>(*low);
    out.max = static_cast<double>(*high);
    double squares = 0.0;
    for (Value value : window) {
        const double difference = static_cast<double>(value) - out.mean;
        squares += difference * difference;
    }
    out.standardDeviation = std::sqrt(squares / count);
    return out;
}

}  // namespace qorCli

#pragma once

// Order statistics of measured samples.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace qorROS2::bench {

/// The nearest-rank `fraction` percentile (0.5 = median, 0.999 = p99.9) of `values`; 0 when empty.
inline double percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    const auto rank =
        static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(values.size())));
    return values[std::min(values.size(), std::max<std::size_t>(rank, 1)) - 1];
}

/// The median of `values`.
inline double median(const std::vector<double>& values) {
    return percentile(values, 0.5);
}

}  // namespace qorROS2::bench

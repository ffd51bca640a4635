#pragma once

#include <cstdint>

namespace qorSensor {

// The size of an image in pixels, width first. The values are signed 64-bit integers; a sensor
// never reports a negative size.
struct Resolution {
    std::int64_t width;   // columns
    std::int64_t height;  // rows
};

}  // namespace qorSensor

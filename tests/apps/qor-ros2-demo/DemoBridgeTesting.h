#pragma once

// The demo's bridge run in a test's process: the options of a small run stepped by hand, and the
// QOS that rviz2's displays subscribe with.

#include <cstdint>

#include "DemoOptions.h"
#include "qorROS2/QOS.h"

namespace qorDemoTest {

/// The bundled scene on `domain`, unpaced, with a camera of `width` × `height` pixels and a lidar
/// of 4 × 64 beams, both at their default rates.
inline qorDemo::DemoOptions smallDemo(std::int8_t domain, std::int64_t width, std::int64_t height) {
    qorDemo::DemoOptions chosen;
    chosen.scenePath = QOR_DEMO_SCENE;
    chosen.domainId = domain;
    chosen.asFastAsPossible = true;
    chosen.cameraWidth = width;
    chosen.cameraHeight = height;
    chosen.lidarRows = 4;
    chosen.lidarColumns = 64;
    return chosen;
}

/// The reliable QOS rviz2's displays subscribe with.
inline qorROS2::QOS displayQos() {
    return qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST, 5};
}

}  // namespace qorDemoTest

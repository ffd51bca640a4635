#pragma once

namespace qorSensor {

// The beams of a lidar: rows × columns beams spread evenly over the fields of view, angles in
// radians, about the x axis of the sensor's frame (x forward, y left, z up). Row 0 is the top
// row, column 0 the leftmost; the first and last row (and column) lie on the edges of the field,
// except that a horizontal field of a full turn or more spaces its columns 2π / columns apart
// without repeating the first one.
struct LidarPattern {
    unsigned int rows = 16;                            // beams one above the other
    unsigned int columns = 1024;                       // beams side by side
    double verticalFieldOfView = 0.5235987755982988;   // 30°
    double horizontalFieldOfView = 6.283185307179586;  // a full turn
    double minRange = 0.0;                             // nearer hits are no return, metres
    double maxRange = 100.0;                           // farther hits are no return, metres
};

}  // namespace qorSensor

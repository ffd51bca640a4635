// Steps a simulated clock at 1 kHz and shows the time stamps and joint state records that the
// bridge would publish for it, then gives the records' storage back.

#include <cstdio>
#include <string>

#include "qorROS2/FreeContainerMemory.h"
#include "qorROS2/TimeConversion.h"

int main() {
    constexpr double kTimeStep = 0.001;
    qorROS2::sensorMsgs::JointState state{};
    state.name = {"shoulder", "elbow", "wrist"};
    state.position.resize(state.name.size());
    state.velocity.resize(state.name.size());

    std::printf("%-10s %-22s %-22s\n", "time [s]", "clock (sec.nanosec)", "camera stamp");
    for (int step = 0; step <= 5; ++step) {
        const double time = step * kTimeStep + 0.0009999999996;
        const qorROS2::builtinInterfaces::Time clock = qorROS2::toRosTime(time);
        const qorROS2::builtinInterfaces::Time stamp = qorROS2::toSensorStamp(time);
        std::printf("%-10.7f %11d.%-10u %11d.%-10u\n", time, clock.sec, clock.nanosec, stamp.sec,
                    stamp.nanosec);
        state.header.stamp = clock;
        for (std::size_t joint = 0; joint < state.name.size(); ++joint) {
            state.position[joint] = 0.1 * static_cast<double>(joint) * time;
            state.velocity[joint] = 0.1 * static_cast<double>(joint);
        }
    }

    std::printf("joint state holds %zu names before release", state.name.size());
    qorROS2::freeContainerMemory(state);
    std::printf(", %zu names and %zu reserved positions after\n", state.name.size(),
                state.position.capacity());
    return 0;
}

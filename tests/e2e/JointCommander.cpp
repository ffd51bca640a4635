// A stand-in for a ROS 2 node that drives joints, run by the end-to-end test as a process of its
// own: it commands a position joint, then a velocity joint, then sends one effort, each time
// waiting until the published joint states show that the command took effect.
//
//   qorJointCommander <domain> <command topic> <state topic> <position joint> <position>
//                     <velocity joint> <velocity> <effort joint> <effort> <seconds>
//
// Exits 0 when all three took effect within the seconds given, 1 otherwise, 2 on bad arguments.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/sensorMsgs.h"

namespace {

using qorROS2::sensorMsgs::JointState;
using Clock = std::chrono::steady_clock;

// A position or speed counts as reached this close to its target.
constexpr double kTolerance = 1e-9;
// Until a command is seen to act it is sent again at this period: before the interface's
// subscriber has matched this publisher, a volatile command is lost.
constexpr std::chrono::milliseconds kResendPeriod{50};

class Commander {
  public:
    Commander(std::int8_t domain, const std::string& commandTopic, const std::string& stateTopic,
              Clock::time_point deadline)
        : m_commands(commandTopic, qorROS2::QOS{}, domain),
          m_states(stateTopic, qorROS2::createSensorDataQOS(), domain),
          m_deadline(deadline) {}

    // Sends `command` (again every kResendPeriod when `resend`) until a state satisfies `done`.
    bool commandUntil(const JointState& command, bool resend,
                      const std::function<bool(const JointState&)>& done) {
        Clock::time_point lastSent{};
        bool sent = false;
        while (Clock::now() < m_deadline) {
            const bool due = !sent || (resend && Clock::now() - lastSent >= kResendPeriod);
            if (due && m_commands.matchedSubscriptions() > 0) {
                m_commands.sendMessage(command);
                lastSent = Clock::now();
                sent = true;
            }
            while (m_states.receiveMessage(m_state)) {
                if (sent && done(m_state)) {
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    // The published value of `joint` in `values` (positions or velocities), NaN when unlisted.
    static double valueOf(const JointState& state, const std::string& joint,
                          const std::vector<double>& values) {
        for (std::size_t i = 0; i < state.name.size() && i < values.size(); ++i) {
            if (state.name[i] == joint) {
                return values[i];
            }
        }
        return std::nan("");
    }

  private:
    qorROS2::Publisher<JointState> m_commands;
    qorROS2::Subscriber<JointState> m_states;
    Clock::time_point m_deadline;
    JointState m_state{};
};

JointState command(const std::string& joint, double position, double velocity, double effort) {
    JointState message{};
    message.name = {joint};
    if (!std::isnan(position)) {
        message.position = {position};
    }
    if (!std::isnan(velocity)) {
        message.velocity = {velocity};
    }
    if (!std::isnan(effort)) {
        message.effort = {effort};
    }
    return message;
}

int run(int argc, char** argv) {
    if (argc != 11) {
        std::fprintf(stderr,
                     "usage: %s <domain> <command topic> <state topic> <position joint> "
                     "<position> <velocity joint> <velocity> <effort joint> <effort> "
                     "<seconds>\n",
                     argv[0]);
        return 2;
    }
    const auto domain = static_cast<std::int8_t>(std::stoi(argv[1]));
    const std::string positionJoint = argv[4];
    const double position = std::stod(argv[5]);
    const std::string velocityJoint = argv[6];
    const double velocity = std::stod(argv[7]);
    const std::string effortJoint = argv[8];
    const double effort = std::stod(argv[9]);
    const auto deadline = Clock::now() + std::chrono::seconds(std::stoi(argv[10]));
    const double none = std::nan("");

    Commander commander(domain, argv[2], argv[3], deadline);
    if (!commander.commandUntil(
            command(positionJoint, position, none, none), true, [&](const JointState& state) {
                return std::fabs(Commander::valueOf(state, positionJoint, state.position) -
                                 position) < kTolerance;
            })) {
        std::fprintf(stderr, "the position of %s never reached %g\n", positionJoint.c_str(),
                     position);
        return 1;
    }
    if (!commander.commandUntil(
            command(velocityJoint, none, velocity, none), true, [&](const JointState& state) {
                return std::fabs(Commander::valueOf(state, velocityJoint, state.velocity) -
                                 velocity) < kTolerance;
            })) {
        std::fprintf(stderr, "the speed of %s never reached %g\n", velocityJoint.c_str(), velocity);
        return 1;
    }
    // Sent once: an effort acts for the one step that takes it, and the test counts the steps.
    // The interface has taken this publisher's commands already, so it is matched both ways.
    if (!commander.commandUntil(
            command(effortJoint, none, none, effort), false, [&](const JointState& state) {
                const double speed = Commander::valueOf(state, effortJoint, state.velocity);
                return !std::isnan(speed) && speed != 0.0;
            })) {
        std::fprintf(stderr, "the effort on %s never acted\n", effortJoint.c_str());
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}

// One's own simulation bridged to ROS 2: a pendulum on one hinge publishes /clock and
// /joint_states and takes velocity commands on /joint_commands, one second at 500 steps/s.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/RosDomain.h"
#include "qorSDK/Simulation.h"

namespace {

constexpr const char* kPendulum = R"(
<mujoco model='pendulum'>
  <option timestep='0.002' integrator='Euler'/>
  <worldbody>
    <body name='bob' pos='0 0 1'>
      <joint name='swing' type='hinge' axis='0 1 0' damping='0.01'/>
      <geom type='capsule' fromto='0 0 0 0 0 -0.5' size='0.02' mass='1'/>
    </body>
  </worldbody>
</mujoco>)";

}  // namespace

int main() {
    const std::int8_t domain = qorROS2::rosDomainIdFromEnvironment();

    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(kPendulum);
    qor::ref_ptr<qor::Constraint1DOF> swing = simulation->createConstraint("swing");
    simulation->add(swing.get());

    qor::ref_ptr<qorROS2::ROS2ClockPublisher> clock = new qorROS2::ROS2ClockPublisher(domain);
    qor::ref_ptr<qorROS2::ROS2ControlInterface> control =
        new qorROS2::ROS2ControlInterface("joint_commands", "joint_states", false, domain);
    control->addJoint(swing.get(), qorROS2::ROS2ControlInterface::VELOCITY);
    simulation->add(clock.get());
    simulation->add(control.get());

    // What a ROS 2 node would send on /joint_commands: swing at 0.5 rad/s.
    qorROS2::sensorMsgs::JointState command{};
    command.name = {"swing"};
    command.velocity = {0.5};
    control->setCommandOnJoints(command);

    constexpr int kSteps = 500;
    for (int step = 0; step < kSteps; ++step) {
        simulation->stepForward();  // every step publishes /clock and /joint_states
    }
    std::printf("after %d steps (t = %.3f s): hinge at %.4f rad/s, angle %.4f rad\n", kSteps,
                simulation->getTime(), swing->getCurrentSpeed(), swing->getAngle());

    simulation->remove(control.get());
    simulation->remove(clock.get());
    return 0;
}

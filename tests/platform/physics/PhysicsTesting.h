#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qorSDK/Simulation.h"
#include "qorSDK/StepEventListener.h"

namespace qor::test {

// Writes a number so that it reads back exactly.
inline std::string exact(double value) {
    std::ostringstream out;
    out.precision(17);
    out << value;
    return out.str();
}

// The bits of a double, so that two results can be compared bit for bit (0.0 and -0.0 differ,
// a NaN equals itself).
inline std::uint64_t bitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// A body turning about the vertical axis through its centre of mass, on the hinge "spin": gravity
// exerts no torque on it and its inertia about the axis is exactly inertia.
inline std::string spinnerScene(double inertia, double timestep) {
    return "<mujoco model='spinner'><option timestep='" + exact(timestep) +
           "'/><worldbody><body name='rotor' pos='0 0 1'>"
           "<joint name='spin' type='hinge' axis='0 0 1'/>"
           "<inertial pos='0 0 0' mass='1' diaginertia='1 1 " +
           exact(inertia) +
           "'/><geom type='box' size='0.2 0.05 0.05' contype='0' conaffinity='0'/>"
           "</body></worldbody></mujoco>";
}

// The same body on the slide joint "track" along x, with gravity off.
inline std::string sliderScene(double mass, double timestep) {
    return "<mujoco model='slider'><option timestep='" + exact(timestep) +
           "' gravity='0 0 0'/><worldbody><body name='sled' pos='0 0 1'>"
           "<joint name='track' type='slide' axis='1 0 0'/>"
           "<inertial pos='0 0 0' mass='" +
           exact(mass) +
           "' diaginertia='1 1 1'/><geom type='box' size='0.2 0.05 0.05' contype='0' "
           "conaffinity='0'/></body></worldbody></mujoco>";
}

// A chain of links in the x-z plane under gravity, one hinge each ("j0", "j1", ...), all about
// axis. Link i has length lengths[i] along its own x axis, mass masses[i] with its centre of mass
// at its middle, and collides with nothing.
struct Chain {
    std::vector<double> lengths;
    std::vector<double> masses;
    std::string axis = "0 -1 0";
    double damping = 0.0;
    double limit = 0.0;  // when positive, every joint is limited to (-limit, limit)
    double timestep = 0.001;
    std::string name = "chain";

    std::string scene() const {
        std::string bodies;
        std::string closing;
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            const double length = lengths[i];
            const std::string pos = i == 0 ? "0 0 1" : exact(lengths[i - 1]) + " 0 0";
            bodies +=
                "<body name='link" + std::to_string(i) + "' pos='" + pos + "'>" + "<joint name='j" +
                std::to_string(i) + "' type='hinge' axis='" + axis + "' damping='" +
                exact(damping) + "'" +
                (limit > 0 ? " limited='true' range='" + exact(-limit) + " " + exact(limit) + "'"
                           : std::string()) +
                "/>" + "<inertial pos='" + exact(length / 2) + " 0 0' mass='" + exact(masses[i]) +
                "' diaginertia='0.001 0.01 0.01'/>" + "<geom type='capsule' fromto='0 0 0 " +
                exact(length) + " 0 0' size='0.02' contype='0' conaffinity='0'/>";
            closing += "</body>";
        }
        return "<mujoco model='" + name + "'><compiler angle='radian'/><option timestep='" +
               exact(timestep) + "'/><worldbody>" + bodies + closing + "</worldbody></mujoco>";
    }

    // The torques that hold the chain still at the given joint angles against gravity (9.81
    // m/s^2 along -z), about axis 0 -1 0: at each joint, the weight of every link beyond it
    // times that link's horizontal distance from the joint.
    std::vector<double> holdingTorques(const std::vector<double>& angles) const {
        const double g = 9.81;
        std::vector<double> jointX(lengths.size());
        std::vector<double> centreX(lengths.size());
        double x = 0.0;
        double absolute = 0.0;
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            // A rotation by a about -y turns the link's x axis to (cos a, 0, sin a).
            absolute += angles[i];
            jointX[i] = x;
            centreX[i] = x + lengths[i] / 2 * std::cos(absolute);
            x += lengths[i] * std::cos(absolute);
        }
        std::vector<double> torques(lengths.size(), 0.0);
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            for (std::size_t j = i; j < lengths.size(); ++j) {
                torques[i] += masses[j] * g * (centreX[j] - jointX[i]);
            }
        }
        return torques;
    }
};

// The three-link arm most tests hold, move and compare.
inline Chain threeLinkArm() {
    Chain chain;
    chain.lengths = {0.5, 0.4, 0.3};
    chain.masses = {2.0, 1.5, 0.8};
    chain.name = "arm3";
    return chain;
}

// Constraints on every joint "j0", "j1", ... of a chain simulation, added to it.
inline std::vector<ref_ptr<Constraint1DOF>> constrainAll(qorSDK::Simulation& simulation,
                                                         std::size_t joints) {
    std::vector<ref_ptr<Constraint1DOF>> constraints;
    for (std::size_t i = 0; i < joints; ++i) {
        constraints.push_back(simulation.createHinge("j" + std::to_string(i)));
        simulation.add(constraints.back().get());
    }
    return constraints;
}

// A spinner (inertia 0.5, steps of 0.25 s, a power of two so that logged times are exact) that
// its motor has turned at 0.5 rad/s for ten steps, away from its initial state; the motor is then
// switched off and the spinner keeps turning.
struct TurnedSpinner {
    static constexpr double kStep = 0.25;

    TurnedSpinner()
        : simulation(qorSDK::Simulation::createFromString(spinnerScene(0.5, kStep))),
          spin(simulation->createHinge("spin")) {
        simulation->add(spin.get());
        spin->getMotor1D()->setEnabled(true);
        spin->getMotor1D()->setSpeed(0.5);
        for (int step = 0; step < 10; ++step) {
            simulation->stepForward();
        }
        spin->getMotor1D()->setEnabled(false);
    }

    ref_ptr<qorSDK::Simulation> simulation;
    ref_ptr<Constraint1DOF> spin;
};

// Writes "<name>.<callback>@<time>" for every callback into a shared log, and can run an action
// inside one callback.
class RecordingListener : public qorSDK::StepEventListener {
  public:
    RecordingListener(std::string name, int mask, std::vector<std::string>& log)
        : StepEventListener(mask), m_name(std::move(name)), m_log(log) {}

    void preCollide(const double& time) override { record("preCollide", time); }
    void pre(const double& time) override { record("pre", time); }
    void post(const double& time) override { record("post", time); }
    void last(const double& time) override { record("last", time); }

    // Runs action, once, at the next call of the named callback, after recording it.
    template <class Action>
    void onNext(const std::string& callback, Action action) {
        m_actionCallback = callback;
        m_action = std::move(action);
    }

  protected:
    ~RecordingListener() override = default;

  private:
    void record(const char* callback, double time) {
        m_log.push_back(m_name + "." + callback + "@" + exact(time));
        if (m_action && m_actionCallback == callback) {
            auto action = std::move(m_action);
            m_action = nullptr;
            action();
        }
    }

    std::string m_name;
    std::vector<std::string>& m_log;
    std::string m_actionCallback;
    std::function<void()> m_action;
};

}  // namespace qor::test

#include "StepWarnings.h"

#include <array>
#include <string>

#include "Log.h"
#include "qor/Notify.h"

namespace qorSDK::detail {
namespace {

// What the number MuJoCo stores with a warning (its lastinfo) identifies.
enum class Subject { DOF, QPOS_INDEX, ACTUATOR, BUFFER_SIZE };

struct WarningText {
    Subject subject;
    const char* text;  // "{}" stands for the subject, such as "joint 'elbow'"
};

// One entry per mjtWarning, in its order. The values MuJoCo calls huge are those above mjMAXVAL,
// 1e10. After a bad position, velocity or acceleration MuJoCo resets the whole state
// (mj_resetData) and carries on from the model's initial state, which is easy to miss.
constexpr std::array<WarningText, mjNWARNING> kWarnings{{
    {Subject::DOF, "the inertia matrix is too close to singular at {}; check its masses"},
    {Subject::BUFFER_SIZE, "contacts were dropped: the contact buffer holds only {}"},
    {Subject::BUFFER_SIZE, "constraints were dropped: the constraint buffer holds only {}"},
    {Subject::BUFFER_SIZE, "visual geoms were dropped: the visual geom buffer holds only {}"},
    {Subject::QPOS_INDEX,
     "{} reached a NaN, infinite or huge position; MuJoCo reset the simulation to its initial "
     "state"},
    {Subject::DOF,
     "{} reached a NaN, infinite or huge velocity; MuJoCo reset the simulation to its initial "
     "state"},
    {Subject::DOF,
     "{} reached a NaN, infinite or huge acceleration; MuJoCo reset the simulation to its "
     "initial state"},
    {Subject::ACTUATOR, "{} received a NaN, infinite or huge control"},
}};

int jointOfQposIndex(const mjModel* m, int index) {
    int joint = -1;
    for (int j = 0; j < m->njnt; ++j) {
        if (m->jnt_qposadr[j] <= index) {
            joint = j;
        }
    }
    return joint;
}

std::string describeSubject(const MujocoScene& scene, Subject subject, int info) {
    const mjModel* m = scene.model();
    switch (subject) {
        case Subject::DOF:
            if (info >= 0 && info < m->nv) {
                return scene.describeJoint(m->dof_jntid[info]);
            }
            break;
        case Subject::QPOS_INDEX:
            if (info >= 0 && info < m->nq) {
                return scene.describeJoint(jointOfQposIndex(m, info));
            }
            break;
        case Subject::ACTUATOR: {
            const char* name = mj_id2name(m, mjOBJ_ACTUATOR, info);
            if (name != nullptr && *name != '\0') {
                return "actuator '" + std::string(name) + "'";
            }
            return "actuator " + std::to_string(info);
        }
        case Subject::BUFFER_SIZE:
            return std::to_string(info);
    }
    return "degree of freedom " + std::to_string(info);
}

std::string stepLine(const MujocoScene& scene, double time, const std::string& what) {
    return "Simulation of model '" + scene.name() + "', step ending at " + formatNumber(time) +
           " s: " + what;
}

std::string describeFault(const ControllerSolver::LeftOutChange& change) {
    using Fault = ControllerSolver::Fault;
    switch (change.fault) {
        case Fault::TARGET_POSITION:
            return "its target position is " + formatNumber(change.target);
        case Fault::TARGET_SPEED:
            return "its target speed is " + formatNumber(change.target);
        case Fault::FORCE_RANGE:
        case Fault::NONE:
            break;
    }
    return "its force range is (" + formatNumber(change.range.lower) + ", " +
           formatNumber(change.range.upper) + ")";
}

}  // namespace

void reportLeftOutChanges(const MujocoScene& scene, double time,
                          const std::vector<ControllerSolver::LeftOutChange>& changes) {
    for (const ControllerSolver::LeftOutChange& change : changes) {
        const std::string controller =
            std::string(change.isLock ? "the lock of " : "the motor of ") +
            scene.describeJoint(scene.model()->dof_jntid[change.dof]);
        const std::string what =
            change.fault == ControllerSolver::Fault::NONE
                ? controller + " applies force again"
                : controller + " applies no force while " + describeFault(change);
        log(qor::WARNING, stepLine(scene, time, what));
    }
}

void clearStepWarnings(const MujocoScene& scene) noexcept {
    for (mjWarningStat& warning : scene.data()->warning) {
        warning.number = 0;
    }
}

void reportStepWarnings(const MujocoScene& scene, double time, int hugeForceDof) {
    const mjData* d = scene.data();
    for (std::size_t i = 0; i < kWarnings.size(); ++i) {
        const mjWarningStat& warning = d->warning[i];
        if (warning.number == 0) {
            continue;
        }
        const int info = i == mjWARN_BADQACC && hugeForceDof >= 0 ? hugeForceDof : warning.lastinfo;
        std::string what = kWarnings[i].text;
        what.replace(what.find("{}"), 2, describeSubject(scene, kWarnings[i].subject, info));
        std::string line = stepLine(scene, time, what);
        if (warning.number > 1) {
            line += " (" + std::to_string(warning.number) + " times)";
        }
        log(qor::WARNING, line);
    }
}

}  // namespace qorSDK::detail

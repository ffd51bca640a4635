#include "ControllerSolver.h"

#include <gtest/gtest.h>
#include <mujoco/mujoco.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "PhysicsAccess.h"
#include "PhysicsTesting.h"

namespace qor::test {
namespace {

using qorSDK::detail::ControllerSolver;

// A model and state of MuJoCo's own, loaded from MJCF text, for driving the solver directly.
class RawMujoco {
  public:
    explicit RawMujoco(const std::string& mjcf) {
        // Tests run as parallel processes: each writes a file of its own.
        const std::string path =
            ::testing::TempDir() + "qor-physics-solver-" + std::to_string(::getpid()) + ".xml";
        FILE* file = std::fopen(path.c_str(), "w");
        std::fputs(mjcf.c_str(), file);
        std::fclose(file);
        std::array<char, 1024> error{};
        m_model = mj_loadXML(path.c_str(), nullptr, error.data(), 1024);
        std::remove(path.c_str());
        m_data = m_model != nullptr ? mj_makeData(m_model) : nullptr;
    }
    ~RawMujoco() {
        mj_deleteData(m_data);
        mj_deleteModel(m_model);
    }
    RawMujoco(const RawMujoco&) = delete;
    RawMujoco& operator=(const RawMujoco&) = delete;

    mjModel* model() const { return m_model; }
    mjData* data() const { return m_data; }

    // A constraint bound to hinge joint of this state.
    ref_ptr<Constraint1DOF> bind(int joint) const {
        ref_ptr<Constraint1DOF> constraint = new Constraint1DOF();
        detail::PhysicsAccess::bind(
            *constraint, nullptr, m_data->qpos + m_model->jnt_qposadr[joint],
            m_data->qvel + m_model->jnt_dofadr[joint], m_model->jnt_dofadr[joint]);
        return constraint;
    }

  private:
    mjModel* m_model = nullptr;
    mjData* m_data = nullptr;
};

// Every byte of MuJoCo's state but those of qfrc_applied.
std::vector<unsigned char> stateWithoutAppliedForces(const mjModel* m, const mjData* d) {
    const auto* begin = static_cast<const unsigned char*>(d->buffer);
    std::vector<unsigned char> bytes(begin, begin + d->nbuffer);
    const auto offset =
        static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(d->qfrc_applied) - begin);
    std::memset(bytes.data() + offset, 0, static_cast<std::size_t>(m->nv) * sizeof(mjtNum));
    return bytes;
}

TEST(ControllerSolver, ChangesNothingButTheAppliedForces) {
    for (const double damping : {0.0, 2.0}) {
        Chain chain = threeLinkArm();
        chain.damping = damping;
        const RawMujoco mujoco(chain.scene());
        ASSERT_NE(mujoco.data(), nullptr);
        std::vector<ref_ptr<Constraint1DOF>> constraints = {mujoco.bind(0), mujoco.bind(1),
                                                            mujoco.bind(2)};
        constraints[0]->getLock1D()->setEnabled(true);
        constraints[0]->getLock1D()->setPosition(0.3);
        constraints[1]->getMotor1D()->setEnabled(true);
        constraints[1]->getMotor1D()->setSpeed(-1.0);
        constraints[1]->getMotor1D()->setForceRange(Range<double>(-2.0, 2.0));
        constraints[2]->getLock1D()->setEnabled(true);
        constraints[2]->getLock1D()->setForceRange(Range<double>(0.5, 0.5));
        ControllerSolver solver;
        solver.reserve(mujoco.model(), constraints.size());

        mj_step1(mujoco.model(), mujoco.data());
        const std::vector<unsigned char> before =
            stateWithoutAppliedForces(mujoco.model(), mujoco.data());
        solver.apply(mujoco.model(), mujoco.data(), constraints);

        EXPECT_GT(solver.getLastSweeps(), 0);
        EXPECT_TRUE(stateWithoutAppliedForces(mujoco.model(), mujoco.data()) == before)
            << "damping " << damping;
        EXPECT_EQ(mujoco.data()->qfrc_applied[0], constraints[0]->getLock1D()->getCurrentForce());
        EXPECT_EQ(mujoco.data()->qfrc_applied[1], constraints[1]->getMotor1D()->getCurrentForce());
        EXPECT_EQ(mujoco.data()->qfrc_applied[2], 0.5);
    }
}

TEST(ControllerSolver, UnlimitedLocksAreSolvedExactlyAfterOneSweep) {
    // Gauss-Seidel alone needs hundreds of sweeps on this arm from a cold start; the exact solve
    // of the rows off their bounds ends it after the first.
    const Chain chain = threeLinkArm();
    const RawMujoco mujoco(chain.scene());
    ASSERT_NE(mujoco.data(), nullptr);
    std::vector<ref_ptr<Constraint1DOF>> constraints;
    for (int joint = 0; joint < 3; ++joint) {
        constraints.push_back(mujoco.bind(joint));
        constraints.back()->getLock1D()->setEnabled(true);
        constraints.back()->getLock1D()->setPosition(0.1 * joint);
    }
    ControllerSolver solver;
    solver.reserve(mujoco.model(), constraints.size());

    for (int step = 0; step < 20; ++step) {
        mj_step1(mujoco.model(), mujoco.data());
        solver.apply(mujoco.model(), mujoco.data(), constraints);
        mj_step2(mujoco.model(), mujoco.data());
        ASSERT_EQ(solver.getLastSweeps(), 1) << "step " << step;
        for (int joint = 0; joint < 3; ++joint) {
            ASSERT_NEAR(mujoco.data()->qpos[joint], 0.1 * joint, 1e-14);
        }
    }
}

TEST(ControllerSolver, SaturatedRowStaysAtItsBoundWhileTheOthersHold) {
    // The shoulder cannot hold the arm with 5 N m: its row ends at the bound while the others
    // still hold their joints relative to it.
    const Chain chain = threeLinkArm();
    const RawMujoco mujoco(chain.scene());
    ASSERT_NE(mujoco.data(), nullptr);
    std::vector<ref_ptr<Constraint1DOF>> constraints;
    for (int joint = 0; joint < 3; ++joint) {
        constraints.push_back(mujoco.bind(joint));
        constraints.back()->getLock1D()->setEnabled(true);
    }
    constraints[0]->getLock1D()->setForceRange(Range<double>(-5.0, 5.0));
    ControllerSolver solver;
    solver.reserve(mujoco.model(), constraints.size());

    for (int step = 0; step < 20; ++step) {
        mj_step1(mujoco.model(), mujoco.data());
        solver.apply(mujoco.model(), mujoco.data(), constraints);
        mj_step2(mujoco.model(), mujoco.data());
        ASSERT_EQ(constraints[0]->getLock1D()->getCurrentForce(), 5.0);
        ASSERT_NEAR(mujoco.data()->qpos[1], 0.0, 1e-14);
        ASSERT_NEAR(mujoco.data()->qpos[2], 0.0, 1e-14);
    }
    EXPECT_LT(mujoco.data()->qpos[0], -1e-4);
}

}  // namespace
}  // namespace qor::test

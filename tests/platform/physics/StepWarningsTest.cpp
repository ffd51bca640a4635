#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mujoco/mujoco.h>

#include <cmath>
#include <limits>
#include <string>

#include "PhysicsTesting.h"
#include "qor/Notify.h"
#include "qorSDK/Simulation.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kStep = TurnedSpinner::kStep;

std::string resetLine(const char* quantity, const char* time) {
    return std::string("Warning: Simulation of model 'spinner', step ending at ") + time +
           " s: joint 'spin' reached a NaN, infinite or huge " + quantity +
           "; MuJoCo reset the simulation to its initial state";
}

TEST(StepWarnings, HugeForceIsReportedWithTheReset) {
    TurnedSpinner turned;
    ASSERT_GT(turned.spin->getAngle(), 1.0);
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setForceRange(Range<double>(1e12, 1e12));

    turned.simulation->stepForward();

    EXPECT_THAT(collector.lines(), ElementsAre(resetLine("acceleration", "2.75")));
    EXPECT_THAT(collector.levels(), ElementsAre(WARNING));
    // MuJoCo started over from the model's initial state, where nothing turns the spinner.
    EXPECT_EQ(turned.spin->getAngle(), 0.0);
    EXPECT_EQ(turned.spin->getCurrentSpeed(), 0.0);
    // Our clock goes on regardless.
    EXPECT_EQ(turned.simulation->getTime(), 2.75);
}

TEST(StepWarnings, EachBadStepIsReportedOnce) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setForceRange(Range<double>(1e12, 1e12));
    turned.simulation->stepForward();
    turned.simulation->stepForward();
    turned.spin->getLock1D()->setForceRange(Range<double>(0.0, 0.0));
    turned.simulation->stepForward();

    EXPECT_THAT(collector.lines(),
                ElementsAre(resetLine("acceleration", "2.75"), resetLine("acceleration", "3")));
}

TEST(StepWarnings, BadPositionIsReportedWithTheReset) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->setAngle(std::numeric_limits<double>::infinity());

    turned.simulation->stepForward();

    EXPECT_THAT(collector.lines(), ElementsAre(resetLine("position", "2.75")));
    EXPECT_EQ(turned.spin->getAngle(), 0.0);
}

TEST(StepWarnings, BadVelocityIsReportedWithTheReset) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->setCurrentSpeed(1e11);

    turned.simulation->stepForward();

    EXPECT_THAT(collector.lines(), ElementsAre(resetLine("velocity", "2.75")));
    EXPECT_EQ(turned.spin->getCurrentSpeed(), 0.0);
}

TEST(StepWarnings, OrdinaryStepsReportNothing) {
    const NotifyLineCollector collector;
    TurnedSpinner turned;
    for (int step = 0; step < 100; ++step) {
        turned.simulation->stepForward();
    }
    EXPECT_THAT(collector.lines(), IsEmpty());
}

TEST(MujocoMessages, OwnWarningsAreKeptAtDebugLevel) {
    // Loading a scene installs the platform's handlers for MuJoCo's messages.
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, kStep));
    const NotifyLineCollector collector;
    const int threshold = Notify::getNotifyLevel();

    mju_warning("Something MuJoCo noticed.");
    Notify::setNotifyLevel(DEBUG);
    mju_warning("Something else MuJoCo noticed.");
    Notify::setNotifyLevel(threshold);

    EXPECT_THAT(collector.lines(), ElementsAre("Debug: MuJoCo: Something else MuJoCo noticed."));
    EXPECT_THAT(collector.levels(), ElementsAre(DEBUG));
}

TEST(MujocoMessagesDeathTest, FatalErrorIsLoggedAndAborts) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, kStep));
    // Without the handler MuJoCo would wait for a key press before exiting.
    EXPECT_DEATH(mju_error("Something MuJoCo cannot survive."),
                 "Fatal: MuJoCo: Something MuJoCo cannot survive\\.");
}

}  // namespace
}  // namespace qor::test

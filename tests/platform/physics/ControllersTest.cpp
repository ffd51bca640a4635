#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/Constraint1DOF.h"
#include "qor/LockController.h"
#include "qor/TargetSpeedController.h"
#include "qor/ref_ptr.h"

namespace qor::test {
namespace {

using ::testing::ElementsAre;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Controllers that write every call made on them into a shared list, as a test of code that
// drives joints would use them.
class RecordingLock : public LockController {
  public:
    explicit RecordingLock(std::vector<std::string>& calls) : m_calls(calls) {}

    void setEnabled(bool enabled) override {
        m_calls.push_back(std::string("lock.setEnabled(") + (enabled ? "true" : "false") + ")");
        LockController::setEnabled(enabled);
    }
    void setForceRange(Range<double> range, std::size_t index) override {
        m_calls.push_back("lock.setForceRange(" + std::to_string(range.lower) + ", " +
                          std::to_string(range.upper) + ", " + std::to_string(index) + ")");
        LockController::setForceRange(range, index);
    }
    void setPosition(double position) override {
        m_calls.push_back("lock.setPosition(" + std::to_string(position) + ")");
        LockController::setPosition(position);
    }

  protected:
    ~RecordingLock() override = default;

  private:
    std::vector<std::string>& m_calls;
};

class RecordingMotor : public TargetSpeedController {
  public:
    explicit RecordingMotor(std::vector<std::string>& calls) : m_calls(calls) {}

    void setEnabled(bool enabled) override {
        m_calls.push_back(std::string("motor.setEnabled(") + (enabled ? "true" : "false") + ")");
        TargetSpeedController::setEnabled(enabled);
    }
    void setSpeed(double speed) override {
        m_calls.push_back("motor.setSpeed(" + std::to_string(speed) + ")");
        TargetSpeedController::setSpeed(speed);
    }

  protected:
    ~RecordingMotor() override = default;

  private:
    std::vector<std::string>& m_calls;
};

TEST(Controllers, NewControllersAreDisabledWithUnlimitedRange) {
    const ref_ptr<LockController> lock = new LockController();
    const ref_ptr<TargetSpeedController> motor = new TargetSpeedController();

    EXPECT_FALSE(lock->getEnable());
    EXPECT_FALSE(motor->getEnable());
    EXPECT_EQ(lock->getForceRange(), Range<double>(-kInfinity, kInfinity));
    EXPECT_EQ(motor->getForceRange(0), Range<double>(-kInfinity, kInfinity));
    EXPECT_EQ(lock->getPosition(), 0.0);
    EXPECT_EQ(motor->getSpeed(), 0.0);
    EXPECT_EQ(lock->getCurrentForce(), 0.0);
    EXPECT_EQ(lock->getNumDOF(), 1U);
}

TEST(Controllers, ForceRangeIsReturnedExactlyAsSet) {
    const ref_ptr<LockController> lock = new LockController();

    lock->setForceRange(Range<double>(5.0, -5.0));
    EXPECT_EQ(lock->getForceRange(0).lower, 5.0);
    EXPECT_EQ(lock->getForceRange(0).upper, -5.0);

    lock->setForceRange(Range<double>(-0.0, 0.0), 0);
    EXPECT_TRUE(std::signbit(lock->getForceRange().lower));
    EXPECT_FALSE(std::signbit(lock->getForceRange().upper));
}

TEST(Controllers, SettersStoreWhatGettersReturn) {
    const ref_ptr<LockController> lock = new LockController();
    const ref_ptr<TargetSpeedController> motor = new TargetSpeedController();

    lock->setEnabled(true);
    lock->setPosition(-1.25);
    motor->setEnabled(true);
    motor->setSpeed(0.5);
    EXPECT_TRUE(lock->getEnable());
    EXPECT_EQ(lock->getPosition(), -1.25);
    EXPECT_TRUE(motor->getEnable());
    EXPECT_EQ(motor->getSpeed(), 0.5);

    lock->setEnabled(false);
    EXPECT_FALSE(lock->getEnable());
}

TEST(Controllers, OnlyDegreeOfFreedomZeroExists) {
    const ref_ptr<LockController> lock = new LockController();

    try {
        lock->getForceRange(1);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(),
                     "ElementaryConstraint::getForceRange: degree of freedom 1 does not exist; "
                     "this controller has only degree of freedom 0");
    }
    try {
        lock->setForceRange(Range<double>(1.0, 2.0), 3);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(),
                     "ElementaryConstraint::setForceRange: degree of freedom 3 does not exist; "
                     "this controller has only degree of freedom 0");
    }
    EXPECT_EQ(lock->getForceRange(), Range<double>(-kInfinity, kInfinity));
}

TEST(Constraint1DOF, UnboundConstraintKeepsWhatIsSetByHand) {
    const ref_ptr<Constraint1DOF> constraint = new Constraint1DOF();

    EXPECT_FALSE(constraint->isBound());
    EXPECT_EQ(constraint->getType(), Constraint1DOF::Type::HINGE);
    EXPECT_EQ(constraint->getAngle(), 0.0);
    EXPECT_EQ(constraint->getCurrentSpeed(), 0.0);

    constraint->setAngle(0.75);
    constraint->setCurrentSpeed(-2.5);
    EXPECT_EQ(constraint->getAngle(), 0.75);
    EXPECT_EQ(constraint->getCurrentSpeed(), -2.5);
}

TEST(Constraint1DOF, NameIsEmptyUntilSet) {
    const ref_ptr<Constraint1DOF> constraint = new Constraint1DOF(Constraint1DOF::Type::PRISMATIC);

    EXPECT_EQ(constraint->getName(), "");
    constraint->setName("slider");
    EXPECT_EQ(constraint->getName(), "slider");
    EXPECT_EQ(constraint->getType(), Constraint1DOF::Type::PRISMATIC);
}

TEST(Constraint1DOF, EachConstraintHasItsOwnControllers) {
    const ref_ptr<Constraint1DOF> first = new Constraint1DOF();
    const ref_ptr<Constraint1DOF> second = new Constraint1DOF();

    ASSERT_NE(first->getLock1D(), nullptr);
    ASSERT_NE(first->getMotor1D(), nullptr);
    EXPECT_NE(first->getLock1D(), second->getLock1D());
    EXPECT_NE(first->getMotor1D(), second->getMotor1D());
}

TEST(Constraint1DOF, GivenControllersReceiveTheCalls) {
    std::vector<std::string> calls;
    const ref_ptr<RecordingLock> lock = new RecordingLock(calls);
    const ref_ptr<RecordingMotor> motor = new RecordingMotor(calls);
    const ref_ptr<Constraint1DOF> constraint =
        new Constraint1DOF(Constraint1DOF::Type::HINGE, lock, motor);

    EXPECT_EQ(constraint->getLock1D(), lock.get());
    EXPECT_EQ(constraint->getMotor1D(), motor.get());

    constraint->getMotor1D()->setEnabled(false);
    constraint->getLock1D()->setEnabled(true);
    constraint->getLock1D()->setPosition(constraint->getAngle());
    constraint->getLock1D()->setForceRange(Range<double>(0.0, 0.0), 0);
    constraint->getMotor1D()->setSpeed(1.5);

    EXPECT_THAT(calls, ElementsAre("motor.setEnabled(false)", "lock.setEnabled(true)",
                                   "lock.setPosition(0.000000)",
                                   "lock.setForceRange(0.000000, 0.000000, 0)",
                                   "motor.setSpeed(1.500000)"));
    // The overrides passed every call on, so the controllers hold the settings.
    EXPECT_TRUE(lock->getEnable());
    EXPECT_EQ(lock->getForceRange(), Range<double>(0.0, 0.0));
    EXPECT_EQ(motor->getSpeed(), 1.5);
}

TEST(Constraint1DOF, ConstraintHoldsItsControllersUntilItGoes) {
    std::vector<std::string> calls;
    const ref_ptr<RecordingLock> lock = new RecordingLock(calls);
    ref_ptr<Constraint1DOF> constraint =
        new Constraint1DOF(Constraint1DOF::Type::HINGE, lock, new RecordingMotor(calls));

    EXPECT_EQ(lock->getReferenceCount(), 2);
    constraint.reset();
    EXPECT_EQ(lock->getReferenceCount(), 1);
}

TEST(Constraint1DOF, NullControllerIsRefused) {
    try {
        const ref_ptr<Constraint1DOF> constraint =
            new Constraint1DOF(Constraint1DOF::Type::HINGE, new LockController(), nullptr);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Constraint1DOF: a constraint needs both a lock and a motor; null was given "
                     "for the motor");
    }
}

}  // namespace
}  // namespace qor::test

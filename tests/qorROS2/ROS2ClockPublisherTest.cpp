// The clock publisher, heard by a subscriber on "clock" in the same process through the real
// transport.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "BridgeTesting.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/rosgraphMsgs.h"
#include "qorSDK/Simulation.h"

namespace {

using namespace qorROS2;
using qorTest::ClockPublisherProbe;

// Every test that listens to "clock" has a domain of its own: ctest runs them side by side.
enum ClockTestDomain : std::int8_t {
    kZeroDomain = qorTest::kClockTestDomainFirst,
    kHalfDomain,
    kNegativeDomain,
    kBelowSecondDomain,
    kRepeatedDomain,
    kSimulationDomain,
    kSilentDomain
};

// A clock publisher and a subscriber of "clock" that keeps every sample, matched both ways.
class ClockOnDomain {
  public:
    explicit ClockOnDomain(std::int8_t domain)
        : m_subscriber("clock", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100}, domain),
          m_clock(new ClockPublisherProbe(domain)) {}

    ClockPublisherProbe& clock() { return *m_clock; }

    bool matched() const {
        return qorTest::waitFor([this] {
            return m_clock->clockSubscriptions() > 0 && m_subscriber.matchedPublications() > 0;
        });
    }

    // Waits for the next clock sample.
    bool receive(rosgraphMsgs::Clock& message) const {
        return qorTest::receiveWithin(m_subscriber, message);
    }

  private:
    Subscriber<rosgraphMsgs::Clock> m_subscriber;
    qor::ref_ptr<ClockPublisherProbe> m_clock;
};

// What a subscriber receives after one `pre(time)`.
builtinInterfaces::Time publishedFor(double time, std::int8_t domain) {
    ClockOnDomain bus(domain);
    EXPECT_TRUE(bus.matched()) << "the clock's endpoints did not match";
    bus.clock().pre(time);
    rosgraphMsgs::Clock received{};
    received.clock.sec = 12345;
    EXPECT_TRUE(bus.receive(received)) << "no clock sample for " << time;
    return received.clock;
}

TEST(ClockPublisher, TimeZeroPublishesZero) {
    const builtinInterfaces::Time published = publishedFor(0.0, kZeroDomain);
    EXPECT_EQ(published.sec, 0);
    EXPECT_EQ(published.nanosec, 0U);
}

TEST(ClockPublisher, OneAndAHalfSecondsPublishesOneSecondAndHalfABillionNanoseconds) {
    const builtinInterfaces::Time published = publishedFor(1.5, kHalfDomain);
    EXPECT_EQ(published.sec, 1);
    EXPECT_EQ(published.nanosec, 500000000U);
}

TEST(ClockPublisher, NegativeTimeCountsNanosecondsUpFromTheFloor) {
    const builtinInterfaces::Time published = publishedFor(-0.25, kNegativeDomain);
    EXPECT_EQ(published.sec, -1);
    EXPECT_EQ(published.nanosec, 750000000U);
}

TEST(ClockPublisher, TimeJustBelowASecondIsNotCarriedIntoTheSeconds) {
    const builtinInterfaces::Time published = publishedFor(1.9999999999, kBelowSecondDomain);
    EXPECT_EQ(published.sec, 1);
    EXPECT_EQ(published.nanosec, 1000000000U);
}

TEST(ClockPublisher, TwoStepsWithTheSameTimePublishTwoIdenticalMessages) {
    ClockOnDomain bus(kRepeatedDomain);
    ASSERT_TRUE(bus.matched());

    // The clock's history keeps one sample: each is taken before the next is sent, so that none
    // replaces another before it was delivered.
    bus.clock().pre(3.25);
    rosgraphMsgs::Clock first{};
    ASSERT_TRUE(bus.receive(first));
    bus.clock().pre(3.25);
    rosgraphMsgs::Clock second{};
    ASSERT_TRUE(bus.receive(second));

    EXPECT_EQ(first.clock.sec, 3);
    EXPECT_EQ(first.clock.nanosec, 250000000U);
    EXPECT_EQ(second.clock.sec, first.clock.sec);
    EXPECT_EQ(second.clock.nanosec, first.clock.nanosec);
}

TEST(ClockPublisher, FreshListenerHoldsAZeroMessageUntilItsFirstPre) {
    const qor::ref_ptr<ClockPublisherProbe> clock = new ClockPublisherProbe(kSilentDomain);
    EXPECT_EQ(clock->clockMessage().clock.sec, 0);
    EXPECT_EQ(clock->clockMessage().clock.nanosec, 0U);

    clock->pre(7.125);

    EXPECT_EQ(clock->clockMessage().clock.sec, 7);
    EXPECT_EQ(clock->clockMessage().clock.nanosec, 125000000U);
}

TEST(ClockPublisher, SelectsThePreCallbackAlone) {
    const qor::ref_ptr<ClockPublisherProbe> clock = new ClockPublisherProbe(kSilentDomain);
    EXPECT_EQ(clock->getMask(), qorSDK::StepEventListener::PRE_STEP);
}

TEST(ClockPublisher, ASimulationPublishesTheTimeAtTheStartOfEveryStep) {
    const qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(
        "<mujoco model='empty'><option timestep='0.25'/><worldbody/></mujoco>");
    ClockOnDomain bus(kSimulationDomain);
    ASSERT_TRUE(bus.matched());
    ASSERT_TRUE(simulation->add(&bus.clock()));

    for (int step = 0; step < 5; ++step) {
        simulation->stepForward();
        rosgraphMsgs::Clock received{};
        ASSERT_TRUE(bus.receive(received)) << "no clock sample for step " << step;
        // Quarter seconds are exact in binary: step k starts at k / 4 s.
        EXPECT_EQ(received.clock.sec, step / 4);
        EXPECT_EQ(received.clock.nanosec, static_cast<std::uint32_t>(step % 4) * 250000000U);
    }
    EXPECT_TRUE(simulation->remove(&bus.clock()));
}

}  // namespace

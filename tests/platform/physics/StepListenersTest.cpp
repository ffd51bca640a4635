#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "PhysicsTesting.h"
#include "qor/Notify.h"
#include "qorSDK/Simulation.h"
#include "qorSDK/StepEventListener.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;
using qorSDK::StepEventListener;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double kStep = 0.25;  // a power of two: the times in the expected logs are exact

ref_ptr<Simulation> makeSimulation() {
    return Simulation::createFromString(spinnerScene(0.5, kStep));
}

// A listener that counts its own destruction.
class MortalListener : public StepEventListener {
  public:
    explicit MortalListener(bool& destroyed) : StepEventListener(DEFAULT), m_destroyed(destroyed) {}

  protected:
    ~MortalListener() override { m_destroyed = true; }

  private:
    bool& m_destroyed;
};

TEST(StepListeners, MaskValuesAreFixed) {
    EXPECT_EQ(StepEventListener::PRE_COLLIDE, 1);
    EXPECT_EQ(StepEventListener::PRE_STEP, 2);
    EXPECT_EQ(StepEventListener::POST_STEP, 4);
    EXPECT_EQ(StepEventListener::LAST_STEP, 8);
    EXPECT_EQ(StepEventListener::DEFAULT, 15);
}

TEST(StepListeners, MasksSelectCallbacksAndListenersRunInTheOrderAdded) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    for (const auto& [name, mask] : std::vector<std::pair<std::string, int>>{{"all", 15},
                                                                             {"pre", 2},
                                                                             {"prepost", 6},
                                                                             {"collide", 1},
                                                                             {"last", 8},
                                                                             {"none", 0},
                                                                             {"post", 4}}) {
        simulation->add(new RecordingListener(name, mask, log));
    }

    simulation->stepForward();

    EXPECT_THAT(log, ElementsAre("all.preCollide@0", "collide.preCollide@0", "all.pre@0",
                                 "pre.pre@0", "prepost.pre@0", "all.post@0.25", "prepost.post@0.25",
                                 "post.post@0.25", "all.last@0.25", "last.last@0.25"));
}

TEST(StepListeners, CallbacksSeeTheTimeAtEitherEndOfTheStep) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    simulation->add(new RecordingListener(
        "a", StepEventListener::PRE_STEP | StepEventListener::POST_STEP, log));

    simulation->stepForward();
    simulation->stepForward();
    simulation->stepForward();

    EXPECT_THAT(log, ElementsAre("a.pre@0", "a.post@0.25", "a.pre@0.25", "a.post@0.5", "a.pre@0.5",
                                 "a.post@0.75"));
    EXPECT_EQ(simulation->getTime(), 0.75);
}

TEST(StepListeners, NewMaskAppliesToTheFollowingCallbacks) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 2, log);
    simulation->add(listener.get());
    listener->onNext("pre", [&] { listener->setMask(4); });

    simulation->stepForward();
    simulation->stepForward();

    EXPECT_EQ(listener->getMask(), 4);
    EXPECT_THAT(log, ElementsAre("a.pre@0", "a.post@0.25", "a.post@0.5"));
}

TEST(StepListeners, SimulationIsKnownWhileAdded) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 15, log);

    EXPECT_EQ(listener->getSimulation(), nullptr);
    EXPECT_TRUE(simulation->add(listener.get()));
    EXPECT_EQ(listener->getSimulation(), simulation.get());
    EXPECT_EQ(listener->getReferenceCount(), 2);
    EXPECT_TRUE(simulation->remove(listener.get()));
    EXPECT_EQ(listener->getSimulation(), nullptr);
    EXPECT_EQ(listener->getReferenceCount(), 1);
}

TEST(StepListeners, AddingTwiceOrNullChangesNothing) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 2, log);

    EXPECT_TRUE(simulation->add(listener.get()));
    EXPECT_FALSE(simulation->add(listener.get()));
    EXPECT_FALSE(simulation->add(static_cast<StepEventListener*>(nullptr)));
    simulation->stepForward();

    EXPECT_THAT(log, ElementsAre("a.pre@0"));
}

TEST(StepListeners, RemovingAnUnknownListenerReturnsFalse) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    const ref_ptr<Simulation> other = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 2, log);
    other->add(listener.get());

    EXPECT_FALSE(simulation->remove(listener.get()));
    EXPECT_FALSE(simulation->remove(static_cast<StepEventListener*>(nullptr)));
    EXPECT_EQ(listener->getSimulation(), other.get());
}

TEST(StepListeners, ListenerOfAnotherSimulationIsRefused) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    const ref_ptr<Simulation> other = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 2, log);
    other->add(listener.get());

    try {
        simulation->add(listener.get());
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::add: the step listener added to model 'spinner' already "
                     "belongs to another simulation; remove it there first");
    }
    EXPECT_EQ(listener->getSimulation(), other.get());
}

TEST(StepListeners, ListenerRemovedInsideACallbackGetsNoMoreCallbacksInThatStep) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> first = new RecordingListener("first", 15, log);
    const ref_ptr<RecordingListener> second = new RecordingListener("second", 15, log);
    simulation->add(first.get());
    simulation->add(second.get());
    first->onNext("pre", [&] {
        EXPECT_TRUE(simulation->remove(second.get()));
        EXPECT_EQ(second->getSimulation(), nullptr);
    });

    simulation->stepForward();
    simulation->stepForward();

    EXPECT_THAT(log, ElementsAre("first.preCollide@0", "second.preCollide@0", "first.pre@0",
                                 "first.post@0.25", "first.last@0.25", "first.preCollide@0.25",
                                 "first.pre@0.25", "first.post@0.5", "first.last@0.5"));
}

TEST(StepListeners, ListenerCanRemoveItselfAndLivesUntilTheStepEnds) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    bool aliveAfterRemoval = false;
    ref_ptr<RecordingListener> self = new RecordingListener("self", 15, log);
    simulation->add(self.get());
    simulation->add(new RecordingListener("other", 4, log));
    RecordingListener* raw = self.get();
    // Only the simulation holds it now.
    self.reset();
    raw->onNext("pre", [&] {
        simulation->remove(raw);
        aliveAfterRemoval = raw->getReferenceCount() == 1;
    });

    simulation->stepForward();

    EXPECT_TRUE(aliveAfterRemoval);
    EXPECT_THAT(log, ElementsAre("self.preCollide@0", "self.pre@0", "other.post@0.25"));
}

TEST(StepListeners, RemovedListenerIsReleasedWhenTheStepEnds) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    bool destroyed = false;
    StepEventListener* mortal = new MortalListener(destroyed);
    const ref_ptr<RecordingListener> remover = new RecordingListener("remover", 2, log);
    simulation->add(remover.get());
    simulation->add(mortal);
    remover->onNext("pre", [&] {
        simulation->remove(mortal);
        EXPECT_FALSE(destroyed);
    });

    simulation->stepForward();

    EXPECT_TRUE(destroyed);
}

TEST(StepListeners, ListenerAddedInsideACallbackStartsAtTheNextStep) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> adder = new RecordingListener("adder", 6, log);
    simulation->add(adder.get());
    adder->onNext("pre",
                  [&] { EXPECT_TRUE(simulation->add(new RecordingListener("late", 15, log))); });

    simulation->stepForward();
    simulation->stepForward();

    EXPECT_THAT(
        log, ElementsAre("adder.pre@0", "adder.post@0.25", "late.preCollide@0.25", "adder.pre@0.25",
                         "late.pre@0.25", "adder.post@0.5", "late.post@0.5", "late.last@0.5"));
}

TEST(StepListeners, ListenerRemovedAndAddedAgainInOneStepReturnsAtTheNextStep) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 6, log);
    simulation->add(listener.get());
    listener->onNext("pre", [&] {
        simulation->remove(listener.get());
        simulation->add(listener.get());
    });

    simulation->stepForward();
    simulation->stepForward();

    EXPECT_EQ(listener->getSimulation(), simulation.get());
    EXPECT_THAT(log, ElementsAre("a.pre@0", "a.pre@0.25", "a.post@0.5"));
}

TEST(StepListeners, SteppingFromInsideACallbackIsIgnoredWithAWarning) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 6, log);
    simulation->add(listener.get());
    const NotifyLineCollector collector;
    listener->onNext("pre", [&] { simulation->stepForward(); });

    simulation->stepForward();

    EXPECT_THAT(log, ElementsAre("a.pre@0", "a.post@0.25"));
    EXPECT_EQ(simulation->getTime(), 0.25);
    EXPECT_THAT(collector.lines(),
                ElementsAre("Warning: Simulation of model 'spinner': stepForward was called from "
                            "inside a step callback; the call is ignored"));
    EXPECT_THAT(collector.levels(), ElementsAre(WARNING));
}

TEST(StepListeners, ListenersForgetASimulationThatIsGone) {
    ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 6, log);
    simulation->add(listener.get());

    simulation.reset();

    EXPECT_EQ(listener->getSimulation(), nullptr);
    EXPECT_EQ(listener->getReferenceCount(), 1);
}

TEST(StepListeners, TimeIsExactAfterAHundredThousandSteps) {
    const double step = 0.001;
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, step));
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 4, log);
    simulation->add(listener.get());
    double summed = 0.0;

    for (int i = 0; i < 100000; ++i) {
        simulation->stepForward();
        summed += step;
    }

    const double expected = 100000.0 * step;
    EXPECT_EQ(bitsOf(simulation->getTime()), bitsOf(expected));
    EXPECT_EQ(log.back(), "a.post@" + exact(expected));
    // Adding the step up, as MuJoCo does for its own clock, would have drifted.
    EXPECT_NE(bitsOf(summed), bitsOf(expected));
}

TEST(StepListeners, TimeStampRestartsTheCount) {
    const double step = 0.001;
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, step));
    EXPECT_EQ(simulation->getTimeStamp(), 0.0);
    for (int i = 0; i < 37; ++i) {
        simulation->stepForward();
    }

    simulation->setTimeStamp(1731657600.0);

    EXPECT_EQ(simulation->getTimeStamp(), 1731657600.0);
    EXPECT_EQ(simulation->getTime(), 1731657600.0);
    for (int i = 0; i < 3; ++i) {
        simulation->stepForward();
    }
    EXPECT_EQ(bitsOf(simulation->getTime()), bitsOf(1731657600.0 + 3.0 * step));
    EXPECT_EQ(simulation->getTimeStamp(), 1731657600.0);
}

TEST(StepListeners, TimeStampSetInPreAppliesFromThatStepsPost) {
    const ref_ptr<Simulation> simulation = makeSimulation();
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> setter = new RecordingListener("setter", 6, log);
    const ref_ptr<RecordingListener> other = new RecordingListener("other", 6, log);
    simulation->add(setter.get());
    simulation->add(other.get());
    simulation->stepForward();
    log.clear();
    setter->onNext("pre", [&] { setter->getSimulation()->setTimeStamp(1000.0); });

    simulation->stepForward();

    // The other listener's pre was called with the time the step began at.
    EXPECT_THAT(log, ElementsAre("setter.pre@0.25", "other.pre@0.25", "setter.post@1000.25",
                                 "other.post@1000.25"));
}

}  // namespace
}  // namespace qor::test

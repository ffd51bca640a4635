#pragma once

#include "qorSDK/EventListener.h"

namespace qorSDK {

// Called back by its simulation around every step. Each step runs, for every listener whose mask
// selects them and in the order the listeners were added: preCollide, pre, the physics solve,
// post, last. preCollide and pre receive the simulation time at the start of the step, post and
// last the time at its end, in seconds. The callbacks do nothing unless overridden.
class StepEventListener : public EventListener {
  public:
    // Bits of the mask: each selects one callback.
    enum ActivationMask {
        PRE_COLLIDE = 1,
        PRE_STEP = 2,
        POST_STEP = 4,
        LAST_STEP = 8,
        DEFAULT = PRE_COLLIDE | PRE_STEP | POST_STEP | LAST_STEP
    };

    // Creates a listener whose mask selects the callbacks to run: 2 selects pre, 6 pre and post.
    explicit StepEventListener(int mask = DEFAULT) noexcept;

    // Replaces the mask, for every callback from now on, later ones of the current step
    // included. Bits other than the four of ActivationMask are ignored.
    void setMask(int mask) noexcept;

    // Returns the mask as last set.
    int getMask() const noexcept;

    // Runs first in a step, before collisions are detected.
    virtual void preCollide(const double& time);

    // Runs before the physics solve: the place to set controller targets for the step.
    virtual void pre(const double& time);

    // Runs after the physics solve: joint coordinates and speeds are those at the end of the step.
    virtual void post(const double& time);

    // Runs last in a step, after every listener's post.
    virtual void last(const double& time);

  protected:
    ~StepEventListener() override;

  private:
    int m_mask;
};

}  // namespace qorSDK

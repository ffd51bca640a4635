#pragma once

#include <atomic>

#include "qor/Referenced.h"

namespace qor::test {

// A counted object that records how many times it has been destroyed, so that tests can tell
// "deleted exactly once" from "leaked" and from "deleted twice".
class Tracked : public Referenced {
  public:
    explicit Tracked(std::atomic<int>& destructions) : m_destructions(destructions) {}

  protected:
    ~Tracked() override { ++m_destructions; }

  private:
    std::atomic<int>& m_destructions;
};

// Derived type, for conversions from ref_ptr<TrackedChild> to ref_ptr<Tracked>.
class TrackedChild : public Tracked {
  public:
    using Tracked::Tracked;

  protected:
    ~TrackedChild() override = default;
};

}  // namespace qor::test

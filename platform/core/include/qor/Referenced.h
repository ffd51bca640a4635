#pragma once

#include <atomic>

namespace qor {

// Base class of every reference-counted SDK object. The count lives inside the object so that a
// raw pointer handed across the API can always be wrapped in a new ref_ptr without losing track
// of the other owners. Objects are created with a count of 0 and normally owned via ref_ptr.
class Referenced {
  public:
    // Creates an object that nobody references yet.
    Referenced() noexcept;

    // A copy is a new object: it starts unreferenced, whatever the count of the original.
    Referenced(const Referenced& other) noexcept;

    // Leaves this object's count untouched: the owners of the target are still its owners.
    Referenced& operator=(const Referenced& other) noexcept;

    // Adds one reference. Safe to call from any thread.
    void reference() const noexcept;

    // Drops one reference and deletes the object when none is left. Safe to call from any
    // thread; the object is deleted exactly once.
    void unreference() const noexcept;

    // Drops one reference but never deletes the object, even when the count reaches 0. Used to
    // hand an object over to an owner that is not a ref_ptr.
    void unreferenceNoDelete() const noexcept;

    // Returns the current number of references (a snapshot when other threads are counting).
    int getReferenceCount() const noexcept;

  protected:
    // Protected so that counted objects are destroyed through unreference(), not by hand.
    virtual ~Referenced();

  private:
    mutable std::atomic<int> m_refCount;
};

}  // namespace qor

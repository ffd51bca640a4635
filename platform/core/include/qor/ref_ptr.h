#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace qor {

// A counted reference to an object derived from Referenced. Every non-null ref_ptr holds one
// reference; the object is deleted when the last reference goes, whoever holds it.
template <class T>
class ref_ptr {
  public:
    using element_type = T;

    // Creates a null reference.
    ref_ptr() noexcept = default;

    // Creates a null reference; lets nullptr be passed wherever a ref_ptr is expected.
    ref_ptr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)

    // Takes a reference to ptr (if not null). Implicit so that `ref_ptr<T> p = new T;` reads as
    // ownership being taken, which it is.
    ref_ptr(T* ptr) noexcept : m_ptr(ptr) {  // NOLINT(google-explicit-constructor)
        if (m_ptr != nullptr) {
            m_ptr->reference();
        }
    }

    // Shares other's object, adding one reference.
    ref_ptr(const ref_ptr& other) noexcept : ref_ptr(other.m_ptr) {}

    // Takes over other's reference without touching the count; other becomes null.
    ref_ptr(ref_ptr&& other) noexcept : m_ptr(std::exchange(other.m_ptr, nullptr)) {}

    // Shares the object of a ref_ptr to a type whose pointer converts to T*.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ref_ptr(const ref_ptr<U>& other) noexcept : ref_ptr(other.get()) {}

    // Takes over the reference of a ref_ptr to a convertible type; other becomes null.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ref_ptr(ref_ptr<U>&& other) noexcept : m_ptr(std::exchange(other.m_ptr, nullptr)) {}

    // Drops this reference, deleting the object if it was the last one.
    ~ref_ptr() { reset(); }

    // Refers to other's object instead. Safe when both already refer to the same object.
    ref_ptr& operator=(const ref_ptr& other) noexcept {
        assign(other.m_ptr);
        return *this;
    }

    // Takes over other's reference, dropping the one held so far; other becomes null.
    ref_ptr& operator=(ref_ptr&& other) noexcept {
        ref_ptr(std::move(other)).swap(*this);
        return *this;
    }

    // Refers to the object of a ref_ptr to a convertible type instead.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ref_ptr& operator=(const ref_ptr<U>& other) noexcept {
        assign(other.get());
        return *this;
    }

    // Takes over the reference of a ref_ptr to a convertible type; other becomes null.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ref_ptr& operator=(ref_ptr<U>&& other) noexcept {
        ref_ptr(std::move(other)).swap(*this);
        return *this;
    }

    // Refers to ptr instead (taking a reference to it). Safe when ptr is the current object.
    ref_ptr& operator=(T* ptr) noexcept {
        assign(ptr);
        return *this;
    }

    // Returns the object, or nullptr. The pointer stays valid only while a reference is held.
    T* get() const noexcept { return m_ptr; }

    // Returns the object; the reference must not be null.
    T& operator*() const noexcept { return *m_ptr; }

    // Gives access to the object's members; the reference must not be null.
    T* operator->() const noexcept { return m_ptr; }

    // Returns true when the reference is not null.
    bool valid() const noexcept { return m_ptr != nullptr; }

    // Returns true when the reference is not null.
    explicit operator bool() const noexcept { return m_ptr != nullptr; }

    // Drops the reference (deleting the object if it was the last one) and becomes null.
    void reset() noexcept { assign(nullptr); }

    // Exchanges the objects of the two references; no count changes.
    void swap(ref_ptr& other) noexcept { std::swap(m_ptr, other.m_ptr); }

    // True when the reference is to ptr.
    friend bool operator==(const ref_ptr& lhs, const T* rhs) noexcept { return lhs.m_ptr == rhs; }
    friend bool operator==(const T* lhs, const ref_ptr& rhs) noexcept { return lhs == rhs.m_ptr; }
    friend bool operator!=(const ref_ptr& lhs, const T* rhs) noexcept { return lhs.m_ptr != rhs; }
    friend bool operator!=(const T* lhs, const ref_ptr& rhs) noexcept { return lhs != rhs.m_ptr; }

    // True when the reference is null (for ==) or not null (for !=).
    friend bool operator==(const ref_ptr& lhs, std::nullptr_t) noexcept { return !lhs.m_ptr; }
    friend bool operator==(std::nullptr_t, const ref_ptr& rhs) noexcept { return !rhs.m_ptr; }
    friend bool operator!=(const ref_ptr& lhs, std::nullptr_t) noexcept { return lhs.valid(); }
    friend bool operator!=(std::nullptr_t, const ref_ptr& rhs) noexcept { return rhs.valid(); }

    // Orders references by object address, so that a ref_ptr can key a std::map or std::set.
    friend bool operator<(const ref_ptr& lhs, const ref_ptr& rhs) noexcept {
        return std::less<T*>()(lhs.m_ptr, rhs.m_ptr);
    }

  private:
    template <class U>
    friend class ref_ptr;

    void assign(T* ptr) noexcept {
        // The new object is referenced before the old one is dropped: the old one may be the
        // last owner of the new one, and deleting it first would free what we are taking.
        if (ptr != nullptr) {
            ptr->reference();
        }
        // The member changes before the old object goes, so that code run by its destructor
        // never sees this reference pointing at a dying object.
        T* old = std::exchange(m_ptr, ptr);
        if (old != nullptr) {
            old->unreference();
        }
    }

    T* m_ptr = nullptr;
};

// True when both references are to the same object (or both are null).
template <class T, class U>
bool operator==(const ref_ptr<T>& lhs, const ref_ptr<U>& rhs) noexcept {
    return lhs.get() == rhs.get();
}

// True when the references are to different objects.
template <class T, class U>
bool operator!=(const ref_ptr<T>& lhs, const ref_ptr<U>& rhs) noexcept {
    return lhs.get() != rhs.get();
}

// Exchanges the objects of two references; no count changes.
template <class T>
void swap(ref_ptr<T>& lhs, ref_ptr<T>& rhs) noexcept {
    lhs.swap(rhs);
}

}  // namespace qor

namespace std {

// Hashes by object address, so that a ref_ptr can key an unordered container.
template <class T>
struct hash<qor::ref_ptr<T>> {
    std::size_t operator()(const qor::ref_ptr<T>& ref) const noexcept {
        return std::hash<T*>()(ref.get());
    }
};

}  // namespace std

#pragma once

/// @file
/// The counted pointer of the threading library.

#include "etc/refcount.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Etc10012
{

/// Throws `JTCNullHandle`.
[[noreturn]] ETC_EXPORT void throwNullHandle();

/// Holds one object derived from `JTCRefCount`, or none, and keeps it alive. Every handle adds a reference of
/// its own, one that is made from a raw pointer too.
///
///     JTCHandleT<Worker> worker(new Worker(group, "worker"));
///     worker->start();
///
/// Handles to one object may be used by different threads; one handle may not be written by one thread while
/// another uses it.
template <class T>
class JTCHandleT
{
public:
    using element_type = T;

    constexpr JTCHandleT() noexcept = default;
    constexpr JTCHandleT(std::nullptr_t) noexcept {}
    JTCHandleT(T* object) noexcept : m_object(object) { addRef(); }
    JTCHandleT(const JTCHandleT& other) noexcept : m_object(other.m_object) { addRef(); }
    JTCHandleT(JTCHandleT&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

    template <class U>
    requires std::convertible_to<U*, T*> JTCHandleT(const JTCHandleT<U>& other)
    noexcept : m_object(other.get()) { addRef(); }

    ~JTCHandleT()
    {
        if (m_object) {
            m_object->release();
        }
    }

    /// The new object is secured before the old one is released: assigning a handle to itself, or one that
    /// lives inside the old object (`p = p->next`), is safe.
    JTCHandleT& operator=(JTCHandleT other) noexcept
    {
        swap(other);
        return *this;
    }

    void swap(JTCHandleT& other) noexcept { std::swap(m_object, other.m_object); }
    friend void swap(JTCHandleT& left, JTCHandleT& right) noexcept { left.swap(right); }

    /// Null when empty. The pointer is good while somebody holds the object.
    T* get() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    /// Both throw `JTCNullHandle` when the handle is empty.
    T* operator->() const { return followed(); }
    T& operator*() const { return *followed(); }

    friend bool operator==(const JTCHandleT& left, std::nullptr_t) noexcept { return !left.m_object; }
    friend bool operator==(const JTCHandleT& left, const T* right) noexcept { return left.m_object == right; }

private:
    void addRef() const noexcept
    {
        if (m_object) {
            m_object->addRef();
        }
    }

    T* followed() const
    {
        if (!m_object) {
            throwNullHandle();
        }
        return m_object;
    }

    T* m_object = nullptr;
};

/// Handles are equal when they hold the same object; the order is that of the addresses.
template <class T, class U>
bool operator==(const JTCHandleT<T>& left, const JTCHandleT<U>& right) noexcept
{
    return left.get() == right.get();
}

template <class T, class U>
std::strong_ordering operator<=>(const JTCHandleT<T>& left, const JTCHandleT<U>& right) noexcept
{
    return std::compare_three_way()(left.get(), right.get());
}

} // namespace Etc10012

template <class T>
struct std::hash<Etc10012::JTCHandleT<T>>
{
    std::size_t operator()(const Etc10012::JTCHandleT<T>& handle) const noexcept
    {
        return std::hash<T*>()(handle.get());
    }
};

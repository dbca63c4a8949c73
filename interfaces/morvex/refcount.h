#pragma once

/// @file
/// Atomic 32-bit counters, a thin lock, and intrusive reference counts with their smart pointer.

#include "morvex/export.h"
#include "morvex/types.h"

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace MorvexA106
{

/// The locked primitives under the counters. Every operation is atomic with a full barrier, but for
/// `asmInitLock`. The forms on `long` work at the width that `long` has on the target; the counters below
/// use the 32-bit forms everywhere.
class SInterlockedBase
{
protected:
    SInterlockedBase() noexcept = default;
    SInterlockedBase(const SInterlockedBase&) noexcept {}
    SInterlockedBase& operator=(const SInterlockedBase&) noexcept { return *this; }
    ~SInterlockedBase() = default;

    /// Returns the value before the addition. Overflow wraps.
    template <std::integral T>
    static T asmExchangeAdd(T* target, std::type_identity_t<T> value) noexcept
    {
        return std::atomic_ref<T>(*target).fetch_add(value, std::memory_order_seq_cst);
    }

    /// Returns the old value.
    template <std::integral T>
    static T asmExchange(T* target, std::type_identity_t<T> value) noexcept
    {
        return std::atomic_ref<T>(*target).exchange(value, std::memory_order_seq_cst);
    }

    /// Returns 0 when the lock was free and is now taken, 1 when it is held.
    static long asmAcquireLock(long* lock) noexcept { return asmExchange(lock, 1); }
    static void asmUnlock(long* lock) noexcept { asmExchange(lock, 0); }

    /// A plain store: only for a lock that no other thread can see yet.
    static void asmInitLock(long* lock) noexcept
    {
        std::atomic_ref<long>(*lock).store(0, std::memory_order_relaxed);
    }

    template <std::integral T>
    static T asmPlainRead(const T* source) noexcept
    {
        return std::atomic_ref<T>(*const_cast<T*>(source)).load(std::memory_order_relaxed);
    }

    template <std::integral T>
    static void asmPlainStore(T* target, std::type_identity_t<T> value) noexcept
    {
        std::atomic_ref<T>(*target).store(value, std::memory_order_relaxed);
    }
};

/// What the signed and the unsigned counter share: one 32-bit value. `Argument` is the type in which values
/// travel; they are cut to 32 bits on the way in.
template <class Stored, class Argument>
class SInterlockedInt32_t : public SInterlockedBase
{
public:
    explicit SInterlockedInt32_t(Argument value = 0) noexcept : m_value(static_cast<Stored>(value)) {}
    SInterlockedInt32_t(const SInterlockedInt32_t& other) noexcept
        : SInterlockedBase(other),
          m_value(other.readStored())
    {}

    /// Reads the source with a locked read, then stores plainly into this counter.
    SInterlockedInt32_t& operator=(const SInterlockedInt32_t& other) noexcept
    {
        asmPlainStore(&m_value, other.readStored());
        return *this;
    }

    /// A plain store, without a bus lock: only before other threads see the counter.
    void initialize(Argument value) noexcept { asmPlainStore(&m_value, static_cast<Stored>(value)); }

    /// Reads both sides one after the other; the pair is no atomic snapshot.
    bool operator==(const SInterlockedInt32_t& other) const noexcept
    {
        return readStored() == other.readStored();
    }

    Argument operator++() noexcept { return cut(exchangeAdd(1) + 1); }
    Argument operator--() noexcept { return cut(exchangeAdd(minusOne) - 1); }
    Argument operator++(int) noexcept { return exchangeAdd(1); }
    Argument operator--(int) noexcept { return exchangeAdd(minusOne); }

    /// Locked add; returns the old value. Overflow wraps at 32 bits.
    Argument exchangeAdd(Argument value) noexcept
    {
        return asmExchangeAdd(&m_value, static_cast<Stored>(value));
    }

    /// Atomic exchange; returns the old value.
    Argument exchange(Argument value) noexcept { return asmExchange(&m_value, static_cast<Stored>(value)); }

    /// A full locked operation on purpose, never a plain load.
    Argument read() const noexcept { return readStored(); }

    Argument nonInterlockedRead() const noexcept { return asmPlainRead(&m_value); }

    /// A plain load and a plain store: not atomic as a pair. Returns the old value.
    Argument nonInterlockedSet(Argument value) noexcept
    {
        const Argument old = nonInterlockedRead();
        initialize(value);
        return old;
    }

private:
    static constexpr Argument minusOne = static_cast<Argument>(-1);

    static Argument cut(Argument value) noexcept { return static_cast<Stored>(value); }
    Stored readStored() const noexcept { return asmExchangeAdd(const_cast<Stored*>(&m_value), 0); }

    alignas(std::atomic_ref<Stored>::required_alignment) Stored m_value;
};

/// A signed 32-bit counter that several threads may change. Copying reads the source with a locked read.
///
///     SInterlockedInt32s users(0);
///     if (++users == 1) openDoors();
class SInterlockedInt32s : public SInterlockedInt32_t<std::int32_t, long>
{
public:
    using SInterlockedInt32_t::SInterlockedInt32_t;
};

/// The unsigned twin.
class SInterlockedInt32u : public SInterlockedInt32_t<std::uint32_t, unsigned long>
{
public:
    using SInterlockedInt32_t::SInterlockedInt32_t;
};

inline long SInterlockedExchangeAdd(SInterlockedInt32s* target, long value) noexcept
{
    return target->exchangeAdd(value);
}

inline long SInterlockedExchange(SInterlockedInt32s* target, long value) noexcept
{
    return target->exchange(value);
}

inline long SNonInterlockedRead(const SInterlockedInt32s* source) noexcept
{
    return source->nonInterlockedRead();
}

inline unsigned long SNonInterlockedRead(const SInterlockedInt32u* source) noexcept
{
    return source->nonInterlockedRead();
}

inline long SNonInterlockedSet(SInterlockedInt32s* target, long value) noexcept
{
    return target->nonInterlockedSet(value);
}

inline unsigned long SNonInterlockedSet(SInterlockedInt32u* target, unsigned long value) noexcept
{
    return target->nonInterlockedSet(value);
}

/// The system's own recursive lock within a process and nothing else: the thread that holds it may take it
/// again and must release it as often. `Lock` may block without limit.
class MORVEX_EXPORT CS_Wrapper
{
public:
    CS_Wrapper();
    ~CS_Wrapper();

    /// Every free lock is like every other, so nothing changes hands: this lock stays the lock that it is.
    /// Neither side may be in use.
    CS_Wrapper& operator=(const CS_Wrapper&) noexcept { return *this; }
    CS_Wrapper(const CS_Wrapper&) = delete;

    void Lock();
    void Unlock();

private:
    alignas(std::max_align_t) std::byte m_section[48];
};

/// Base of objects that are shared by counting. The creator owns one reference from the start, and the object
/// deletes itself, through its virtual destructor, when the last one is released.
///
///     CSmartRefCountPtr<Session> session = new Session; // count 1
///
/// The counting may be done on any thread; the thread that releases last runs the destructor.
class MORVEX_EXPORT CRefCount
{
public:
    CRefCount() noexcept : m_lRefCount(1) {}

    /// A copy is a new object with a count of 1 of its own.
    CRefCount(const CRefCount&) noexcept : m_lRefCount(1) {}

    /// Unlike the copy constructor, assignment takes over the source's count as it stands. A class that lets
    /// its base be assigned inherits this; one that does not want it assigns its own fields only.
    CRefCount& operator=(const CRefCount& other) noexcept
    {
        m_lRefCount = other.m_lRefCount;
        return *this;
    }

    /// Returns the new count. Const, so that a pointer to a const object can be shared.
    virtual long addRef() const;

    /// Returns the new count; at 0 the object is gone. Releasing an object that is not on the heap below 0
    /// is not detected: the count goes negative without effect.
    virtual long release() const;

protected:
    /// Asserts that the count is 0 and goes on.
    virtual ~CRefCount();

    /// A plain store of 0: how an object that does not live on the heap passes the destructor's check.
    void clearRefCount() const noexcept { m_lRefCount.initialize(0); }

public:
    long getCount() const noexcept { return m_lRefCount.read(); }

private:
    mutable SInterlockedInt32s m_lRefCount;
};

/// Holds one counted object, or none. Taking a raw pointer takes over the reference that the pointer carries;
/// copying adds a reference of its own. `share` makes a pointer from a raw one and leaves the raw one's
/// reference with its owner.
///
///     CSmartRefCountPtr<Session> mine = new Session;                                   // takes over
///     CSmartRefCountPtr<Session> also = CSmartRefCountPtr<Session>::share(mine.get()); // adds its own
///
/// Different pointers to one object may be used by different threads; one pointer variable may not be written
/// by one thread while another reads it.
template <class T>
class CSmartRefCountPtr
{
public:
    using element_type = T;

    constexpr CSmartRefCountPtr() noexcept = default;
    constexpr CSmartRefCountPtr(std::nullptr_t) noexcept {}

    /// Takes over the reference that the pointer carries: no `addRef`.
    CSmartRefCountPtr(T* object) noexcept : m_object(object) {}

    CSmartRefCountPtr(const CSmartRefCountPtr& other) : m_object(addRefTo(other.m_object)) {}
    CSmartRefCountPtr(CSmartRefCountPtr&& other) noexcept : m_object(other.detach()) {}

    template <class U>
    requires std::convertible_to<U*, T*> CSmartRefCountPtr(const CSmartRefCountPtr<U>& other)
        : m_object(addRefTo<T>(other.get()))
    {}

    template <class U>
    requires std::convertible_to<U*, T*> CSmartRefCountPtr(CSmartRefCountPtr<U>&& other)
    noexcept : m_object(other.detach()) {}

    ~CSmartRefCountPtr() { releaseFrom(m_object); }

    /// A new pointer with a reference of its own; the raw pointer keeps the one that it carries.
    static CSmartRefCountPtr share(T* object) { return CSmartRefCountPtr(addRefTo(object)); }

    /// Takes over the reference that the pointer carries. Being handed the very object that it holds, the
    /// pointer gives one of the two references back; where there is only one, nothing was handed over.
    CSmartRefCountPtr& operator=(T* object)
    {
        if (object != m_object || object == nullptr || object->getCount() > 1) {
            replace(object);
        }
        return *this;
    }

    CSmartRefCountPtr& operator=(std::nullptr_t)
    {
        replace(nullptr);
        return *this;
    }

    /// The new object is secured before the old one is released: assigning a pointer to itself, or to a
    /// pointer that lives inside the old object (`p = p->next`), is safe.
    CSmartRefCountPtr& operator=(const CSmartRefCountPtr& other)
    {
        replace(addRefTo(other.m_object));
        return *this;
    }

    CSmartRefCountPtr& operator=(CSmartRefCountPtr&& other)
    {
        replace(other.detach());
        return *this;
    }

    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    T* get() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    /// Gives the object and its reference away; the pointer is null afterwards.
    [[nodiscard]] T* detach() noexcept { return std::exchange(m_object, nullptr); }

    void swap(CSmartRefCountPtr& other) noexcept { std::swap(m_object, other.m_object); }

    template <class U>
    bool operator==(const CSmartRefCountPtr<U>& other) const noexcept
    {
        return m_object == other.get();
    }
    bool operator==(const T* object) const noexcept { return m_object == object; }
    bool operator==(std::nullptr_t) const noexcept { return m_object == nullptr; }
    std::strong_ordering operator<=>(const CSmartRefCountPtr& other) const noexcept
    {
        return std::compare_three_way()(m_object, other.m_object);
    }

private:
    template <class U>
    static U* addRefTo(U* object)
    {
        if (object != nullptr) {
            object->addRef();
        }
        return object;
    }

    static void releaseFrom(T* object)
    {
        if (object != nullptr) {
            object->release();
        }
    }

    void replace(T* object) { releaseFrom(std::exchange(m_object, object)); }

    T* m_object = nullptr;
};

} // namespace MorvexA106

template <class T>
struct std::hash<MorvexA106::CSmartRefCountPtr<T>>
{
    std::size_t operator()(const MorvexA106::CSmartRefCountPtr<T>& pointer) const noexcept
    {
        return std::hash<T*>()(pointer.get());
    }
};

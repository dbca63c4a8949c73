#pragma once

#include <string>

namespace MorvexA106::Platform
{

/// Gives the calling thread the name that debuggers and system tools show for it. A name is a help and never
/// a condition: where the system refuses it, nothing happens.
///
/// POSIX: the system keeps 15 bytes; a longer name is cut, never inside a UTF-8 character.
///
/// Windows: the name is read by the system's ANSI code page. Before Windows 10 version 1607 there is no such
/// name.
void nameThisThread(const std::string& name) noexcept;

/// The name that the system has for the calling thread; empty where there is none.
std::string nameOfThisThread();

/// One pointer for each thread, null at first. An occupant that is still there when its thread ends is told.
/// That is what a `thread_local` object's destructor is for, but on Windows with our compiler such an object's
/// memory may be gone before its destructor runs.
///
/// A slot lasts as long as the process: it can't be given back while threads run.
class ThreadSlot
{
public:
    class Occupant
    {
    public:
        /// Called on the thread that ends; it must not use the slot. On the main thread, which ends with the
        /// process, it may never be called.
        virtual void threadEnds() noexcept = 0;

    protected:
        Occupant() = default;
        Occupant(const Occupant&) = default;
        Occupant& operator=(const Occupant&) = default;
        virtual ~Occupant() = default;
    };

    /// Where the system has no slot left, this one refuses every occupant.
    ThreadSlot() noexcept;
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    Occupant* get() const noexcept;

    /// False, with the slot as it was, when the system has no memory for it. The slot owns nothing.
    bool set(Occupant* occupant) noexcept;

private:
    unsigned long m_key = 0;
    bool m_usable = false;
};

} // namespace MorvexA106::Platform

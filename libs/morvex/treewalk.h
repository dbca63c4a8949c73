#pragma once

/// @file
/// The order in which a tree of folders is gone through.

#include "platform/folderchain.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace MorvexA106
{

/// Goes through a tree depth first, without recursion: a folder's other entries while it is read, then its folders,
/// each before the next. What fails is kept, the first of it, and the walk goes on. An entry that is gone by its turn
/// is no failure.
///
/// The derived class says what to do; whatever it is told of is in the folder in hand of `m_chain`.
class TreeWalk
{
public:
    using Name = Platform::FolderChain::Name;
    using NameText = Platform::FolderChain::NameText;

    struct Failure
    {
        Platform::SystemError error;
        std::string path; ///< as from the top, which is the empty path
    };

    /// The chain has its top in hand.
    explicit TreeWalk(Platform::FolderChain& chain) : m_chain(chain) {}
    TreeWalk(const TreeWalk&) = delete;
    TreeWalk& operator=(const TreeWalk&) = delete;
    virtual ~TreeWalk() = default;

    /// May be called again: the top is in hand afterwards, unless the walk was stopped.
    void run();

    const std::optional<Failure>& failure() const noexcept { return m_failure; }

protected:
    /// An entry that is no folder.
    virtual void file(NameText name, Platform::EntryKind kind) = 0;

    /// The folder is in hand now. False leaves it again at once, with no further calls for it.
    virtual bool entered(NameText) { return true; }

    /// The folder has been gone through and is in hand for the last time.
    virtual void leaving() {}

    /// The folder above is in hand again.
    virtual void left(NameText) {}

    /// A folder that can't be entered.
    virtual void closed(NameText name, const Platform::SystemError& error) { fail(name, error); }

    /// The way up was lost, and folders are left out.
    virtual void lost() {}

    void fail(NameText name, const Platform::SystemError& error);

    /// The same for the folder in hand.
    void failInHand(const Platform::SystemError& error) { fail(Name().c_str(), error); }

    /// Makes a folder of this name the next to be entered.
    void queue(NameText name) { m_levels.back().append(name).push_back(0); }
    void stop() noexcept { m_stopped = true; }

    std::size_t failures() const noexcept { return m_failures; }
    Platform::FolderChain& chain() const noexcept { return m_chain; }

private:
    static Name takeLast(Name& names);
    void readFolder();
    void step();
    void descend(const Name& name);
    void ascend();
    bool goUp();
    void couldNotEnter(const Name& name, const Platform::SystemError& error);

    Platform::FolderChain& m_chain;
    std::vector<Name> m_levels; ///< for each, the folders still to be entered, each ended by a zero
    std::optional<Failure> m_failure;
    std::size_t m_failures = 0;
    bool m_stopped = false;
};

} // namespace MorvexA106

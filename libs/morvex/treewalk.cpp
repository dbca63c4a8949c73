#include "morvex/treewalk.h"

namespace MorvexA106
{

using Platform::EntryKind;
using Platform::SystemError;

void TreeWalk::run()
{
    m_levels.assign(1, {});
    readFolder();
    while (!m_levels.empty() && !m_stopped) {
        step();
    }
}

void TreeWalk::fail(NameText name, const SystemError& error)
{
    ++m_failures;
    if (!m_failure) {
        m_failure = Failure{error, m_chain.pathOf(name)};
    }
}

TreeWalk::Name TreeWalk::takeLast(Name& names)
{
    names.pop_back();
    const std::size_t end = names.find_last_of(Name::value_type());
    const std::size_t begin = end == Name::npos ? 0 : end + 1;
    Name last = names.substr(begin);
    names.resize(begin);
    return last;
}

void TreeWalk::readFolder()
{
    const SystemError error = m_chain.read([&](NameText name, EntryKind kind) {
        if (kind == EntryKind::folder) {
            queue(name);
        } else if (!m_stopped) {
            file(name, kind);
        }
    });
    if (error) {
        failInHand(error);
    }
}

void TreeWalk::step()
{
    Name& folders = m_levels.back();
    if (folders.empty()) {
        ascend();
    } else {
        descend(takeLast(folders));
    }
}

void TreeWalk::descend(const Name& name)
{
    if (const SystemError error = m_chain.enter(name.c_str())) {
        couldNotEnter(name, error);
        return;
    }
    m_levels.emplace_back();
    if (entered(name.c_str())) {
        readFolder();
    } else {
        goUp();
    }
}

void TreeWalk::ascend()
{
    if (m_levels.size() == 1) {
        m_levels.clear();
        return;
    }
    leaving();
    const Name name = m_chain.name();
    if (goUp()) {
        left(name.c_str());
    }
}

bool TreeWalk::goUp()
{
    const SystemError error = m_chain.leave();
    m_levels.resize(m_chain.depth());
    if (error) {
        failInHand(error);
        lost();
    }
    return !error;
}

/// It may be gone, or something else by now.
void TreeWalk::couldNotEnter(const Name& name, const SystemError& error)
{
    EntryKind kind = EntryKind::folder;
    std::uint64_t size = 0;
    const SystemError looked = m_chain.look(name.c_str(), kind, size);
    if (looked && meansGone(looked)) {
        return;
    }
    if (looked || kind == EntryKind::folder) {
        closed(name.c_str(), error);
    } else {
        file(name.c_str(), kind);
    }
}

} // namespace MorvexA106

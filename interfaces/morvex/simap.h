#pragma once

/// @file
/// The ordered map.

#include "morvex/siiterator.h"

#include <map>

namespace MorvexA106
{

/// Values under keys, in the order of the keys. A missing key is a result and never an exception.
///
///     SIMap<unsigned long, SAnsiString> names;
///     names.Insert(7, "seven");
///     SAnsiString name;
///     if (names.Lookup(7, name)) { ... }
///     for (const auto& [number, text] : names) { ... }
///
/// The key's `<` is all that is asked of it, so two keys of which neither is less are one key; overwriting
/// keeps the key that came first. Look-up, insertion and removal cost a number of comparisons that grows with
/// the logarithm of the count. References to values stay good until their entry is removed.
///
/// Failure: what copying a key or value throws, or `std::bad_alloc`; the map is then as it was, but for a
/// value whose own assignment failed half way. Threads: not locked; any number may read at once.
template <class K, class V>
class SIMap
{
    using Entries = std::map<K, V>;

public:
    using key_type = K;
    using mapped_type = V;
    using value_type = typename Entries::value_type;
    using Iterator = SIIterator<Entries, typename Entries::iterator>;
    using ConstIterator = SIIterator<Entries, typename Entries::const_iterator>;

    SIMap() = default;
    SIMap(const SIMap&) = default;
    SIMap(SIMap&&) = default;
    SIMap& operator=(const SIMap&) = default;
    SIMap& operator=(SIMap&&) = default;
    virtual ~SIMap() = default;

    /// Adds the pair, or overwrites the value under the key that is there.
    void Insert(const K& key, const V& value) { m_entries.insert_or_assign(key, value); }

    /// Other names of `Insert`.
    void SetAt(const K& key, const V& value) { Insert(key, value); }
    void Update(const K& key, const V& value) { Insert(key, value); }

    /// Whether the key is there; `value` is left as it was when it isn't.
    bool Lookup(const K& key, V& value) const
    {
        const auto found = m_entries.find(key);
        if (found == m_entries.end()) {
            return false;
        }
        value = found->second;
        return true;
    }

    /// Whether the key was there and is removed now.
    bool RemoveKey(const K& key)
    {
        const auto found = m_entries.find(key);
        if (found == m_entries.end()) {
            return false;
        }
        m_entries.erase(found);
        return true;
    }

    void RemoveAll() noexcept { m_entries.clear(); }

    unsigned GetCount() const noexcept { return static_cast<unsigned>(m_entries.size()); }
    bool IsEmpty() const noexcept { return m_entries.empty(); }

    /// At the first entry; at the end when there is none.
    Iterator GetFirst() { return at(m_entries.begin()); }
    ConstIterator GetFirst() const { return at(m_entries.begin()); }
    Iterator GetIterator() { return GetFirst(); }
    ConstIterator GetIterator() const { return GetFirst(); }
    Iterator Begin() { return GetFirst(); }
    ConstIterator Begin() const { return GetFirst(); }

    /// At the last entry; at the end when there is none.
    Iterator GetLast() { return at(m_entries.empty() ? m_entries.end() : std::prev(m_entries.end())); }
    ConstIterator GetLast() const
    {
        return at(m_entries.empty() ? m_entries.end() : std::prev(m_entries.end()));
    }

    /// Past the last entry.
    Iterator End() { return at(m_entries.end()); }
    ConstIterator End() const { return at(m_entries.end()); }

    /// At the entry with this key; at the end when it is missing.
    Iterator Find(const K& key) { return at(m_entries.find(key)); }
    ConstIterator Find(const K& key) const { return at(m_entries.find(key)); }
    Iterator BeginAt(const K& key) { return Find(key); }
    ConstIterator BeginAt(const K& key) const { return Find(key); }

    Iterator begin() { return Begin(); }
    ConstIterator begin() const { return Begin(); }
    Iterator end() { return End(); }
    ConstIterator end() const { return End(); }

private:
    Iterator at(typename Entries::iterator position)
    {
        return Iterator(m_entries.begin(), position, m_entries.end());
    }
    ConstIterator at(typename Entries::const_iterator position) const
    {
        return ConstIterator(m_entries.begin(), position, m_entries.end());
    }

    Entries m_entries;
};

} // namespace MorvexA106

#pragma once

/// @file
/// The ordered set.

#include "morvex/siiterator.h"

#include <set>

namespace MorvexA106
{

/// Elements without repetition, in their order. The spelling is that of `SIMap`.
///
///     SISet<SAnsiStringCI> files;
///     files.Insert("sfile");
///     if (files.Lookup("SFILE")) { ... }
///
/// The element's `<` is all that is asked of it. Elements can't be changed in place. Cost, failure and
/// threads as on `SIMap`.
template <class T>
class SISet
{
    using Elements = std::set<T>;

public:
    using key_type = T;
    using value_type = T;
    using Iterator = SIIterator<Elements, typename Elements::const_iterator>;
    using ConstIterator = Iterator;

    SISet() = default;
    SISet(const SISet&) = default;
    SISet(SISet&&) = default;
    SISet& operator=(const SISet&) = default;
    SISet& operator=(SISet&&) = default;
    virtual ~SISet() = default;

    /// Whether the element is new; one that is there is kept as it is.
    bool Insert(const T& element) { return m_elements.insert(element).second; }

    bool Lookup(const T& element) const { return m_elements.find(element) != m_elements.end(); }

    /// Whether the element was there and is removed now.
    bool RemoveKey(const T& element)
    {
        const auto found = m_elements.find(element);
        if (found == m_elements.end()) {
            return false;
        }
        m_elements.erase(found);
        return true;
    }

    void RemoveAll() noexcept { m_elements.clear(); }

    unsigned GetCount() const noexcept { return static_cast<unsigned>(m_elements.size()); }
    bool IsEmpty() const noexcept { return m_elements.empty(); }

    /// At the first element; at the end when there is none.
    Iterator GetFirst() const { return at(m_elements.begin()); }
    Iterator GetIterator() const { return GetFirst(); }
    Iterator Begin() const { return GetFirst(); }

    /// At the last element; at the end when there is none.
    Iterator GetLast() const
    {
        return at(m_elements.empty() ? m_elements.end() : std::prev(m_elements.end()));
    }

    /// Past the last element.
    Iterator End() const { return at(m_elements.end()); }

    /// At the element; at the end when it is missing.
    Iterator Find(const T& element) const { return at(m_elements.find(element)); }
    Iterator BeginAt(const T& element) const { return Find(element); }

    Iterator begin() const { return Begin(); }
    Iterator end() const { return End(); }

private:
    Iterator at(typename Elements::const_iterator position) const
    {
        return Iterator(m_elements.begin(), position, m_elements.end());
    }

    Elements m_elements;
};

} // namespace MorvexA106

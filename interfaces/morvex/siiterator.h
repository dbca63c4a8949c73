#pragma once

/// @file
/// The position in a map or set.

#include <concepts>
#include <cstddef>
#include <iterator>

namespace MorvexA106
{

/// A position in an ordered collection, which also knows the first entry, the last and the end of it. `SIMap`
/// and `SISet` name their own: `SIMap<K, V>::Iterator`, `SISet<T>::Iterator`.
///
///     for (auto entry = map.GetFirst(); !entry.IsAtEnd(); ++entry)
///         print(entry.Key(), entry.Value());
///     for (auto entry = map.GetLast(); !entry.IsAtEnd(); --entry)
///         print(entry.Key(), entry.Value());
///
/// | at             | `++` goes to | `--` goes to                               |
/// |----------------|--------------|--------------------------------------------|
/// | an entry       | the next one | the one before                             |
/// | the last entry | the end      | the one before                             |
/// | the first      | the next one | the end: it has left the range in front    |
/// | the end        | the end      | the last entry, or the end when none is there |
///
/// At the end there is no entry to read. It is a standard bidirectional iterator as well; two are equal when
/// they stand at the same entry of the same collection.
///
/// It is a plain value and keeps nothing alive. Every removal, assignment and move of the collection can
/// leave it dangling, even one of another entry: look the position up again. Insertion leaves it valid, but
/// it takes for the first and the last what they were when it was made.
template <class Container, class Position>
class SIIterator
{
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = typename Container::value_type;
    using difference_type = std::ptrdiff_t;
    using pointer = typename std::iterator_traits<Position>::pointer;
    using reference = typename std::iterator_traits<Position>::reference;

    SIIterator() = default;

    /// At `current`, in the range from `begin` to `end`.
    SIIterator(Position begin, Position current, Position end)
        : m_begin(begin),
          m_last(begin == end ? end : std::prev(end)),
          m_current(current),
          m_end(end)
    {}

    /// An iterator that may write serves where one that reads is wanted.
    operator SIIterator<Container, typename Container::const_iterator>() const
        requires(!std::same_as<Position, typename Container::const_iterator>)
    {
        return {m_begin, m_last, m_current, m_end};
    }

    bool IsAtEnd() const noexcept { return m_current == m_end; }
    explicit operator bool() const noexcept { return !IsAtEnd(); }

    reference operator*() const noexcept { return *m_current; }
    pointer operator->() const noexcept { return &*m_current; }

    const auto& Key() const noexcept requires requires { typename Container::mapped_type; }
    {
        return m_current->first;
    }
    auto& Value() const noexcept requires requires { typename Container::mapped_type; }
    {
        return m_current->second;
    }

    SIIterator& operator++() noexcept
    {
        if (!IsAtEnd()) {
            ++m_current;
        }
        return *this;
    }
    SIIterator operator++(int) noexcept
    {
        SIIterator before(*this);
        ++*this;
        return before;
    }
    SIIterator& operator--() noexcept
    {
        if (IsAtEnd()) {
            m_current = m_last;
        } else if (m_current == m_begin) {
            m_current = m_end;
        } else {
            --m_current;
        }
        return *this;
    }
    SIIterator operator--(int) noexcept
    {
        SIIterator before(*this);
        --*this;
        return before;
    }

    friend bool operator==(const SIIterator& left, const SIIterator& right) noexcept
    {
        return left.m_current == right.m_current;
    }

private:
    template <class, class>
    friend class SIIterator;

    SIIterator(Position begin, Position last, Position current, Position end)
        : m_begin(begin),
          m_last(last),
          m_current(current),
          m_end(end)
    {}

    Position m_begin{};
    Position m_last{};
    Position m_current{};
    Position m_end{};
};

} // namespace MorvexA106

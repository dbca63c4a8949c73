#pragma once

/// @file
/// The growable array.

#include <algorithm>
#include <climits>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace MorvexA106
{

/// Elements in one block of storage, counted and indexed with unsigned numbers.
///
///     SIArray<SAnsiString> words;
///     words.Add("first");
///     words.InsertAt(0, "zeroth", 1);
///     for (const SAnsiString& word : words) { ... }
///
/// Indexes: an element is read, written or referred to only below `GetSize()`, and nothing checks that.
/// `InsertAt` and `RemoveAt` cut an index or a count that goes too far.
///
/// Own elements: an element of the array, or the array itself, may be handed to every operation, and counts
/// as what it was before the call.
///
/// Growth: `Add`, `Append` and `InsertAt` at least double storage that is full; `SetSize` grows by a bounded
/// step. Only destruction, assignment and moving give storage back. Growing makes pointers and references to
/// elements invalid; removing does so from the first removed element on.
///
/// Failure: exhausted memory, and more elements than an `unsigned` counts, throw `std::bad_alloc`. Threads:
/// not locked; any number may read at once.
template <class T>
class SIArray
{
    static_assert(!std::is_same_v<T, bool>, "an array of bool has no elements to refer to");

public:
    using value_type = T;

    SIArray() = default;
    SIArray(const SIArray&) = default;
    SIArray(SIArray&&) noexcept = default;
    SIArray& operator=(const SIArray&) = default;
    SIArray& operator=(SIArray&&) noexcept = default;
    virtual ~SIArray() = default;

    unsigned GetSize() const noexcept { return static_cast<unsigned>(m_elements.size()); }

    /// The last index: all ones for an empty array.
    unsigned GetUpperBound() const noexcept { return GetSize() - 1; }

    /// Elements that the present storage has room for.
    std::size_t GetCapacity() const noexcept { return m_elements.capacity(); }

    /// Cuts the array, or fills it up with default elements. 0 keeps the storage.
    ///
    /// A size beyond the capacity grows the storage by `growBy` elements, or to `newSize` where that is more.
    /// All ones for `growBy` asks for an eighth of the present size, at least 4 and at most 1024. An array
    /// with no elements takes exactly what it needs.
    ///
    /// | size, capacity | call              | new capacity |
    /// |----------------|-------------------|--------------|
    /// | 40, 40         | `SetSize(41)`     | 45           |
    /// | 10, 10         | `SetSize(11)`     | 14           |
    /// | 20000, 20000   | `SetSize(20001)`  | 21024        |
    /// | 10, 10         | `SetSize(11, 50)` | 60           |
    /// | 0, 0           | `SetSize(3)`      | 3            |
    void SetSize(unsigned newSize, unsigned growBy = UINT_MAX)
    {
        if (!m_elements.empty() && newSize > m_elements.capacity()) {
            m_elements.reserve(grownCapacity(newSize, growBy));
        }
        m_elements.resize(newSize);
    }

    T GetAt(unsigned index) const { return m_elements[index]; }
    T operator[](unsigned index) const { return m_elements[index]; }
    T& ElementAt(unsigned index) { return m_elements[index]; }
    T& operator[](unsigned index) { return m_elements[index]; }

    /// Assigns over an existing element.
    void SetAt(unsigned index, T element) { m_elements[index] = std::move(element); }

    /// Appends and returns the index of the new element.
    unsigned Add(const T& element)
    {
        checkRoom(1);
        m_elements.push_back(element);
        return GetUpperBound();
    }

    /// Appends copies of all elements and returns the index of the first of them, which is the old size, also
    /// when there are none.
    unsigned Append(const SIArray& other)
    {
        if (&other == this) {
            return Append(SIArray(other));
        }
        const unsigned index = GetSize();
        checkRoom(other.m_elements.size());
        m_elements.insert(m_elements.end(), other.m_elements.begin(), other.m_elements.end());
        return index;
    }

    /// Replaces the content by copies of the other's.
    void Copy(const SIArray& other) { m_elements = other.m_elements; }

    /// Inserts `count` copies in front of `index`. An index beyond the end appends them.
    void InsertAt(unsigned index, const T& element, unsigned count = 1)
    {
        checkRoom(count);
        const T copy(element); // the element may be one of those that move
        m_elements.insert(m_elements.begin() + offset(index), count, copy);
    }

    /// Removes `count` elements from `index` on, or as many as there are. An index beyond the end removes
    /// nothing. The storage stays.
    void RemoveAt(unsigned index, unsigned count = 1)
    {
        const std::size_t first = offset(index);
        const std::size_t removed = m_elements.size() - first < count ? m_elements.size() - first : count;
        m_elements.erase(m_elements.begin() + first, m_elements.begin() + (first + removed));
    }

    /// The storage stays.
    void RemoveAll() noexcept { m_elements.clear(); }

    /// Pointers to the first element and past the last; equal, and perhaps null, for an empty array.
    T* Begin() noexcept { return m_elements.data(); }
    const T* Begin() const noexcept { return m_elements.data(); }
    T* End() noexcept { return m_elements.data() + m_elements.size(); }
    const T* End() const noexcept { return m_elements.data() + m_elements.size(); }

    T* begin() noexcept { return Begin(); }
    const T* begin() const noexcept { return Begin(); }
    T* end() noexcept { return End(); }
    const T* end() const noexcept { return End(); }

private:
    using Offset = typename std::vector<T>::difference_type;

    std::size_t grownCapacity(std::size_t newSize, unsigned growBy) const noexcept
    {
        const std::size_t step =
            growBy == UINT_MAX ? std::clamp<std::size_t>(m_elements.size() / 8, 4, 1024) : growBy;
        const std::size_t stepped = m_elements.capacity() + step;
        return stepped < newSize ? newSize : stepped;
    }

    /// The size itself stands for every index beyond it.
    Offset offset(unsigned index) const noexcept
    {
        return static_cast<Offset>(index < m_elements.size() ? index : m_elements.size());
    }

    void checkRoom(std::size_t count) const
    {
        if (count > UINT_MAX - m_elements.size()) {
            throw std::bad_alloc();
        }
    }

    std::vector<T> m_elements;
};

} // namespace MorvexA106

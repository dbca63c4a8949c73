#include "morvex/multibyte.h"
#include "morvex/sstringimpl.h"
#include "morvex/textunits.h"

#include <algorithm>

namespace MorvexA106
{

using TextUnits::lengthOf;
using TextUnits::Walker;

template <class T, int M>
void SStringIterator_t<T, M>::stepMultibyte() noexcept
{
    if constexpr (M == 0) {
        m_cursor += Platform::stepOf(m_cursor);
    }
}

template <class T, int M>
SStringIterator_t<T, M>& SStringIterator_t<T, M>::operator+=(unsigned int count) noexcept
{
    const Walker<T, M> walker;
    for (; count != 0 && *m_cursor != 0; --count) {
        m_cursor += walker.step(m_cursor);
    }
    return *this;
}

template <class T, int M>
SStringIterator_t<T, M> SStringIterator_t<T, M>::find(const SChar_t<T, M>& wanted) const noexcept
{
    constexpr std::size_t limit = M == 0 ? Platform::maxCharacterBytes : 1;
    const T* units = wanted.getUnits();
    const std::size_t size = TextUnits::lengthWithin(units, limit);
    const Walker<T, M> walker;
    const T* at = m_cursor;
    while (*at != 0) {
        const std::size_t step = walker.step(at);
        if (step == size && std::equal(units, units + size, at)) {
            break;
        }
        at += step;
    }
    return at;
}

template <class T, int M>
SStringIterator_t<T, M> SStringIterator_t<T, M>::find(const SString_t<T, M>& wanted) const noexcept
{
    const T* pattern = wanted.getString();
    if constexpr (sizeof(T) == 1) {
        return Multibyte::findText(m_cursor, pattern);
    } else {
        return std::search(m_cursor, m_cursor + lengthOf(m_cursor), pattern, pattern + lengthOf(pattern));
    }
}

template class SStringIterator_t<char, 0>;
template class SStringIterator_t<char, 1>;
template class SStringIterator_t<unsigned short, 1>;

} // namespace MorvexA106

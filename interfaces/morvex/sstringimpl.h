#pragma once

/// @file
/// The string engine: `SChar_t` (one character), `SStringIterator_t` (a cursor) and `SString_t` (a text).
///
/// `T` is the storage unit and `M` says how a character is found: 0 asks the locale's multibyte rules, 1 takes
/// every unit as a character. There are three instantiations, and the library holds the code of all:
///
/// | instantiation                  | text                                  | a character is               |
/// |--------------------------------|---------------------------------------|------------------------------|
/// | `SString_t<char, 0>`           | multibyte text of the current locale  | 1 to 6 bytes                 |
/// | `SString_t<char, 1>`           | 7-bit text                            | one byte                     |
/// | `SString_t<unsigned short, 1>` | 16-bit text                           | one unit, so a pair is two   |
///
/// Callers use the named classes of sstring.h.

#include "morvex/export.h"
#include "morvex/schartype.h"
#include "morvex/types.h"

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace MorvexA106
{

namespace Multibyte
{
struct CaseMapping;
}

/// One character, held by value. A multibyte character keeps up to six bytes, zero filled; bytes that are no
/// character in the current locale are held as a single byte. The zero character stands for "none".
template <class T, int M>
class MORVEX_EXPORT SChar_t
{
public:
    /// The zero character.
    SChar_t() noexcept = default;

    /// The character of one unit.
    SChar_t(T unit) noexcept : m_units{unit} {}

    /// The character that terminated text begins with; the zero character for null or empty text.
    explicit SChar_t(const T* text) noexcept;

    /// The first unit.
    T getChar() const noexcept { return m_units[0]; }

    /// The units, zero filled.
    const T* getUnits() const noexcept { return m_units; }

    /// Units of the character. Multibyte: 0 for the zero character, all ones when the bytes are no character
    /// in the current locale. Otherwise always 1.
    unsigned int getLength() const noexcept;

    bool operator==(const SChar_t& other) const noexcept;

    /// Multibyte and 16-bit characters go by `is_upper` and its kin, and have no class when they are no
    /// character in the locale; 7-bit characters go by the C runtime.
    bool isUpper() const noexcept;
    bool isLower() const noexcept;
    bool isAlpha() const noexcept;
    bool isDigit() const noexcept;
    bool isWhiteSpace() const noexcept;

    /// The blank, the tab and the ideographic blank U+3000; a 7-bit character is blank when it is white
    /// space, line ends included.
    bool isBlank() const noexcept;

    /// By the current locale. A multibyte character that cannot be converted, there or back, is reported as an
    /// assertion and gives the zero character.
    SChar_t toLower() const;
    SChar_t toUpper() const;

    /// Write the character in another form and return the units written.
    ///
    /// `toMBCSChar` gives the bytes of the character in the locale, 0 for the multibyte zero character and all ones
    /// when there is no such form. It writes only when they fit into `size` bytes, and then zero fills the whole
    /// buffer; a null buffer only asks. The others need room for two units and write nothing for null.
    ///
    /// | from      | `toAsciiChar`           | `toQCAChar`, `toWideChar`                                 |
    /// |-----------|-------------------------|-----------------------------------------------------------|
    /// | multibyte | 1; 0 unless below 0x80  | 1, or 2 for a character above U+FFFF; 0 when it is none   |
    /// | 7-bit     | 1                       | 1                                                         |
    /// | 16-bit    | 1; 0 unless below 0x80  | 1                                                         |
    ///
    /// A 7-bit unit is written as it is: to 16 bits by sign extension, so that 0xE4 becomes 0xFFE4.
    unsigned int toMBCSChar(char* buffer, unsigned int size) const noexcept;
    unsigned int toAsciiChar(char* buffer) const noexcept;
    unsigned int toQCAChar(unsigned short* buffer) const noexcept;
    unsigned int toWideChar(unsigned short* buffer) const noexcept { return toQCAChar(buffer); }

    static constexpr bool isUnicode() noexcept { return sizeof(T) == 2; }
    static constexpr bool isWideChar() noexcept { return sizeof(T) == 2; }

    /// False on every form, the 16-bit one included: no use for telling what an `SQCAString` holds.
    static constexpr bool isQCAChar() noexcept { return false; }
    static constexpr bool isMBCSChar() noexcept { return M == 0; }
    static constexpr bool isAsciiChar() noexcept { return sizeof(T) == 1 && M == 1; }

private:
    static constexpr int unitCount = M == 0 ? 6 : sizeof(T) == 2 ? 3 : 1;

    T m_units[unitCount] = {};
};

template <class T, int M>
class SString_t;

/// A cursor into a text. It does not know its string: any change of the string makes it invalid, except for
/// the operations that take it by reference and move it along.
template <class T, int M>
class MORVEX_EXPORT SStringIterator_t
{
public:
    SStringIterator_t(const SString_t<T, M>& text) noexcept;
    SStringIterator_t(const T* cursor) noexcept : m_cursor(cursor) {}

    /// The character at the cursor; a byte that is no character in the locale is given by itself.
    SChar_t<T, M> operator*() const noexcept { return SChar_t<T, M>(m_cursor); }

    /// Moves on by one character. Multibyte: a null cursor stays null, the terminator holds the cursor, a byte
    /// that is no character counts as one. Fixed width: one unit, with no check of the end.
    SStringIterator_t& operator++() noexcept;
    SStringIterator_t operator++(int) noexcept
    {
        SStringIterator_t before(*this);
        ++*this;
        return before;
    }

    /// Moves on by at most `count` characters and stops at the terminator.
    SStringIterator_t& operator+=(unsigned int count) noexcept;

    bool isAtEnd() const noexcept { return *m_cursor == 0; }
    bool operator!() const noexcept { return isAtEnd(); }
    explicit operator bool() const noexcept { return !isAtEnd(); }

    bool operator==(const SStringIterator_t& other) const noexcept = default;
    std::strong_ordering operator<=>(const SStringIterator_t& other) const noexcept
    {
        return std::compare_three_way()(m_cursor, other.m_cursor);
    }

    /// The distance in units: bytes on multibyte text, not characters.
    std::ptrdiff_t operator-(const SStringIterator_t& other) const noexcept
    {
        return m_cursor - other.m_cursor;
    }

    /// From the cursor to the next such character, or to the end: ask `isAtEnd`.
    SStringIterator_t find(const SChar_t<T, M>& wanted) const noexcept;
    SStringIterator_t find(const SString_t<T, M>& wanted) const noexcept;

    /// The text at the cursor.
    const T* getCursor() const noexcept { return m_cursor; }

private:
    void stepMultibyte() noexcept;

    const T* m_cursor;
};

/// Text in a counted buffer that is shared until it is written.
///
/// Storage: the object is one pointer to a heap block of a header (reference count, length, capacity, 32 bits
/// each; length and capacity in units, the capacity counting the terminator) and the terminated text. All
/// empty strings may point at one static buffer, which is told by its capacity of all ones and is never
/// counted, written or freed; a heap buffer of length 0 reads as empty as well. Only a heap buffer with a
/// count of 1 is written.
///
/// Growth: an edit that needs room adds 32 units of slack; an append that needs room doubles. Copying costs
/// one atomic increment and default construction nothing.
///
/// Positions count characters, never units, and stop at the terminator. Text is read up to its terminator: a
/// zero unit inside ends it for every comparison and search.
///
/// Failure: exhausted memory, and a length that 32 bits cannot hold, throw `std::bad_alloc` whose text is "bad
/// allocation", and the string keeps its text. Threads: any number may read and copy one string at once; one
/// string object must not be written while another thread uses it.
template <class T, int M>
class MORVEX_EXPORT SString_t
{
public:
    using iterator = SStringIterator_t<T, M>;
    using character = SChar_t<T, M>;
    /// The standard's view on such units.
    using view_type = std::conditional_t<sizeof(T) == 1, std::string_view, std::u16string_view>;

    /// The unit of the other width.
    using other_unit = std::conditional_t<sizeof(T) == 1, unsigned short, char>;

    /// The header of a buffer; the text follows it.
    struct SStringBuffer
    {
        std::atomic<std::int32_t> m_refCount;
        std::uint32_t m_length;
        std::uint32_t m_capacity;

        constexpr SStringBuffer(std::int32_t count, std::uint32_t length, std::uint32_t capacity) noexcept
            : m_refCount(count),
              m_length(length),
              m_capacity(capacity)
        {}
        SStringBuffer(const SStringBuffer& other) noexcept
            : m_refCount(other.m_refCount.load(std::memory_order_acquire)),
              m_length(other.m_length),
              m_capacity(other.m_capacity)
        {}
        SStringBuffer& operator=(const SStringBuffer& other) noexcept
        {
            m_refCount.store(other.m_refCount.load(std::memory_order_acquire), std::memory_order_release);
            m_length = other.m_length;
            m_capacity = other.m_capacity;
            return *this;
        }

        void Initialize() noexcept
        {
            m_refCount.store(1, std::memory_order_relaxed);
            m_length = 0;
            m_capacity = 0;
        }

        T* getBuffer() noexcept { return reinterpret_cast<T*>(this + 1); }
        const T* getBuffer() const noexcept { return reinterpret_cast<const T*>(this + 1); }
    };

    SString_t() noexcept : m_buffer(GetEmptyBuffer()) {}

    /// Null or empty text gives the shared empty buffer.
    SString_t(const T* text);
    SString_t(const character& single);
    SString_t(const SString_t& other) noexcept : m_buffer(other.m_buffer) { countUp(m_buffer); }
    SString_t(SString_t&& other) noexcept : m_buffer(std::exchange(other.m_buffer, GetEmptyBuffer())) {}

    /// Takes exactly the units of the view.
    template <std::same_as<view_type> View>
    explicit SString_t(View text) : SString_t()
    {
        concatUnits(static_cast<const T*>(static_cast<const void*>(text.data())), text.size(), text.size());
    }

    ~SString_t() { countDown(m_buffer); }

    SString_t& operator=(const SString_t& other) noexcept
    {
        setBuffer(other.m_buffer);
        return *this;
    }
    SString_t& operator=(SString_t&& other) noexcept
    {
        std::swap(m_buffer, other.m_buffer);
        return *this;
    }
    SString_t& operator=(const T* text)
    {
        copyFrom(text);
        return *this;
    }
    SString_t& operator=(const character& single)
    {
        fromSChar(single);
        return *this;
    }

    /// Null or empty text empties the string; the string's own text changes nothing, and a part of it is taken
    /// as it was. Always true.
    bool copyFrom(const T* text);

    /// Converts text of the other unit width, as `fromMBCS` and `fromQCA` do; null empties the string and is true.
    bool copyFrom(const other_unit* text);

    /// The zero character empties the string. Always true.
    bool fromSChar(const character& single);

    /// The terminated text, never null; valid until the string is next changed.
    operator const T*() const noexcept { return getString(); }
    const T* getString() const noexcept { return m_buffer->getBuffer(); }

    /// The text with its recorded length, zero units included; valid until the string is next changed.
    view_type view() const noexcept
    {
        using Unit = typename view_type::value_type;
        const void* text = getString();
        if constexpr (sizeof(T) != 1) {
            // The same bits under another name: the compiler must not move a store of units past what reads them.
            asm volatile("" : "+r"(text) : : "memory");
        }
        return view_type(static_cast<const Unit*>(text), m_buffer->m_length);
    }

    bool isEmpty() const noexcept { return m_buffer->m_length == 0; }
    void empty() noexcept { setBuffer(GetEmptyBuffer()); }

    /// Characters up to the terminator. A byte that is no character counts as one. Linear on multibyte text.
    unsigned int getNChars() const noexcept;

    /// Characters from the start to the cursor. A cursor inside a character is reported as an assertion, and
    /// the count ends at or past it.
    unsigned int getCharIndex(const iterator& position) const;

    character getAt(const iterator& position) const noexcept { return *position; }

    /// An index past the end gives the zero character. Linear in the index on every form.
    character getAt(unsigned int index) const noexcept { return *cursorAt(index); }

    /// Reserves room for this many units besides the terminator; the text stays.
    void setBufferSize(unsigned int units);

    /// Replaces the character at the position; the end of the text changes nothing. A replacement of another
    /// size moves the rest. A character that is none in the current locale, old or new, is reported as an
    /// assertion and changes nothing. The cursor stays on the replaced character.
    void setAt(iterator& position, const character& replacement);
    void setAt(unsigned int index, const character& replacement);

    /// The zero character inserts nothing. The cursor is moved along and stays on what was inserted.
    void insertChar(iterator& position, const character& inserted);
    void insertChar(unsigned int index, const character& inserted);
    void insertChars(iterator& position, const SString_t& inserted);
    void insertChars(unsigned int index, const SString_t& inserted);

    /// Removes up to `count` characters; the end of the text removes nothing. The cursor is moved along and
    /// stands behind the gap.
    void deleteChar(iterator& position) { deleteChars(position, 1); }
    void deleteChar(unsigned int index) { deleteChars(index, 1); }
    void deleteChars(iterator& position, unsigned int count);
    void deleteChars(unsigned int index, unsigned int count);

    SString_t& operator+=(const SString_t& text)
    {
        concat(text);
        return *this;
    }
    SString_t& operator+=(const T* text)
    {
        concat(text);
        return *this;
    }
    SString_t& operator+=(const character& single)
    {
        concat(single);
        return *this;
    }
    SString_t& operator+=(T unit)
    {
        concat(unit);
        return *this;
    }

    void concat(const SString_t& text) { appendUnits(text.getString(), text.m_buffer->m_length); }
    void concat(const T* text)
    {
        if (text != nullptr) {
            appendUnits(text, std::char_traits<T>::length(text));
        }
    }
    void concat(const character& single);

    /// Appends one unit; a zero appends nothing.
    void concat(T unit)
    {
        if (unit == 0) {
            return;
        }
        SStringBuffer* buffer = m_buffer;
        if (hasRoomFor(1)) [[likely]] {
            T* end = buffer->getBuffer() + buffer->m_length++;
            end[0] = unit;
            end[1] = 0;
        } else {
            *concatAllocSlow(1) = unit;
        }
    }

    /// Appends exactly `count` units: the text up to its terminator, and zero units for the rest.
    void concat(const T* text, unsigned int count);

    /// Appends the units between two cursors; nothing when they are in the wrong order.
    void concat(const iterator& first, const iterator& last);

    /// Appends `count` bytes, each widened to a unit as an unsigned number; it does not stop at a zero.
    void concatFromAscii(const char* bytes, unsigned int count);

    SString_t operator+(const SString_t& text) const;
    SString_t operator+(const T* text) const;
    SString_t operator+(const character& single) const;
    SString_t operator+(T unit) const { return *this + character(unit); }
    friend SString_t operator+(const T* left, const SString_t& right) { return SString_t(left) + right; }

    SString_t left(const iterator& end) const;
    SString_t left(unsigned int count) const { return left(cursorAt(count)); }
    SString_t right(const iterator& begin) const { return SString_t(begin.getCursor()); }

    /// The last `count` characters; with as many or more than there are, the buffer is shared.
    SString_t right(unsigned int count) const;
    SString_t mid(unsigned int index) const { return right(cursorAt(index)); }
    SString_t mid(unsigned int index, unsigned int count) const { return mid(cursorAt(index), count); }
    SString_t mid(const iterator& begin, unsigned int count) const;
    SString_t mid(const iterator& first, const iterator& last) const;

    /// Remove white space: multibyte and 16-bit text by `is_space`, 7-bit text by the C runtime. Bytes that
    /// are no character are no white space.
    void trim()
    {
        trimLeft();
        trimRight();
    }
    void trimLeft();
    void trimRight();

    /// Map the whole text in place by the current locale.
    ///
    /// Multibyte text: a character that cannot be mapped is reported as an assertion and copied. A mapping can
    /// change the size of a character, and the recorded length (`isEmpty`, appending) stays what it was, so
    /// that an append after such a mapping goes to the old end; `getNChars` and every comparison go by the
    /// text itself. Whoever goes on editing such a text copies it first: `text = SAnsiString(text.getString())`.
    void toUpper();
    void toLower();

    /// The size in bytes that the text takes in another form, its terminator included; all ones where 32 bits
    /// cannot tell it.
    ///
    /// Multibyte text is measured by the current locale, what is no character as one `?`. `getNBytesForAscii` counts
    /// the units of every form, whether 7 bits can say them or not.
    unsigned int getNBytesForMBCS() const;
    unsigned int getNBytesForQCA() const;
    unsigned int getNBytesForWChar() const;
    unsigned int getNBytesForAscii() const;

    /// Write the text in another form, with its terminator, into a buffer of the given size in bytes. Return the
    /// units written, terminator included, or all ones when the buffer is too small (nothing is written past it) or
    /// null, which is reported as an assertion. The rest of the buffer is undefined.
    ///
    /// What has no form there becomes `?`. From 7-bit text to 16 bits a byte is sign-extended: 0xE4 becomes 0xFFE4.
    /// `toAscii` refuses a unit above 127 with an assertion and all ones, and what was written so far stays.
    unsigned int toMBCS(char* outBuffer, unsigned int nBytesInBuffer) const;
    unsigned int toQCA(unsigned short* outBuffer, unsigned int nBytesInBuffer) const;
    unsigned int toWChar(unsigned short* outBuffer, unsigned int nBytesInBuffer) const;
    unsigned int toAscii(char* outBuffer, unsigned int nBytesInBuffer) const;

    /// Take text in another form. True, or false with the string unchanged: for null, which is reported as an
    /// assertion (`fromMBCS` of multibyte text takes null as empty instead), and for 7-bit text when a unit is above
    /// 127, an assertion too.
    ///
    /// What has no form here becomes `?`. `fromAscii` takes `count` bytes, zero bytes too, or those before the
    /// terminator for all ones, and widens each as an unsigned number. The text may be the string's own.
    bool fromMBCS(const char* inBuffer);
    bool fromQCA(const unsigned short* inBuffer);
    bool fromWChar(const unsigned short* inBuffer);
    bool fromAscii(const char* inBuffer, unsigned int count = UINT32_MAX);

    /// Multibyte and 16-bit text: by the locale's collation; 7-bit text: by bytes, -1, 0 or 1.
    ///
    /// POSIX: 0 means identical text, since text that the locale calls equal is put in byte order.
    /// Windows: text that collates as equal is equal.
    int compare(const SString_t& other) const noexcept(sizeof(T) == 1) { return compare(other.getString()); }
    int compare(const T* other) const noexcept(sizeof(T) == 1);

    /// -1, 0 or 1 on multibyte and 16-bit text; the sign counts on 7-bit text.
    int compareNoCase(const SString_t& other) const
    {
        return compareNoCase(other.getString(), other.m_buffer->m_length);
    }
    int compareNoCase(const T* other) const;

    /// By units as unsigned numbers: -1, 0 or 1, whatever the locale.
    int compareBinary(const SString_t& other) const noexcept { return compareBinary(other.getString()); }
    int compareBinary(const T* other) const noexcept;

    /// As `compare`. A null pointer is compared as empty text.
    bool operator==(const SString_t& other) const noexcept
    {
        // Identical units are equal in every locale; different ones may be, by collation or behind a zero unit.
        return m_buffer == other.m_buffer ||
               (m_buffer->m_length == other.m_buffer->m_length && getString()[m_buffer->m_length] == 0 &&
                std::memcmp(getString(), other.getString(),
                            (m_buffer->m_length + std::size_t{1}) * sizeof(T)) == 0) ||
               isEqual(other.getString());
    }
    bool operator==(const T* other) const noexcept { return isEqual(other); }
    std::weak_ordering operator<=>(const SString_t& other) const noexcept(sizeof(T) == 1)
    {
        return compare(other) <=> 0;
    }
    std::weak_ordering operator<=>(const T* other) const noexcept(sizeof(T) == 1)
    {
        return compare(other) <=> 0;
    }

    /// The first match, or the end of the text: ask `isAtEnd`. Text is searched for by characters on both byte
    /// forms, so that a match never begins inside a multibyte character.
    iterator findFirst(const character& wanted) const noexcept { return iterator(*this).find(wanted); }
    iterator findLast(const character& wanted) const noexcept;
    iterator find(const SString_t& wanted) const noexcept { return iterator(*this).find(wanted); }

protected:
    /// A buffer of exactly `count` units: the text up to its terminator, and zero units for the rest.
    SString_t(const T* text, unsigned int count);

    /// The static buffer of all empty strings, to be read only.
    static SStringBuffer* GetEmptyBuffer() noexcept
    {
        return const_cast<SStringBuffer*>(static_cast<const SStringBuffer*>(&s_emptyBuffer));
    }
    static bool IsEmptyBuffer(const SStringBuffer* buffer) noexcept
    {
        return buffer->m_capacity == UINT32_MAX;
    }

    /// Puts a fresh private buffer of capacity `units` + 32 in place, of length 0; the caller keeps, and
    /// releases, the one that stood there.
    void allocBuffer(std::uint64_t units);
    void setBuffer(SStringBuffer* buffer) noexcept
    {
        if (buffer != m_buffer) {
            countUp(buffer);
            countDown(std::exchange(m_buffer, buffer));
        }
    }
    static void ReleaseBuffer(SStringBuffer* buffer) noexcept;
    void releaseBuffer() noexcept { ReleaseBuffer(std::exchange(m_buffer, GetEmptyBuffer())); }
    void terminateBuffer(std::size_t units) noexcept;

    /// Makes the buffer private with room for `units` units, flat growth.
    void copyOnWrite(std::uint64_t units);

    /// Makes room for `units` more units at the end, doubling growth; length and terminator are set already
    /// and the caller fills the gap that is returned. Null when `units` is 0.
    T* concatAllocHelper(std::uint64_t units)
    {
        const std::uint32_t length = m_buffer->m_length;
        if (!hasRoomFor(units)) {
            return concatAllocSlow(units);
        }
        T* text = m_buffer->getBuffer() + length;
        text[units] = 0;
        m_buffer->m_length = static_cast<std::uint32_t>(length + units);
        return text;
    }

    /// Appends units, which may be a part of this string's text: what is there stays where it is if there is room.
    void appendUnits(const T* text, std::size_t count)
    {
        if (hasRoomFor(count)) [[likely]] {
            std::memcpy(concatAllocHelper(count), text, count * sizeof(T));
        } else {
            concatUnits(text, count, count);
        }
    }

    /// Appends `taken` units, zero units included, and zero units up to `count`. They may be a part of this
    /// string's text.
    void concatUnits(const T* text, std::size_t taken, std::size_t count);

    /// Gives a private buffer another capacity, which holds its text; on failure it stays as it is.
    void growBuffer(std::uint64_t capacity);

    SStringBuffer* m_buffer;

private:
    struct _EmptyBuffer : SStringBuffer
    {
        constexpr _EmptyBuffer() noexcept : SStringBuffer(-1, 0, UINT32_MAX) {}
        T m_terminator = 0;
    };

    static void countUp(SStringBuffer* buffer) noexcept
    {
        if (!IsEmptyBuffer(buffer)) {
            buffer->m_refCount.fetch_add(1, std::memory_order_relaxed);
        }
    }
    static void countDown(SStringBuffer* buffer) noexcept
    {
        if (!IsEmptyBuffer(buffer)) {
            ReleaseBuffer(buffer);
        }
    }

    /// The count of the empty buffer is -1, so it is never private.
    bool isPrivate() const noexcept { return m_buffer->m_refCount.load(std::memory_order_acquire) == 1; }

    /// True when an append of that many units, more than none, can be written where the text ends.
    bool hasRoomFor(std::uint64_t units) const noexcept
    {
        const SStringBuffer* buffer = m_buffer;
        return units != 0 && buffer->m_length + units < buffer->m_capacity &&
               buffer->m_refCount.load(std::memory_order_acquire) == 1;
    }

    T* concatAllocSlow(std::uint64_t units);
    static std::size_t blockBytes(std::uint64_t capacity);
    static SStringBuffer* makeBuffer(std::uint64_t capacity);
    void replaceBuffer(std::uint64_t capacity);
    iterator cursorAt(unsigned int index) const noexcept { return iterator(*this) += index; }
    std::size_t offsetOf(const iterator& position) const noexcept;
    bool holds(const T* text) const noexcept;
    void openGap(std::size_t offset, std::size_t oldUnits, std::size_t newUnits);
    void mapMultibyte(const Multibyte::CaseMapping& mapping);
    static SString_t fromUnits(const T* text, std::size_t count);
    bool isEqual(const T* other) const noexcept;
    int compareNoCase(const T* other, std::size_t length) const;

    static const _EmptyBuffer s_emptyBuffer;
};

template <class T, int M>
SStringIterator_t<T, M>::SStringIterator_t(const SString_t<T, M>& text) noexcept : m_cursor(text.getString())
{}

template <class T, int M>
SStringIterator_t<T, M>& SStringIterator_t<T, M>::operator++() noexcept
{
    if constexpr (M != 0) {
        ++m_cursor;
    } else {
        // A byte below 0x80 at the beginning of a character is a whole character in every locale.
        if (m_cursor != nullptr && static_cast<unsigned char>(*m_cursor) - 1u < 0x7Fu) {
            ++m_cursor;
        } else if (m_cursor != nullptr) {
            stepMultibyte();
        }
    }
    return *this;
}

/// A number that is the same for all texts that `==` calls equal, for use in hash tables while the locale stays.
template <class T, int M>
MORVEX_EXPORT std::size_t hashOf(const SString_t<T, M>& text);

// The library holds everything that stands in no header; the compiler is told so of the one object among it.
extern template const SString_t<char, 0>::_EmptyBuffer SString_t<char, 0>::s_emptyBuffer;
extern template const SString_t<char, 1>::_EmptyBuffer SString_t<char, 1>::s_emptyBuffer;
extern template const SString_t<unsigned short, 1>::_EmptyBuffer SString_t<unsigned short, 1>::s_emptyBuffer;

} // namespace MorvexA106

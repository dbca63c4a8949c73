#pragma once

/// @file
/// Conversions between UTF-8, UTF-16 and UCS-4. None depends on the locale, except for `CUTFConverter`'s text.
///
///     SQCAString wide;
///     if (CUTFConverter::UTF8ToUTF16(bytes, wide)) { ... }
///
/// The conversions take malformed text as well and make a defined value of it; they validate nothing.
///
/// | in the source                                      | becomes                                                |
/// |----------------------------------------------------|--------------------------------------------------------|
/// | UTF-16 or UCS-4: a high surrogate and then a low   | one character                                          |
/// | UTF-16: any other surrogate                        | itself: in UTF-8 three bytes, as if it were a character |
/// | UCS-4: 80000000 and more                           | the bytes FF BD in UTF-8, U+FFFD in UTF-16             |
/// | UCS-4: 110000 to 7FFFFFFF                          | four to six bytes in UTF-8, U+FFFD in UTF-16           |
/// | UTF-8: a lead byte, as many bytes as it announces  | their value, whatever the bytes after the first are    |
/// | UTF-8: a byte 80 to BF where a lead is expected    | that value, U+0080 to U+00BF                           |
/// | UTF-8: a value of 110000 and more                  | U+FFFD                                                 |
///
/// So UTF-8 that comes from outside must be checked after it has been decoded, never before: the overlong form
/// C0 AF becomes a slash, C0 80 a zero unit, C0 AE a dot, and ED A0 80 a lone surrogate; a lead byte swallows the
/// bytes that follow it, be they quotes or slashes. A check of the bytes for `/`, `..`, quotes or zero says
/// nothing of the text that they become.

#include "morvex/export.h"
#include "morvex/refcount.h"
#include "morvex/simplebuffer.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

#include <memory>

namespace MorvexA106
{

/// How a core conversion ended.
enum ConversionResult
{
    /// The source was used up.
    conversionSuccess = 0,
    /// The source ended inside a sequence.
    sourceExhausted = 1,
    /// The target had no room for the next character.
    targetExhausted = 2
};

/// The core conversions. Each converts from `*source` up to `sourceEnd` into `*target`, writes nothing at or past
/// `targetEnd`, and moves both cursors behind what it has converted. Zero units are converted as any other; no
/// terminator is written. Source and target must not overlap.
///
///     const unsigned char* from = bytes;
///     unsigned short* to = units;
///     const ConversionResult result = ConvertUTF8toUTF16(&from, bytes + size, &to, units + room);
///
/// A pair, or a sequence of bytes, is written whole or not at all. What stands between the target's cursor and its
/// end afterwards is undefined. Where the target has no room, the target's
/// cursor stays before the character. The source's does too, but for the two conversions into UTF-8, which have
/// moved it past the character already: whoever goes on with a new target takes it one character back.

/// Surrogates without a partner go on as characters of their own. Also moves the source past a character that has
/// no room.
MORVEX_EXPORT ConversionResult ConvertUTF16toUTF8(const unsigned short** source,
                                                  const unsigned short* sourceEnd, unsigned char** target,
                                                  const unsigned char* targetEnd) noexcept;

/// Checks nothing but that the source holds as many bytes as a lead byte announces: see the table above, and check
/// what was decoded. `sourceExhausted` leaves both cursors before the sequence that is cut.
MORVEX_EXPORT ConversionResult ConvertUTF8toUTF16(const unsigned char** source,
                                                  const unsigned char* sourceEnd, unsigned short** target,
                                                  const unsigned short* targetEnd) noexcept;

/// Joins surrogate pairs. From 200000 on a value takes five bytes, from 4000000 on six; from 80000000 on it
/// becomes the two bytes FF BD, which are no character in any reading. Also moves the source past a character that
/// has no room.
MORVEX_EXPORT ConversionResult ConvertUCS4toUTF8(const SUcs4** source, const SUcs4* sourceEnd,
                                                 unsigned char** target,
                                                 const unsigned char* targetEnd) noexcept;

/// As `ConvertUTF8toUTF16`, with one unit a character.
MORVEX_EXPORT ConversionResult ConvertUTF8toUCS4(const unsigned char** source, const unsigned char* sourceEnd,
                                                 SUcs4** target, const SUcs4* targetEnd) noexcept;

/// Surrogates are written as they are.
MORVEX_EXPORT ConversionResult ConvertUCS4toUTF16(const SUcs4** source, const SUcs4* sourceEnd,
                                                  unsigned short** target,
                                                  const unsigned short* targetEnd) noexcept;

/// Joins surrogate pairs; a surrogate without a partner is written as it is.
MORVEX_EXPORT ConversionResult ConvertUTF16toUCS4(const unsigned short** source,
                                                  const unsigned short* sourceEnd, SUcs4** target,
                                                  const SUcs4* targetEnd) noexcept;

/// The counted result of a conversion: one block of `std::malloc`, or none. `T` is `unsigned char` or `SUcs4`.
/// The library holds the code of both. Lives on the heap only, in a `CSmartRefCountPtr`.
///
///     CSmartRefCountPtr<UTFBuffer_t<unsigned char>> bytes;
///     CUTFConverter::UTF16ToUTF8(text, bytes);
///     send(bytes->getBuffer(), bytes->getLength());
template <class T>
class MORVEX_EXPORT UTFBuffer_t : public CRefCount
{
public:
    /// No block.
    UTFBuffer_t() noexcept = default;
    UTFBuffer_t(const UTFBuffer_t&) = delete;
    UTFBuffer_t& operator=(const UTFBuffer_t&) = delete;

    /// The units and a terminating zero; null without a block. Valid until the buffer takes another block or goes.
    const T* getBuffer() const noexcept { return m_block; }

    /// Units, the terminator not among them. Text with zero units, as C0 80 gives them, goes on past those.
    unsigned int getLength() const noexcept { return m_length; }

    bool isEmpty() const noexcept { return m_length == 0; }

    /// Takes over a block of `std::malloc` with `length` units and a terminator, or null for none, and frees its
    /// own.
    void adopt(T* block, unsigned int length) noexcept;

protected:
    ~UTFBuffer_t() override;

private:
    T* m_block = nullptr;
    unsigned int m_length = 0;
};

/// A multibyte text together with its UTF-8 form, and the conversions of whole texts.
///
///     const CUTFConverter name(SAnsiString("outbox"));
///     write(name.getBuffer(), name.getLength());
///
/// Any number of threads may read one object. The static operations may run on all threads at once.
///
/// Failure: exhausted memory, and a size that 32 bits cannot hold, throw `std::bad_alloc` whose text is "bad
/// allocation", and nothing has changed. The same holds of a target when `false` is returned.
class MORVEX_EXPORT CUTFConverter
{
public:
    using Utf8Buffer = CSmartRefCountPtr<UTFBuffer_t<unsigned char>>;
    using Ucs4Buffer = CSmartRefCountPtr<UTFBuffer_t<SUcs4>>;

    CUTFConverter() noexcept = default;
    explicit CUTFConverter(const SAnsiString& text) { setText(text); }

    /// A copy has bytes of its own.
    CUTFConverter(const CUTFConverter& other);
    CUTFConverter(CUTFConverter&& other) noexcept;
    CUTFConverter& operator=(CUTFConverter other) noexcept;
    ~CUTFConverter();

    /// Converts text of the current locale. A byte that is no character there becomes `?`, and the rest is kept.
    void setText(const SAnsiString& text);

    /// The text in UTF-8 with a terminating zero; null for empty text. Valid until the text is next set.
    const unsigned char* getBuffer() const noexcept { return m_buffer.get(); }

    /// Bytes in the buffer, the terminator among them; 0 for empty text.
    unsigned int getLength() const noexcept { return m_length; }

    /// Terminated UTF-8. False when it ends inside a sequence. Everything else becomes a text, which must be
    /// checked after the conversion: see the top of this page. A zero unit, as C0 80 gives it, ends the text. Null
    /// empties the target.
    static bool UTF8ToUTF16(const unsigned char* source, SQCAString& target);

    /// Into buffers. A null target gets a new buffer, and empty or null text a buffer without a block. A buffer
    /// that holds a block already is reported as an assertion; it gets the new block all the same, and everybody
    /// who shares it sees that. Only text that ends inside a UTF-8 sequence gives false.
    static bool UTF16ToUTF8(const SQCAString& source, Utf8Buffer& target);
    static bool UCS4ToUTF8(const SUcs4* source, Utf8Buffer& target);
    static bool UTF8ToUCS4(const unsigned char* source, Ucs4Buffer& target);
    static bool UTF16ToUCS4(const SQCAString& source, Ucs4Buffer& target);

    /// The bytes without a terminator are the buffer's content; a zero stands behind them in its block, up to the
    /// buffer's next change. Empty text empties the buffer. Always true.
    static bool UTF16ToUTF8(const SQCAString& source, SSimpleBuffer& target);

    /// Terminated UCS-4. Always true. Null empties the target.
    static bool UCS4ToUTF16(const SUcs4* source, SQCAString& target);

    /// Converts exactly `count` units, zero units among them, and joins pairs. The target needs room for as many;
    /// no terminator is written. Returns the units written.
    static unsigned int UTF16ToUCS4(const unsigned short* source, SUcs4* target, unsigned int count) noexcept;

private:
    void swap(CUTFConverter& other) noexcept;

    struct MORVEX_EXPORT Free
    {
        void operator()(unsigned char* block) const noexcept;
    };

    SAnsiString m_text;
    std::unique_ptr<unsigned char[], Free> m_buffer;
    unsigned int m_length = 0;
};

} // namespace MorvexA106

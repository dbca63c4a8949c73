#pragma once

/// @file
/// Native text to and from explicitly named code sets.

#include "morvex/export.h"
#include "morvex/simplebuffer.h"
#include "morvex/sstring.h"

namespace MorvexA106
{

/// Converts between the current locale's text and a code set that the caller names, be the locale what it may. All
/// is static, keeps no state and may be called on any thread.
///
///     SAnsiString text = MBCSCodesetConverter::ExplicitCodesetToT(bytes, MBCSCodesetConverter::UTF8);
///     SSimpleBuffer wire = MBCSCodesetConverter::TToExplicitCodeset(text, MBCSCodesetConverter::Windows932);
///     send(wire, wire.getNBytes() - 1); // without the terminator
///
/// The way leads through 16-bit text. What one side doesn't have becomes `?`, or on the way to Windows' code pages
/// the character that Windows takes for the next best: an A for U+0100, and a quote, a slash or a backslash for
/// some look-alikes. The UTF-8 decoder is permissive: C0 AF becomes a slash. So whoever lets text through by what
/// is in it checks the result, never the source.
///
/// The code pages are converted by tables of the library's own, alike on every system: as
/// `MultiByteToWideChar` and `WideCharToMultiByte` do it with no flags. Bytes that are no character become
/// U+30FB, the katakana middle dot, in 932; a lead byte takes the byte after it along unless that is the
/// terminator.
///
/// Failure: exhausted memory, and a size that 32 bits cannot hold, throw `std::bad_alloc` whose text is "bad
/// allocation".
class MORVEX_EXPORT MBCSCodesetConverter
{
public:
    enum ExplicitCodeset : int
    {
        /// The locale's own: nothing is converted.
        Native = 0,
        UTF8 = 1,
        /// Western European.
        Windows1252 = 2,
        /// Japanese, Shift-JIS with NEC's and IBM's extensions.
        Windows932 = 3
    };

    MBCSCodesetConverter() = delete;

    /// Terminated bytes of the code set as native text; null is read as empty. UTF-8 that ends inside a sequence is
    /// traced, and its bytes are taken as native text. Another code set is reported as an assertion and gives empty
    /// text.
    static SAnsiString ExplicitCodesetToT(const char* const text, ExplicitCodeset codeset);

    /// Native text as bytes of the code set. The bytes always end in a zero, which `getNBytes` counts; empty text is
    /// the zero alone. A zero inside the text ends it, but for `Native`. Another code set is reported as an assertion
    /// and gives an empty buffer.
    static SSimpleBuffer TToExplicitCodeset(const SAnsiString& text, ExplicitCodeset codeset);
};

} // namespace MorvexA106

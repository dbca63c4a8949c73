#pragma once

/// @file
/// The locale's multibyte text: stepping, decoding and encoding, as the system sees them.
///
/// POSIX: everything follows the calling thread's current locale (`uselocale` counts). No call here keeps
/// conversion state between characters, so that a bad sequence cannot spoil the next one.
///
/// Windows: everything follows the C runtime's process-wide locale; characters outside the code page's
/// 16-bit range do not exist there.

#include <cstddef>

namespace MorvexA106::Platform
{

/// No character is looked at for more bytes than this.
inline constexpr int maxCharacterBytes = 6;

/// What stands for one decoded character: a code point where the system's wide character has 32 bits,
/// one 16-bit unit where it has 16.
using WideCode = char32_t;

/// The multibyte rules of the calling thread's locale, asked once for a whole operation: the object must not
/// outlive the operation or leave the thread.
class LocaleText
{
public:
    static LocaleText current() noexcept;

    /// Every character is one byte.
    bool isSingleByte() const noexcept { return m_form <= Form::singleByte; }
    bool isUtf8() const noexcept { return m_form == Form::utf8; }

    /// Bytes below 0x80 are ASCII, and no other is a character.
    bool isAscii() const noexcept { return m_form == Form::ascii; }

    /// Bytes of the character at `text`, 0 at the terminator, -1 when the bytes are no character.
    int length(const char* text) const noexcept;

    /// As `length`, and stores the character when there is one (the terminator included).
    int decode(const char* text, WideCode& character) const noexcept;

    /// Writes the character to `bytes` (room for 16); its length, or -1 when it has no form here.
    int encode(WideCode character, char* bytes) const noexcept;

    /// All characters of the text where counting at one go is quicker than walking and every byte belongs to a
    /// character; else `notAll`.
    static constexpr std::size_t notAll = static_cast<std::size_t>(-1);
    std::size_t countAll(const char* text) const noexcept;

    /// Converts at one go what is easily converted: from the cursor up to the terminator, to something that is no
    /// character, or until `room` units are written, moving the cursor on. A character above U+FFFF is a pair and is
    /// never split. Returns the units written; 0 says nothing of what follows, which is then asked for singly.
    std::size_t decodeRun(const char*& text, unsigned short* units, std::size_t room) const noexcept;

    /// The same the other way: up to `end`, to a unit without a form here, or until the next character would not
    /// fit into `room` bytes. Returns the bytes written.
    std::size_t encodeRun(const unsigned short*& units, const unsigned short* end, char* bytes,
                          std::size_t room) const noexcept;

    /// How far a walk moves: a byte that is no character counts as one, the terminator holds the walk.
    int step(const char* text) const noexcept
    {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < 0x80 || isSingleByte()) {
            return byte != 0 ? 1 : 0;
        }
        const int bytes = length(text);
        return bytes < 0 ? 1 : bytes;
    }

private:
    enum class Form
    {
        ascii,
        singleByte,
        utf8,
        other
    };

    explicit LocaleText(Form form) noexcept : m_form(form) {}

    Form m_form;
};

/// As `LocaleText::current().step(text)`, for those who step once.
std::size_t stepOf(const char* text) noexcept;

} // namespace MorvexA106::Platform

#pragma once

/// @file
/// Where the library checks programming errors and writes trace lines. With no logger every question is
/// answered with false, so a guarded check or trace costs one call and does nothing.
///
///     if (ShouldAssert(__FILE__) && !(count > 0)) SAssert(__FILE__, __LINE__, "count > 0");
///     if (ShouldTrace(0, __FILE__)) STrace("%1 of %2 done", done, total);
///
/// An assertion reports and the caller goes on. Every function here may be called on any thread.

#include "morvex/export.h"
#include "morvex/sstring.h"
#include "morvex/types.h"

namespace MorvexA106
{

class SDateTime;

/// One value as text, for the parameters of a trace line. Numbers are written in decimal and independently of
/// the locale, `double` in the shortest form that reads back exactly, a pointer as "0x" and hexadecimal
/// digits, `bool` as "true" or "false".
class MORVEX_EXPORT STraceParameter
{
public:
    /// Empty: ends a list of parameters.
    STraceParameter() noexcept = default;

    STraceParameter(const SAnsiString& text) : m_text(text) {}
    STraceParameter(const SString_t<char, 0>& text) : m_text(text) {}
    STraceParameter(const SString_t<char, 1>& text);

    /// Units without a form in the current locale become `?`.
    STraceParameter(const SString_t<unsigned short, 1>& text);
    STraceParameter(const char* text) : m_text(text) {}
    STraceParameter(const unsigned short* text);
    STraceParameter(const SChar_t<char, 0>& character) : m_text(character) {}
    STraceParameter(const SChar_t<char, 1>& character);
    STraceParameter(const SChar_t<unsigned short, 1>& character);

    STraceParameter(int value);
    STraceParameter(unsigned int value);
    STraceParameter(long value);
    STraceParameter(unsigned long value);
    STraceParameter(long long value);
    STraceParameter(unsigned long long value);
    STraceParameter(double value);
    STraceParameter(const void* value);
    STraceParameter(bool value);

    /// As "yyyy-MM-dd@HH:mm:ss.SS" in the machine's zone; "invalid-date-time" for an invalid moment.
    STraceParameter(const SDateTime& moment);

    /// True for a parameter without text, be it that none was given.
    bool IsEmpty() const noexcept { return m_text.isEmpty(); }
    const SAnsiString& getText() const noexcept { return m_text; }

private:
    SAnsiString m_text;
};

/// True when a trace on the channel (0 main, 1 requests, 2 warnings) from the source file is wanted.
MORVEX_EXPORT bool ShouldTrace(int channel, const char* file);

/// True when assertions of the source file are wanted.
MORVEX_EXPORT bool ShouldAssert(const char* file);

/// Replaces `%1` to `%12` in the format by the parameters. The list ends at the first empty parameter; markers
/// past it stay as they stand. A parameter's own text is not searched for markers.
///
/// | format  | parameters   | result  |
/// |---------|--------------|---------|
/// | `%2 %1` | "a", "b"     | `b a`   |
/// | `%1%2`  | "a"          | `a%2`   |
/// | `%12`   | "a"          | `a2`    |
/// | `%1`    | "%2", "b"    | `%2`    |
MORVEX_EXPORT SAnsiString STraceHelper(const char* format, const STraceParameter& p1 = {},
                                       const STraceParameter& p2 = {}, const STraceParameter& p3 = {},
                                       const STraceParameter& p4 = {}, const STraceParameter& p5 = {},
                                       const STraceParameter& p6 = {}, const STraceParameter& p7 = {},
                                       const STraceParameter& p8 = {}, const STraceParameter& p9 = {},
                                       const STraceParameter& p10 = {}, const STraceParameter& p11 = {},
                                       const STraceParameter& p12 = {});

/// Writes a line to the channel. On channel 0 the line begins with "trace message: ", in front of which stand
/// file and line where both are given (a file that is not null, a line that is not 0).
MORVEX_EXPORT void STraceMsg(int channel, const char* file, int line, const SAnsiString& text);

/// Formats with `STraceHelper` and writes to channel 0, without a source position.
MORVEX_EXPORT void STrace(const char* format, const STraceParameter& p1 = {}, const STraceParameter& p2 = {},
                          const STraceParameter& p3 = {}, const STraceParameter& p4 = {},
                          const STraceParameter& p5 = {}, const STraceParameter& p6 = {},
                          const STraceParameter& p7 = {}, const STraceParameter& p8 = {},
                          const STraceParameter& p9 = {}, const STraceParameter& p10 = {},
                          const STraceParameter& p11 = {}, const STraceParameter& p12 = {});

/// The same with a wide format: units without a form in the current locale become `?`.
MORVEX_EXPORT void STrace(const unsigned short* format, const STraceParameter& p1 = {},
                          const STraceParameter& p2 = {}, const STraceParameter& p3 = {},
                          const STraceParameter& p4 = {}, const STraceParameter& p5 = {},
                          const STraceParameter& p6 = {}, const STraceParameter& p7 = {},
                          const STraceParameter& p8 = {}, const STraceParameter& p9 = {},
                          const STraceParameter& p10 = {}, const STraceParameter& p11 = {},
                          const STraceParameter& p12 = {});

/// Formats and writes to a channel, with a source position.
MORVEX_EXPORT void STrace(int channel, const char* file, int line, const char* format,
                          const STraceParameter& p1 = {}, const STraceParameter& p2 = {},
                          const STraceParameter& p3 = {}, const STraceParameter& p4 = {},
                          const STraceParameter& p5 = {}, const STraceParameter& p6 = {},
                          const STraceParameter& p7 = {}, const STraceParameter& p8 = {},
                          const STraceParameter& p9 = {}, const STraceParameter& p10 = {},
                          const STraceParameter& p11 = {}, const STraceParameter& p12 = {});

/// Reports a failed check and returns: "assert failure: (file:line). (expression : message)." on channel 0,
/// with "no message" where none is given. Ask `ShouldAssert` first.
MORVEX_EXPORT void SAssert(const char* file, int line, const char* expression);
MORVEX_EXPORT void SAssert(const char* file, int line, const char* expression, const char* message);
MORVEX_EXPORT void SAssert(const char* file, int line, const char* expression, const SAnsiString& message);
MORVEX_EXPORT void SAssert(const char* file, int line, const char* expression, const unsigned short* message);

/// Hands a message number with its parameters to the log. The parameters end at the first null pointer.
/// Levels are 0 to 3; categories are the caller's.
MORVEX_EXPORT void SLog(int level, int category, unsigned long id, const char* p1 = nullptr,
                        const char* p2 = nullptr, const char* p3 = nullptr, const char* p4 = nullptr,
                        const char* p5 = nullptr, const char* p6 = nullptr, const char* p7 = nullptr,
                        const char* p8 = nullptr, const char* p9 = nullptr, const char* p10 = nullptr);

} // namespace MorvexA106

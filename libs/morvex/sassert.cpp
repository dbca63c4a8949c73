#include "morvex/sassert.h"

#include "morvex/diagnostics.h"
#include "morvex/messageformat.h"
#include "morvex/sdatetime.h"
#include "morvex/sstringconv.h"
#include "morvex/stimezone.h"

#include <array>
#include <atomic>
#include <span>

namespace MorvexA106
{

namespace
{

std::atomic<Diagnostics::Sink*> g_sink{nullptr};

Diagnostics::Sink* sink() noexcept
{
    return g_sink.load(std::memory_order_acquire);
}

SAnsiString pointerText(const void* value)
{
    return SAnsiString("0x") + SStringConv::ToString(reinterpret_cast<std::uintptr_t>(value), 16);
}

/// 16-bit text in the locale's multibyte form; a unit without one becomes `?`.
SAnsiString narrowed(const unsigned short* units)
{
    SAnsiString text;
    text.copyFrom(units);
    return text;
}

SAnsiString momentText(const SDateTime& moment)
{
    return moment.IsValid() ? moment.Format("yyyy-MM-dd@HH:mm:ss.SS", STimeZone::TZ_Local())
                            : SAnsiString("invalid-date-time");
}

using Parameters = std::array<const STraceParameter*, 12>;

SAnsiString format(const char* pattern, const Parameters& parameters)
{
    std::array<SAnsiString, 12> values;
    std::size_t count = 0;
    while (count < values.size() && !parameters[count]->IsEmpty()) {
        values[count] = parameters[count]->getText();
        ++count;
    }
    return replaceMarkers(pattern, std::span(values).first(count));
}

void writeAssertion(const char* file, int line, const char* expression, const SAnsiString& message)
{
    Diagnostics::Sink* receiver = sink();
    if (receiver == nullptr) {
        return;
    }
    const std::array<SAnsiString, 4> values = {file, SStringConv::ToString(line), expression,
                                               message.isEmpty() ? SAnsiString("no message") : message};
    receiver->trace(0, replaceMarkers("assert failure: (%1:%2). (%3 : %4).", values));
    if (receiver->canStackDump()) {
        receiver->trace(0, SAnsiString("Stack Dump:") + receiver->stackWalkAll());
    }
    // Asked and left alone on purpose: an assertion never stops its caller.
    static_cast<void>(receiver->isNativeAssert());
}

} // namespace

Diagnostics::Sink* Diagnostics::exchangeSink(Sink* next) noexcept
{
    return g_sink.exchange(next, std::memory_order_acq_rel);
}

STraceParameter::STraceParameter(const SString_t<char, 1>& text) : m_text(text.getString()) {}
STraceParameter::STraceParameter(const SString_t<unsigned short, 1>& text) : m_text(narrowed(text)) {}
STraceParameter::STraceParameter(const unsigned short* text) : m_text(narrowed(text)) {}
STraceParameter::STraceParameter(const SChar_t<char, 1>& character) : m_text(character.getChar()) {}
STraceParameter::STraceParameter(const SChar_t<unsigned short, 1>& character)
    : m_text(narrowed(SWCharString(character)))
{}
STraceParameter::STraceParameter(int value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(unsigned int value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(long value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(unsigned long value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(long long value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(unsigned long long value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(double value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(const void* value) : m_text(pointerText(value)) {}
STraceParameter::STraceParameter(bool value) : m_text(SStringConv::ToString(value)) {}
STraceParameter::STraceParameter(const SDateTime& moment) : m_text(momentText(moment)) {}

bool ShouldTrace(int channel, const char* file)
{
    Diagnostics::Sink* receiver = sink();
    return receiver != nullptr && receiver->shouldTrace(channel, file);
}

bool ShouldAssert(const char* file)
{
    Diagnostics::Sink* receiver = sink();
    return receiver != nullptr && receiver->shouldAssert(file);
}

SAnsiString STraceHelper(const char* pattern, const STraceParameter& p1, const STraceParameter& p2,
                         const STraceParameter& p3, const STraceParameter& p4, const STraceParameter& p5,
                         const STraceParameter& p6, const STraceParameter& p7, const STraceParameter& p8,
                         const STraceParameter& p9, const STraceParameter& p10, const STraceParameter& p11,
                         const STraceParameter& p12)
{
    return format(pattern, {&p1, &p2, &p3, &p4, &p5, &p6, &p7, &p8, &p9, &p10, &p11, &p12});
}

void STraceMsg(int channel, const char* file, int line, const SAnsiString& text)
{
    Diagnostics::Sink* receiver = sink();
    if (receiver == nullptr) {
        return;
    }
    SAnsiString prefix;
    if (channel == 0 && file != nullptr && line != 0) {
        const std::array<SAnsiString, 2> position = {file, SStringConv::ToString(line)};
        prefix = replaceMarkers("(%1:%2): ", position);
    }
    if (channel == 0) {
        prefix += "trace message: ";
    }
    receiver->trace(channel, prefix + text);
}

void STrace(const char* pattern, const STraceParameter& p1, const STraceParameter& p2,
            const STraceParameter& p3, const STraceParameter& p4, const STraceParameter& p5,
            const STraceParameter& p6, const STraceParameter& p7, const STraceParameter& p8,
            const STraceParameter& p9, const STraceParameter& p10, const STraceParameter& p11,
            const STraceParameter& p12)
{
    STrace(0, nullptr, 0, pattern, p1, p2, p3, p4, p5, p6, p7, p8, p9, p10, p11, p12);
}

void STrace(const unsigned short* pattern, const STraceParameter& p1, const STraceParameter& p2,
            const STraceParameter& p3, const STraceParameter& p4, const STraceParameter& p5,
            const STraceParameter& p6, const STraceParameter& p7, const STraceParameter& p8,
            const STraceParameter& p9, const STraceParameter& p10, const STraceParameter& p11,
            const STraceParameter& p12)
{
    STrace(0, nullptr, 0, narrowed(pattern).getString(), p1, p2, p3, p4, p5, p6, p7, p8, p9, p10, p11, p12);
}

void STrace(int channel, const char* file, int line, const char* pattern, const STraceParameter& p1,
            const STraceParameter& p2, const STraceParameter& p3, const STraceParameter& p4,
            const STraceParameter& p5, const STraceParameter& p6, const STraceParameter& p7,
            const STraceParameter& p8, const STraceParameter& p9, const STraceParameter& p10,
            const STraceParameter& p11, const STraceParameter& p12)
{
    STraceMsg(channel, file, line,
              format(pattern, {&p1, &p2, &p3, &p4, &p5, &p6, &p7, &p8, &p9, &p10, &p11, &p12}));
}

void SAssert(const char* file, int line, const char* expression)
{
    writeAssertion(file, line, expression, SAnsiString());
}

void SAssert(const char* file, int line, const char* expression, const char* message)
{
    writeAssertion(file, line, expression, message);
}

void SAssert(const char* file, int line, const char* expression, const SAnsiString& message)
{
    writeAssertion(file, line, expression, message);
}

void SAssert(const char* file, int line, const char* expression, const unsigned short* message)
{
    writeAssertion(file, line, expression, narrowed(message));
}

void SLog(int level, int category, unsigned long id, const char* p1, const char* p2, const char* p3,
          const char* p4, const char* p5, const char* p6, const char* p7, const char* p8, const char* p9,
          const char* p10)
{
    Diagnostics::Sink* receiver = sink();
    if (receiver == nullptr) {
        return;
    }
    const std::array parameters = {p1, p2, p3, p4, p5, p6, p7, p8, p9, p10};
    std::size_t count = 0;
    while (count < parameters.size() && parameters[count] != nullptr) {
        ++count;
    }
    receiver->log(level, category, id, std::span(parameters).first(count));
}

} // namespace MorvexA106

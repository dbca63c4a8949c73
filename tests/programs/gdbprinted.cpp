// What gdb prints by our printers: see gdbprinters.cmake, which stops this program at `ready`.

#include <morvex/morvex.h>

#include <clocale>
#include <cstdint>

using namespace MorvexA106;

namespace
{

/// A string's object with a buffer that is none.
struct Fake
{
    std::uintptr_t buffer;
};

struct Header
{
    std::int32_t count;
    std::uint32_t length;
    std::uint32_t capacity;
    char text[4];
};

int stops = 0;

} // namespace

/// The debugger stops here, where everything stands.
void ready();
void ready()
{
    ++stops;
}

int main()
{
    std::setlocale(LC_ALL, "C.UTF-8");
    SAnsiString empty;
    SAnsiString name("outbox");
    SAnsiString shared = name;
    SAsciiString ascii("7 bits");
    SWCharString wide;
    wide.fromAscii("wide");
    const unsigned short euroUnits[] = {0x20AC, 0xD83D, 0xDE00, 0};
    SQCAString euro(euroUnits);
    SAnsiStringCI utf8("\xE2\x82\xAC \"quoted\" \xFF\n");
    SString_t<char, 0> engine("engine");
    SAnsiString longText;
    for (int i = 0; i < 100; ++i) {
        longText += "0123456789";
    }
    SChar_t<char, 0> character("\xE2\x82\xAC");
    SChar_t<char, 0> none;
    SChar_t<unsigned short, 1> unit(0x20AC);
    SAnsiString::iterator at(name);
    ++at;
    SAnsiString::iterator atEnd(empty);
    SWCharString::iterator wideAt(wide);
    SSimpleBuffer noBytes;
    SSimpleBuffer bytes;
    bytes.reserve(64);
    bytes << 0x01 << 0xFF;
    SSimpleBuffer sharedBytes = bytes;

    Header header{1, 9, 4, "abc"};
    Fake fakes[] = {{0}, {0x10}, {reinterpret_cast<std::uintptr_t>(&header)}};
    const auto* null = reinterpret_cast<const SAnsiString*>(&fakes[0]);
    const auto* wild = reinterpret_cast<const SAnsiString*>(&fakes[1]);
    const auto* damaged = reinterpret_cast<const SAnsiString*>(&fakes[2]);
    const auto* wildBytes = reinterpret_cast<const SStringIterator_t<char, 0>*>(&fakes[1]);
    ready();
    return null != wild && damaged != nullptr && wildBytes != nullptr && atEnd.isAtEnd() &&
                   wideAt.getCursor() != nullptr && none.getChar() == 0 && unit.getChar() != 0 &&
                   character.getChar() != 0 && stops == 1
               ? 0
               : 1;
}

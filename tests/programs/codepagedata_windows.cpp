// Writes what the system's code pages 1252 and 932 give, in the form of tests/data/codepages.txt, to the standard
// output. Windows only: there the file's values come from.

#include <windows.h>

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <map>
#include <string>

namespace
{

constexpr int rowLength = 8;

using Units = std::basic_string<wchar_t>;

Units decode(unsigned page, const std::string& bytes)
{
    wchar_t units[8];
    return Units(units, MultiByteToWideChar(page, 0, bytes.data(), int(bytes.size()), units, 8));
}

std::string encode(unsigned page, wchar_t unit, unsigned long flags)
{
    char bytes[8];
    return std::string(bytes, WideCharToMultiByte(page, flags, &unit, 1, bytes, 8, nullptr, nullptr));
}

/// FNV-1a.
class Hash
{
public:
    void add(unsigned value) { m_value = (m_value ^ value) * 0x01000193u; }
    unsigned value() const { return m_value; }

private:
    unsigned m_value = 0x811C9DC5u;
};

void addUnits(Hash& hash, const Units& units)
{
    for (const wchar_t unit : units) {
        hash.add(unit & 0xFF);
        hash.add(unit >> 8);
    }
    hash.add(0x100);
}

void addBytes(Hash& hash, const std::string& bytes)
{
    for (const char byte : bytes) {
        hash.add(static_cast<unsigned char>(byte));
    }
    hash.add(0x100);
}

std::string pairOf(int lead, int trail)
{
    return {static_cast<char>(lead), static_cast<char>(trail)};
}

std::string utf8Of(wchar_t unit)
{
    char bytes[4];
    return std::string(bytes, WideCharToMultiByte(CP_UTF8, 0, &unit, 1, bytes, 4, nullptr, nullptr));
}

/// True for a pair that is a character and comes back as itself or as the same character.
bool isDefined(unsigned page, const std::string& bytes)
{
    wchar_t unit;
    return MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), 2, &unit, 1) == 1;
}

void writeSingles(unsigned page)
{
    for (int byte = 0; byte < 256; ++byte) {
        std::printf(byte % 16 == 0 ? "\nsingle %02X:" : "", byte);
        std::printf(" %04X", decode(page, std::string(1, static_cast<char>(byte)))[0]);
    }
}

void writePairs(unsigned page, int lead)
{
    std::string row;
    bool characters = false;
    for (int trail = 0x40; trail <= 0xFC; ++trail) {
        const bool defined = isDefined(page, pairOf(lead, trail));
        const wchar_t unit = decode(page, pairOf(lead, trail))[0];
        row += defined ? utf8Of(unit) : ".";
        characters = characters || (defined && (unit < 0xE000 || unit > 0xF8FF));
    }
    if (characters) {
        std::printf("\npairs %02X:%s", lead, row.c_str());
    }
    if (isDefined(page, pairOf(lead, 0x40)) && !characters) {
        std::printf("\nprivate %02X: %04X", lead, decode(page, pairOf(lead, 0x40))[0]);
    }
}

void writeList(const char* name, const std::map<unsigned, unsigned>& values, int keyDigits, int valueDigits)
{
    int count = 0;
    for (const auto& [key, value] : values) {
        if (count++ % rowLength == 0) {
            std::printf("\n%s:", name);
        }
        std::printf(" %0*X=%0*X", keyDigits, key, valueDigits, value);
    }
}

void writeAllPairs(unsigned page)
{
    std::map<unsigned, unsigned> hashes;
    for (int lead = 0; lead < 256; ++lead) {
        if (!IsDBCSLeadByteEx(page, static_cast<unsigned char>(lead))) {
            continue;
        }
        writePairs(page, lead);
        Hash hash;
        for (int trail = 0; trail < 256; ++trail) {
            addUnits(hash, decode(page, pairOf(lead, trail)));
        }
        hashes[lead] = hash.value();
    }
    writeList("lead", hashes, 2, 8);
}

void writeBestFit(unsigned page)
{
    std::map<unsigned, unsigned> fits;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const std::string bytes = encode(page, static_cast<wchar_t>(unit), 0);
        if (bytes != encode(page, static_cast<wchar_t>(unit), WC_NO_BEST_FIT_CHARS)) {
            unsigned code = 0;
            for (const char byte : bytes) {
                code = code << 8 | static_cast<unsigned char>(byte);
            }
            fits[unit] = code;
        }
    }
    writeList("fit", fits, 4, 2);
}

/// One hash for the encodings of 256 units.
void writeUnits(unsigned page)
{
    std::map<unsigned, unsigned> hashes;
    for (unsigned high = 0; high < 256; ++high) {
        Hash hash;
        bool allUnknown = true;
        for (unsigned low = 0; low < 256; ++low) {
            const std::string bytes = encode(page, static_cast<wchar_t>(high << 8 | low), 0);
            allUnknown = allUnknown && bytes == "?";
            addBytes(hash, bytes);
        }
        if (!allUnknown) {
            hashes[high] = hash.value();
        }
    }
    writeList("units", hashes, 2, 8);
}

} // namespace

int main()
{
    _setmode(_fileno(stdout), _O_BINARY);
    std::printf(
        "# What MultiByteToWideChar and WideCharToMultiByte give with no flags. Written by codepagedata.\n"
        "# single: the units of 16 bytes, each alone. pairs: the characters of trails 40 to FC, a dot for\n"
        "# none. private: the first of 188 units in a row, 7F left out. lead: a hash of all 256 trails.\n"
        "# fit: units that map to a character that is not theirs. units: a hash of 256 units' bytes;\n"
        "# where the line is missing, all are a question mark.\n"
        "# Hashes are FNV-1a over the units' low and high bytes, or the bytes, each result followed by "
        "100.\n");
    for (const unsigned page : {1252u, 932u}) {
        std::printf("\npage %u", page);
        writeSingles(page);
        writeAllPairs(page);
        writeBestFit(page);
        writeUnits(page);
        std::printf("\n");
    }
}

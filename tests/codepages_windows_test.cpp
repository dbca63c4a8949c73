#include "morvex/codepages.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace MorvexA106::CodePages;

namespace
{

struct Named
{
    unsigned number;
    CodePage page;
};

constexpr Named everyPage[] = {{1252, CodePage::windows1252}, {932, CodePage::windows932}};

using Units = std::wstring;

Units systemDecoded(unsigned number, const std::string& bytes)
{
    Units units(bytes.size(), L'\0');
    const int count = MultiByteToWideChar(number, 0, bytes.data(), static_cast<int>(bytes.size()),
                                          units.data(), static_cast<int>(units.size()));
    return units.substr(0, static_cast<std::size_t>(count));
}

std::string systemEncoded(unsigned number, const Units& units)
{
    std::string bytes(2 * units.size(), '\0');
    const int count = WideCharToMultiByte(number, 0, units.data(), static_cast<int>(units.size()),
                                          bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes.substr(0, static_cast<std::size_t>(count));
}

Units ownDecoded(CodePage page, const std::string& bytes)
{
    Units units(bytes.size(), L'\0');
    return units.substr(0, decode(page, bytes, reinterpret_cast<unsigned short*>(units.data())));
}

std::string ownEncoded(CodePage page, const Units& units)
{
    std::string bytes(maxBytes * units.size(), '\0');
    return bytes.substr(0, encode(page, reinterpret_cast<const unsigned short*>(units.data()), units.size(),
                                  reinterpret_cast<unsigned char*>(bytes.data())));
}

} // namespace

TEST(CodePagesOfTheSystem, EveryByteAndEveryTwoBytesDecodeAlike)
{
    for (const auto& [number, page] : everyPage) {
        for (unsigned two = 0; two <= 0xFFFF; ++two) {
            const std::string bytes = {static_cast<char>(two >> 8), static_cast<char>(two & 0xFF)};
            ASSERT_EQ(ownDecoded(page, bytes), systemDecoded(number, bytes)) << std::hex << two;
            ASSERT_EQ(ownDecoded(page, bytes.substr(1)), systemDecoded(number, bytes.substr(1)))
                << std::hex << two;
        }
    }
}

TEST(CodePagesOfTheSystem, EveryUnitEncodesAlike)
{
    for (const auto& [number, page] : everyPage) {
        for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
            const Units units(1, static_cast<wchar_t>(unit));
            ASSERT_EQ(ownEncoded(page, units), systemEncoded(number, units)) << std::hex << unit;
        }
    }
}

TEST(CodePagesOfTheSystem, RandomTextIsConvertedAlike)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const auto& [number, page] = everyPage[round % 2];
        std::string bytes;
        Units units;
        for (unsigned left = random() % 40 + 1; left > 0; --left) {
            bytes += static_cast<char>(random() % 3 == 0 ? random() % 0x80 : random());
            units += static_cast<wchar_t>(random() % 3 == 0 ? random() % 0x180 : random());
        }
        ASSERT_EQ(ownDecoded(page, bytes), systemDecoded(number, bytes)) << "round " << round;
        ASSERT_EQ(ownEncoded(page, units), systemEncoded(number, units)) << "round " << round;
    }
}

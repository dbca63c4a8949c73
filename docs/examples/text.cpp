#include <morvex/morvex.h>

#include <clocale>
#include <cstdio>

using namespace MorvexA106;

int main()
{
    std::setlocale(LC_ALL, ""); // what a multibyte character is, the locale tells

    // Positions count characters, and a cursor walks them.
    SAnsiString name("report.final.txt");
    SAnsiString::iterator dot = name.findLast('.');
    std::printf("%s, %u characters, extension %s\n", name.getString(), name.getNChars(),
                name.right(dot).getString());

    // Copies share the text until one of them is written.
    SAnsiString loud(name);
    loud.toUpper();
    std::printf("%s %s: %s\n", name.getString(), loud.getString(),
                SAnsiStringCI(name) == loud ? "equal without case" : "different");

    // A record, taken apart without a copy.
    RSStrTok pairs(std::string_view("port=8080&name=a=b&debug"));
    while (!pairs.isAtEnd()) {
        RSStrTok pair(pairs.NextView('&'));
        const std::string_view key = pair.NextView('=');
        const std::string_view value = pair.NextView();
        std::printf("[%.*s] [%.*s]\n", static_cast<int>(key.size()), key.data(),
                    static_cast<int>(value.size()), value.data());
    }

    // A number is read whole, or not at all.
    unsigned short port = 0;
    if (!SStringConv::FromString(SAnsiString("80 80"), port)) {
        std::printf("no port: %s\n", SStringConv::ToString(port).getString());
    }

    // UTF-8 to the 16-bit form for interchange, and back.
    SQCAString wide;
    if (CUTFConverter::UTF8ToUTF16(reinterpret_cast<const unsigned char*>("\xE2\x82\xAC 5"), wide)) {
        CUTFConverter::Utf8Buffer bytes;
        CUTFConverter::UTF16ToUTF8(wide, bytes);
        std::printf("%u units, %u bytes\n", wide.getNChars(), bytes->getLength());
    }
}

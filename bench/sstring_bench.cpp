// The string core against the standard's string and the C library: sharing, building, comparing, walking.

#include "bench.h"

#include <morvex/sstring.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace MorvexA106;

namespace
{

using Bench::Contender;
using Bench::keep;

template <class Operation>
Contender contender(const char* name, Operation operation)
{
    return {name, [operation](std::size_t repeats) {
                for (; repeats != 0; --repeats) {
                    operation();
                }
            }};
}

template <class Text>
void copyAndDrop(const Text& source)
{
    Text copy(source);
    keep(copy);
}

template <class Text>
void build()
{
    Text text;
    keep(text);
}

template <class Text>
void appendCharacters()
{
    Text text;
    for (int i = 0; i < 1000; ++i) {
        text += static_cast<char>('a' + (i & 15));
    }
    keep(text);
}

template <class Text>
void appendPieces()
{
    Text text;
    for (int i = 0; i < 65536; ++i) {
        text += "0123456789abcdef";
    }
    keep(text);
}

void sharing()
{
    const std::string standard(100, 'x');
    const SAnsiString text(standard.c_str());
    std::atomic<int> count{1};
    Bench::row("share and drop, 100 bytes",
               {contender("morvex", [&] { copyAndDrop(text); }),
                contender("std::string", [&] { copyAndDrop(standard); }), contender("one atomic pair", [&] {
                    count.fetch_add(1, std::memory_order_relaxed);
                    count.fetch_sub(1, std::memory_order_acq_rel);
                })});
    Bench::row("default construct and drop",
               {contender("morvex", build<SAnsiString>), contender("std::string", build<std::string>)});
}

void appending()
{
    Bench::row("append a character, 1000 times", {contender("morvex", appendCharacters<SAnsiString>),
                                                  contender("std::string", appendCharacters<std::string>)});
    Bench::row("append 16 bytes up to 1 MB", {contender("morvex", appendPieces<SAnsiString>),
                                              contender("std::string", appendPieces<std::string>)});
}

void comparing(std::size_t size)
{
    const std::string left(size, 'x');
    const std::string right(left);
    const SAnsiString ours(left.c_str());
    const SAnsiString other(left.c_str());
    Bench::row("equal, " + std::to_string(size) + " bytes",
               {contender("morvex", [&] { keep(ours == other); }),
                contender("std::string", [&] { keep(left == right); }),
                contender("strcoll", [&] { keep(std::strcoll(left.c_str(), right.c_str())); })});
}

void walking()
{
    std::string plain;
    while (plain.size() < 65536) {
        plain += "stra\xC3\x9F"
                 "e \xE2\x82\xAC 10, ";
    }
    const SAnsiString text(plain.c_str());
    Bench::row("walk 64 KB of UTF-8", {contender("morvex",
                                                 [&] {
                                                     SAnsiString::iterator at(text);
                                                     while (!at.isAtEnd()) {
                                                         ++at;
                                                     }
                                                     keep(at);
                                                 }),
                                       contender("mblen", [&] {
                                           const char* at = plain.c_str();
                                           while (*at != 0) {
                                               const int bytes = std::mblen(at, 6);
                                               at += bytes < 0 ? 1 : bytes;
                                           }
                                           keep(at);
                                       })});
    Bench::row("count characters of 64 KB",
               {contender("morvex", [&] { keep(text.getNChars()); }),
                contender("mbstowcs", [&] { keep(std::mbstowcs(nullptr, plain.c_str(), 0)); })});
}

void searching()
{
    std::string plain;
    while (plain.size() < 65536) {
        plain += "the server neede timeout needl connection ";
    }
    plain += "needle42";
    const SAnsiString text(plain.c_str());
    const SAnsiString wanted("needle42");
    Bench::row("find in 64 KB", {contender("morvex", [&] { keep(text.find(wanted)); }),
                                 contender("std::string", [&] { keep(plain.find("needle42")); }),
                                 contender("strstr", [&] { keep(std::strstr(plain.c_str(), "needle42")); })});
}

} // namespace

int main()
{
    for (const char* name : {"C", "C.UTF-8", "en_US.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            std::printf("-- %s is not installed\n", name);
            continue;
        }
        std::printf("-- %s\n", name);
        sharing();
        appending();
        comparing(10);
        comparing(100);
        comparing(1000);
        walking();
        searching();
    }
}

#include "rows.h"

#include <glib.h>

namespace TextBench
{

namespace
{

using Bench::keep;

template <class Append>
void build(int repeats, Append appendNext)
{
    GString* text = g_string_new(nullptr);
    for (int i = 0; i < repeats; ++i) {
        appendNext(text, i);
    }
    keep(text);
    g_string_free(text, TRUE);
}

void addEngine(Rows& rows, const Texts& texts)
{
    // Kept for the length of the program, as the row is.
    char* const shared = g_ref_string_new(texts.letters100.c_str());
    rows[Name::share].peer("g_ref_string", [shared] {
        char* copy = g_ref_string_acquire(shared);
        keep(copy);
        g_ref_string_release(copy);
    });
    rows[Name::build].peer("GString", [] { build(0, [](GString*, int) {}); });
    rows[Name::appendCharacters].peer("GString", [] {
        build(1000, [](GString* text, int i) { g_string_append_c(text, static_cast<char>('a' + (i & 15))); });
    });
    rows[Name::appendPieces].peer("GString", [] {
        build(65536, [](GString* text, int) { g_string_append_len(text, "0123456789abcdef", 16); });
    });
    for (const auto& [lower, mixed] : casePairs(texts)) {
        rows[Name::noCase(*lower)].peer("g_ascii_strcasecmp", [left = lower, right = mixed] {
            keep(g_ascii_strcasecmp(left->c_str(), right->c_str()));
        });
    }
    rows[Name::find].peer("g_strstr_len", [&texts] {
        keep(g_strstr_len(texts.haystack.data(), static_cast<gssize>(texts.haystack.size()),
                          texts.needle.c_str()));
    });
}

std::size_t walk(const std::string& text)
{
    std::size_t characters = 0;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
        ++characters;
    }
    return characters;
}

void addWalking(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::walk(*text)].peer("g_utf8_next_char", [text] { keep(walk(text->utf8)); });
        rows[Name::count(*text)].peer("g_utf8_strlen", [text] {
            keep(g_utf8_strlen(text->utf8.data(), static_cast<gssize>(text->utf8.size())));
        });
    }
}

void addUnicode(Rows& rows, const Texts& texts)
{
    for (const UnicodeText* text : unicodeTexts(texts)) {
        rows[Name::toUtf16(*text)].peer("g_utf8_to_utf16", [text] {
            gunichar2* made = g_utf8_to_utf16(text->utf8.data(), static_cast<glong>(text->utf8.size()),
                                              nullptr, nullptr, nullptr);
            keep(made);
            g_free(made);
        });
        rows[Name::toUtf8(*text)].peer("g_utf16_to_utf8", [text] {
            char* made = g_utf16_to_utf8(reinterpret_cast<const gunichar2*>(text->utf16.data()),
                                         static_cast<glong>(text->utf16.size()), nullptr, nullptr, nullptr);
            keep(made);
            g_free(made);
        });
    }
}

// A double is written with 17 digits, whether they are needed or not.
void addDoubles(Rows& rows, const Doubles& doubles)
{
    rows[Name::toText(doubles)].peer("g_ascii_dtostr", onEachOf(doubles.values, [](double number) {
                                         char text[G_ASCII_DTOSTR_BUF_SIZE];
                                         keep(g_ascii_dtostr(text, sizeof text, number));
                                         keep(text);
                                     }));
    rows[Name::fromText(doubles)].peer("g_ascii_strtod", onEachOf(doubles.texts, [](const std::string& text) {
                                           keep(g_ascii_strtod(text.c_str(), nullptr));
                                       }));
}

void addNumbers(Rows& rows, const Texts& texts)
{
    rows[Name::textToInteger].peer("g_ascii_strtoll",
                                   onEachOf(texts.integers.texts, [](const std::string& text) {
                                       keep(g_ascii_strtoll(text.c_str(), nullptr, 10));
                                   }));
    addDoubles(rows, texts.random);
    addDoubles(rows, texts.prices);
}

void addTokens(Rows& rows, const Texts& texts)
{
    rows[Name::split].peer("g_strsplit", [&texts] {
        char** fields = g_strsplit(texts.line.c_str(), ",", 0);
        keep(fields);
        g_strfreev(fields);
    });
}

const Peer glib({.engine = addEngine,
                 .walking = addWalking,
                 .unicode = addUnicode,
                 .numbers = addNumbers,
                 .tokens = addTokens});

} // namespace

} // namespace TextBench

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

const Peer glib({.engine = addEngine, .walking = addWalking});

} // namespace

} // namespace TextBench

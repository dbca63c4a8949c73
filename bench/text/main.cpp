// Text against its peers: text_bench [-r PART-OF-A-ROW'S-NAME] [LOCALE...]

#include "rows.h"

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <langinfo.h>
#include <string_view>
#include <thread>

using namespace TextBench;

namespace
{

/// Keeps the process one with several threads, as a server is: the C library leaves locks and locked
/// instructions out where there is only one, which would flatter some of the contenders.
class SecondThread
{
public:
    SecondThread() : m_thread([this] { m_done.wait(false); }) {}
    ~SecondThread()
    {
        m_done = true;
        m_done.notify_all();
        m_thread.join();
    }
    SecondThread(const SecondThread&) = delete;
    SecondThread& operator=(const SecondThread&) = delete;

private:
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

/// What no locale changes is measured under the first one only.
void addLocaleFreeRows(Rows& rows, const Texts& texts)
{
    addUnicodeRows(rows, texts);
    Peer::addAll(&Peer::Parts::unicode, rows, texts);
}

void makeRows(Rows& rows, const Texts& texts, bool first)
{
    const bool utf8 = std::string_view(nl_langinfo(CODESET)) == "UTF-8";
    addEngineRows(rows, texts);
    Peer::addAll(&Peer::Parts::engine, rows, texts);
    addWalkingRows(rows, texts, utf8);
    if (utf8) {
        Peer::addAll(&Peer::Parts::walking, rows, texts);
    }
    if (first) {
        addLocaleFreeRows(rows, texts);
    }
    addNumberRows(rows, texts);
    Peer::addAll(&Peer::Parts::numbers, rows, texts);
    addTokenRows(rows, texts);
    Peer::addAll(&Peer::Parts::tokens, rows, texts);
}

/// A locale of two-byte characters has rows of its own.
bool isDoubleByte()
{
    return MB_CUR_MAX == 2;
}

/// False where there is no such locale.
bool runUnder(const char* locale, const std::string& part, const Texts& texts, bool first)
{
    if (std::setlocale(LC_ALL, locale) == nullptr) {
        std::printf("-- %s is not there; LOCPATH names the folder where locales are looked for\n", locale);
        return false;
    }
    std::printf("-- %s\n", locale);
    Rows rows;
    if (isDoubleByte()) {
        addDoubleByteRows(rows);
    } else {
        makeRows(rows, texts, first);
    }
    Bench::printHeading();
    Bench::printSummary(locale, rows.run(part));
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    static const char* const usual[] = {"C", "C.UTF-8", "en_US.UTF-8", "ja_JP.CP932"};
    std::vector<const char*> locales(arguments + 1, arguments + count);
    std::string part;
    if (locales.size() >= 2 && std::string_view(locales[0]) == "-r") {
        part = locales[1];
        locales.erase(locales.begin(), locales.begin() + 2);
    }
    if (locales.empty()) {
        locales.assign(std::begin(usual), std::end(usual));
    }
    setenv("LOCPATH", MORVEX_BENCH_LOCALES, 0);
    std::printf("medians in turns; xN is our time to theirs; peers that are not there: %s\n",
                MORVEX_BENCH_MISSING);

    const SecondThread second;
    const Texts texts;
    std::size_t found = 0;
    for (const char* locale : locales) {
        found += runUnder(locale, part, texts, found == 0) ? 1 : 0;
    }
    return found == locales.size() ? 0 : 1;
}

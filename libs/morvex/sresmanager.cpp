#include "morvex/sresmanager.h"

#include "morvex/badalloc.h"
#include "morvex/checks.h"
#include "morvex/messagefile.h"
#include "morvex/resourcetexts.h"
#include "morvex/sresstring.h"
#include "morvex/sstringkeys.h"
#include "platform/file.h"
#include "platform/systemerror.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace MorvexA106
{

SResourceSource::~SResourceSource() = default;

namespace
{

using SourcePtr = CSmartRefCountPtr<SResourceSource>;

struct NamedSource
{
    SStringBinary name;
    SourcePtr source;
};
using Sources = std::vector<NamedSource>;

/// The sources in the order in which they were added. A list is never changed once it can be seen: every change
/// puts another one in its place, so that look-ups walk theirs without a lock.
class Register
{
public:
    static Register& instance()
    {
        static Register& only = *new Register; // never destroyed: static objects' destructors may look up
        return only;
    }

    std::shared_ptr<const Sources> sources() const
    {
        const std::lock_guard lock(m_mutex);
        return m_sources;
    }

    /// What is replaced is released behind the lock: a source's destructor may look up.
    template <class Change>
    void change(Change change)
    {
        std::shared_ptr<const Sources> before;
        const std::lock_guard oneByOne(m_changing);
        auto next = std::make_shared<Sources>(*sources());
        change(*next);
        const std::lock_guard lock(m_mutex);
        before = std::exchange(m_sources, std::move(next));
    }

private:
    std::mutex m_changing;
    mutable std::mutex m_mutex;
    std::shared_ptr<const Sources> m_sources = std::make_shared<const Sources>();
};

Sources::iterator find(Sources& sources, const SAnsiString& name)
{
    return std::ranges::find_if(sources, [&name](const NamedSource& known) { return known.name == name; });
}

class FileSource final : public SResourceSource
{
public:
    explicit FileSource(MessageTexts texts) noexcept : m_texts(std::move(texts)) {}

    bool Find(unsigned long number, SAnsiString& text) const override
    {
        const auto found = m_texts.find(number);
        if (found == m_texts.end()) {
            return false;
        }
        text.copyFrom(found->second.getString());
        return true;
    }

private:
    const MessageTexts m_texts;
};

/// An open file for a scope.
class Opened
{
public:
    explicit Opened(const SAnsiString& path) noexcept
        : m_opened(Platform::openFile(path, Platform::FileWord::binary | Platform::FileWord::sequential, 0,
                                      Platform::FileWord::denyNothing))
    {}
    ~Opened()
    {
        if (!m_opened.failed()) {
            Platform::closeFile(number());
        }
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    int number() const noexcept { return static_cast<int>(m_opened.value); }
    int error() const noexcept { return m_opened.error; }

private:
    Platform::FileResult m_opened;
};

/// The error number of a failed read, or 0.
int readAll(const Opened& file, std::string& bytes)
{
    constexpr unsigned step = 64 * 1024;
    for (std::size_t end = 0;;) {
        bytes.resize(end + step);
        const auto count = Platform::readFile(file.number(), bytes.data() + end, step);
        end += count.failed() ? 0 : static_cast<std::size_t>(count.value);
        if (count.failed() || count.value == 0) {
            bytes.resize(end);
            return count.error;
        }
    }
}

SAnsiString failureText(unsigned long message, const SAnsiString& path, int error)
{
    return SResString::Load(message, path, Platform::errorText(Platform::runtimeError(error)).c_str());
}

/// Empty, or why there are no texts. The files' own class is not used: its failures take their words from here.
SAnsiString readFile(const SAnsiString& path, MessageTexts& texts)
{
    const Opened file(path);
    if (file.error() != 0) {
        return failureText(fileTexts, path, file.error());
    }
    std::string bytes;
    if (const int error = readAll(file, bytes)) {
        return failureText(fileTexts + 1, path, error);
    }
    const MessageFault fault = readMessages(bytes, texts);
    return fault.line == 0 ? SAnsiString()
                           : SAnsiString(SResString("%1:%2: %3", '%', path, fault.line, fault.what));
}

bool lookUp(unsigned long number, SAnsiString& text)
{
    const auto sources = Register::instance().sources();
    const bool isFound = std::any_of(sources->rbegin(), sources->rend(), [&](const NamedSource& known) {
        return known.source->Find(number, text);
    });
    if (isFound) {
        return true;
    }
    const char* const own = resourceText(number);
    if (own != nullptr) {
        text = own;
    }
    return own != nullptr;
}

} // namespace

SAnsiString SResManager::LoadStringA(unsigned long number)
{
    SAnsiString text;
    return LoadStringA(number, text) ? text : SAnsiString();
}

bool SResManager::LoadStringA(unsigned long number, SAnsiString& text)
{
    return sayingBadAllocation([&] { return lookUp(number, text); });
}

void SResManager::AddSource(const SAnsiString& name, CSmartRefCountPtr<SResourceSource> source)
{
    MORVEX_CHECK(source != nullptr, "source != NULL");
    if (!source) {
        return;
    }
    sayingBadAllocation([&] {
        Register::instance().change([&](Sources& sources) {
            const auto known = find(sources, name);
            if (known != sources.end()) {
                known->source = source;
            } else {
                sources.push_back({name, source});
            }
        });
    });
}

bool SResManager::AddFile(const SAnsiString& name, const SAnsiString& path, SAnsiString* problem)
{
    return sayingBadAllocation([&] {
        MessageTexts texts;
        const SAnsiString failure = readFile(path, texts);
        if (!failure.isEmpty()) {
            if (problem != nullptr) {
                *problem = failure;
            }
            return false;
        }
        AddSource(name, SourcePtr(new FileSource(std::move(texts))));
        return true;
    });
}

bool SResManager::RemoveSource(const SAnsiString& name)
{
    bool wasThere = false;
    sayingBadAllocation([&] {
        Register::instance().change([&](Sources& sources) {
            const auto known = find(sources, name);
            wasThere = known != sources.end();
            if (wasThere) {
                sources.erase(known);
            }
        });
    });
    return wasThere;
}

} // namespace MorvexA106

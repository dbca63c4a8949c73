#include "scanner.h"

#include <morvex/sfilesys.h>
#include <morvex/sstringhelper.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <utility>

namespace Outbox
{

using namespace MorvexA106;

namespace
{

// The path is the folder, a separator and the name.
SAnsiString nameOf(const FileProp& row, const SAnsiString& folder)
{
    return SAnsiString(row.m_name.view().substr(SStringHelper::MakePath(folder, "x").view().size() - 1));
}

bool isOlder(const Sighting& a, const Sighting& b)
{
    return std::make_tuple(a.stamp.time, a.name.view()) < std::make_tuple(b.stamp.time, b.name.view());
}

} // namespace

std::vector<Sighting> filesIn(const SAnsiString& folder)
{
    SIArray<FileProp> rows;
    SFileSys::listing(folder, "*", rows);
    std::vector<Sighting> files;
    for (const FileProp& row : rows) {
        const SAnsiString name = nameOf(row, folder);
        if (row.m_directory == 0 && name.getString()[0] != '.' && !isSpecial(row.m_name)) {
            files.push_back({name, {row.m_size, row.m_modificationTime}});
        }
    }
    std::sort(files.begin(), files.end(), isOlder);
    return files;
}

bool isSpecial(const SAnsiString& path)
{
    using std::filesystem::file_type;
    try {
        std::error_code failure;
        const std::filesystem::path asked{std::string(path.view())};
        const file_type type = std::filesystem::symlink_status(asked, failure).type();
        return type == file_type::symlink || type == file_type::fifo || type == file_type::socket ||
               type == file_type::block || type == file_type::character;
    } catch (const std::system_error&) {
        // Windows: a name that isn't Unicode in the standard library's eyes. Nothing special is there anyway.
        return false;
    }
}

std::vector<Sighting> Scanner::completeOf(const std::vector<Sighting>& sightings)
{
    std::vector<Sighting> complete;
    std::map<std::string, Stamp> now;
    for (const Sighting& sighting : sightings) {
        const std::string key(sighting.name.view());
        const auto before = m_before.find(key);
        if (before != m_before.end() && before->second == sighting.stamp) {
            complete.push_back(sighting);
        }
        now.emplace(key, sighting.stamp);
    }
    m_before = std::move(now);
    return complete;
}

} // namespace Outbox

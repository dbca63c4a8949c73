// The byte buffer.

#include "workbench.h"

#include <morvex/simplebuffer.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <malloc.h>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace MorvexA106;

namespace FilesBench
{

namespace
{

using Bench::keep;

constexpr unsigned megabyte = 1 << 20;

const unsigned char* piece() noexcept
{
    return reinterpret_cast<const unsigned char*>(appendedPiece);
}

SSimpleBuffer filled(unsigned bytes)
{
    SSimpleBuffer buffer(bytes + 1);
    for (unsigned i = 0; i < bytes; ++i) {
        buffer << static_cast<unsigned char>(i * 131 + i / 251);
    }
    return buffer;
}

/// Without this the C library gives memory back when a large block is freed, and whoever comes next in turn pays for
/// the new pages.
void keepFreedMemory()
{
    ::mallopt(M_TRIM_THRESHOLD, 256 * megabyte);
    ::mallopt(M_MMAP_THRESHOLD, 32 * megabyte);
}

/// Ours can't be as fast as the vector, whose length stands on the stack of whoever appends: ours is a field of
/// a shared record, and each append waits for the store of the one before.
void addAppending(Workbench& workbench)
{
    keepFreedMemory();
    Bench::Row row("append 16 bytes up to 1 MB");
    row.ours([] {
        SSimpleBuffer bytes;
        for (std::size_t i = 0; i < appendedPieces; ++i) {
            bytes.append(piece(), sizeof appendedPiece, bytes.getNBytes());
        }
        keep(bytes);
    });
    row.peer("std::vector", [] {
        std::vector<unsigned char> bytes;
        for (std::size_t i = 0; i < appendedPieces; ++i) {
            bytes.insert(bytes.end(), piece(), piece() + sizeof appendedPiece);
        }
        keep(bytes);
    });
    AppendingPeer::addAll(row);
    row.target(1.35, {"std::vector"});
    workbench.run(row);
}

void addAppendingBytes(Workbench& workbench)
{
    Bench::Row row("append a byte, 1000 times");
    row.ours([] {
        SSimpleBuffer bytes;
        for (unsigned i = 0; i < 1000; ++i) {
            const auto byte = static_cast<unsigned char>(i);
            bytes.append(&byte, 1, bytes.getNBytes());
        }
        keep(bytes);
    });
    row.variant("reserved", [] {
        SSimpleBuffer bytes;
        bytes.reserve(1000);
        for (unsigned i = 0; i < 1000; ++i) {
            bytes << static_cast<unsigned char>(i);
        }
        keep(bytes);
    });
    row.peer("std::vector", [] {
        std::vector<unsigned char> bytes;
        for (unsigned i = 0; i < 1000; ++i) {
            bytes.push_back(static_cast<unsigned char>(i));
        }
        keep(bytes);
    });
    row.target(2);
    workbench.run(row);
}

void addSharing(Workbench& workbench)
{
    const SSimpleBuffer buffer = filled(100);
    const auto pointer = std::make_shared<std::vector<unsigned char>>(100);
    auto count = std::make_shared<std::atomic<std::int32_t>>(1);
    Bench::Row row("copy and drop a handle");
    row.ours([&] {
        const SSimpleBuffer copy(buffer);
        keep(copy);
    });
    row.peer("std::shared_ptr", [&] {
        const auto copy = pointer;
        keep(copy);
    });
    row.limit("one atomic pair", [&] {
        count->fetch_add(1, std::memory_order_relaxed);
        keep(count);
        keep(count->fetch_sub(1, std::memory_order_acq_rel) == 1);
    });
    row.target(1.15, {"one atomic pair"});
    workbench.run(row);
}

void addComparing(Workbench& workbench)
{
    Bench::Row row("compare 1 MB");
    if (!workbench.wants(row.name())) {
        return;
    }
    const SSimpleBuffer left = filled(megabyte);
    const SSimpleBuffer right = filled(megabyte);
    row.ours([&] { keep(left.compare(right)); });
    row.peer("memcmp", [&] { keep(std::memcmp(left.view().data(), right.view().data(), megabyte)); });
    row.target(1.02);
    workbench.run(row);
}

void addComparingMapped(Workbench& workbench)
{
    Bench::Row row("compare 1 MB with a mapped file");
    if (!workbench.wants(row.name())) {
        return;
    }
    const SAnsiString file((workbench.folder() + "/compared").c_str());
    const SSimpleBuffer heap = filled(megabyte);
    SSimpleBuffer mapped;
    require(heap.saveToFile(file, true) && mapped.loadFromFile(file, true, true), "a file can be mapped");
    row.ours([&] { keep(mapped.compare(heap)); });
    row.peer("memcmp, which a cut file ends",
             [&] { keep(std::memcmp(mapped.view().data(), heap.view().data(), megabyte)); });
    row.target(4); // the price of reading the file in place of its view
    workbench.run(row);
}

/// What a program does with the bytes of a file.
std::uint64_t sumOf(const unsigned char* bytes, std::size_t count)
{
    std::uint64_t sum = 0;
    for (; count >= sizeof sum; bytes += sizeof sum, count -= sizeof sum) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        sum += word;
    }
    return sum;
}

std::uint64_t sumOfMapped(const char* path)
{
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status;
    ::fstat(file, &status);
    const auto bytes = static_cast<std::size_t>(status.st_size);
    void* const view = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file, 0);
    const std::uint64_t sum = sumOf(static_cast<const unsigned char*>(view), bytes);
    ::munmap(view, bytes);
    ::close(file);
    return sum;
}

std::uint64_t sumOfRead(const char* path)
{
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status;
    ::fstat(file, &status);
    const auto bytes = static_cast<std::size_t>(status.st_size);
    const auto block = std::make_unique_for_overwrite<unsigned char[]>(bytes);
    const ssize_t count = ::read(file, block.get(), bytes);
    ::close(file);
    return sumOf(block.get(), static_cast<std::size_t>(count));
}

std::uint64_t sumOfLoaded(const SAnsiString& path, bool useMapping)
{
    SSimpleBuffer buffer;
    require(buffer.loadFromFile(path, useMapping, false), "the file can be loaded");
    return sumOf(buffer.view().data(), buffer.getNBytes());
}

void addMapping(Workbench& workbench, const SAnsiString& file, const std::string& size, double target)
{
    Bench::Row row("map " + size + " and read it all");
    row.ours([=] { keep(sumOfLoaded(file, true)); });
    row.peer("mmap by hand", [=] { keep(sumOfMapped(file)); });
    row.target(target);
    workbench.run(row);
}

void addReading(Workbench& workbench, const SAnsiString& file, const std::string& size, double target)
{
    Bench::Row row("load " + size + " and read it all");
    row.ours([=] { keep(sumOfLoaded(file, false)); });
    row.peer("read by hand", [=] { keep(sumOfRead(file)); });
    row.target(target);
    workbench.run(row);
}

/// Of a small file the sharing that others are held to is what costs.
void addLoading(Workbench& workbench, unsigned bytes, const std::string& size, double target)
{
    const SAnsiString file((workbench.folder() + "/loaded").c_str());
    require(filled(bytes).saveToFile(file, true), "a file can be saved");
    addMapping(workbench, file, size, target);
    addReading(workbench, file, size, target);
    require(::unlink(file) == 0, "the file can be removed");
}

void addSaving(Workbench& workbench)
{
    Bench::Row row("save 16 MB");
    if (!workbench.wants(row.name())) {
        return;
    }
    const std::string path = workbench.folder() + "/saved";
    const SAnsiString file(path.c_str());
    const SSimpleBuffer buffer = filled(16 * megabyte);
    row.ours([=] { require(buffer.saveToFile(file, true), "the file can be saved"); });
    row.peer("write by hand", [=] {
        const int target = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        require(::write(target, buffer.view().data(), buffer.getNBytes()) == buffer.getNBytes(),
                "it can be written");
        ::close(target);
    });
    row.target(1.05);
    workbench.run(row);
    ::unlink(file);
}

void addAll(Workbench& workbench)
{
    addAppending(workbench);
    addAppendingBytes(workbench);
    addSharing(workbench);
    addComparing(workbench);
    addComparingMapped(workbench);
    addLoading(workbench, 16 * megabyte, "16 MB", 1.05);
    addLoading(workbench, 4096, "4 KB", 2);
    addSaving(workbench);
}

const Group group(addAll);

} // namespace

} // namespace FilesBench

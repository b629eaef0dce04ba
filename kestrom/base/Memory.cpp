#include "base/Memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <vector>

#include "base/Exception.h"
#include "base/String.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// Large blocks keep at least this much poisoned room behind the bytes asked for, so that an
// overrun is reported as it is for malloc'd memory.
constexpr size_t GUARD = 64;
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
constexpr size_t GUARD = 0;
#endif

namespace ORVA {

namespace {

constexpr size_t PAGE = 4096;

size_t RoundUp(size_t value, size_t step) {
    return (value + step - 1) / step * step;
}

// Physical memory, or the control group's limit where that is lower.
uint64_t PhysicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    uint64_t memory =
        pages > 0 && pageSize > 0 ? uint64_t(pages) * uint64_t(pageSize) : uint64_t(4) << 30;
    for (const char* path :
         {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
        uint64_t limit = 0;
        if (std::ifstream file(path); file >> limit && limit > 0) memory = std::min(memory, limit);
    }
    return memory;
}

bool HugePagesAvailable() {
    std::ifstream file("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string modes;
    return std::getline(file, modes) && modes.find("[never]") == std::string::npos;
}

void ReadSetting(const char* name, uint64_t physical, uint64_t& value) {
    const char* text = std::getenv(name);
    if (!text || !*text) return;
    if (std::optional<uint64_t> bytes = ParseBytes(text, physical)) {
        value = *bytes;
        return;
    }
    std::cerr << name << ": '" << text << "' is not a number of bytes (such as 512M, 8G or 50%); "
              << "using " << FormatBytes(value) << std::endl;
}

std::string AboveLimit(uint64_t bytes, std::string_view what, uint64_t inUse, uint64_t limit) {
    const CString start = CString("cannot allocate %1 for %2: ").Arg(FormatBytes(bytes)).Arg(what);
    if (bytes > limit)
        return start +
               CString("above the memory limit of %1 (ORVA_MEMORY_LIMIT)").Arg(FormatBytes(limit));
    return start + CString("with %1 in use, above the memory limit of %2 (ORVA_MEMORY_LIMIT)")
                       .Arg(FormatBytes(inUse))
                       .Arg(FormatBytes(limit));
}

// A mapping of `capacity` bytes that starts at a multiple of LARGE_ALIGNMENT, or null: one
// alignment's worth more is mapped, and what lies outside the aligned range is unmapped again.
void* MapAligned(size_t capacity, bool hugePages) {
    const size_t span = capacity + CMemoryPool::LARGE_ALIGNMENT;
    void* mapping = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    const auto start = reinterpret_cast<uintptr_t>(mapping);
    const uintptr_t aligned = RoundUp(start, CMemoryPool::LARGE_ALIGNMENT);
    if (aligned > start) munmap(mapping, aligned - start);
    if (start + span > aligned + capacity)
        munmap(reinterpret_cast<void*>(aligned + capacity), start + span - aligned - capacity);
    // Refused where the kernel has no transparent huge pages; the block works all the same.
    if (hugePages) madvise(reinterpret_cast<void*>(aligned), capacity, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(aligned);
}

void Unmap(void* block, size_t capacity) {
    ASAN_UNPOISON_MEMORY_REGION(block, capacity);
    munmap(block, capacity);
}

struct SBlock {
    void* address;
    size_t capacity;
};

// The pool's state. It is never destroyed, so that buffers freed by other static objects at exit
// still find it; the kept blocks are given back when the library goes (SRelease below).
struct SPool {
    std::mutex mutex;
    // Read without the mutex on every allocation.
    std::atomic<uint64_t> inUse{0};
    std::atomic<uint64_t> limit{0};
    std::atomic<bool> hugePages{false};
    // Under the mutex.
    uint64_t cacheBytes = 0;
    std::vector<SBlock> cache;  // oldest first
    uint64_t cached = 0;
    bool closed = false;

    SPool() { Apply(CMemoryPool::FromEnvironment()); }

    void Apply(const CMemoryPool::SSettings& settings) {
        cacheBytes = settings.cacheBytes;
        limit = settings.limit;
        hugePages = settings.hugePages;
    }

    // Takes every kept block out, for the caller to unmap outside the mutex.
    std::vector<SBlock> TakeAll() {
        std::vector<SBlock> blocks;
        blocks.swap(cache);
        cached = 0;
        return blocks;
    }

    // Counts `capacity` bytes in, or throws when they would pass the limit.
    void Reserve(uint64_t capacity) {
        const uint64_t before = inUse.fetch_add(capacity);
        const uint64_t most = limit.load();
        if (most && (capacity > most || before > most - capacity)) {
            inUse.fetch_sub(capacity);
            throw CException("CBuffer", AboveLimit(capacity, "a buffer", before, most));
        }
    }
};

SPool& Pool() {
    static SPool* pool = new SPool;
    return *pool;
}

void UnmapAll(const std::vector<SBlock>& blocks) {
    for (const SBlock& block : blocks)
        Unmap(block.address, block.capacity);
}

// Gives the kept blocks back when the library is unloaded or the process ends.
struct SRelease {
    ~SRelease() {
        SPool& pool = Pool();
        std::vector<SBlock> blocks;
        {
            std::lock_guard lock(pool.mutex);
            pool.closed = true;
            blocks = pool.TakeAll();
        }
        UnmapAll(blocks);
    }
} release;

void* AllocateSmall(SPool& pool, size_t bytes, bool zeroed, size_t& capacity) {
    capacity = RoundUp(std::max<size_t>(bytes, 1), CMemoryPool::ALIGNMENT);
    pool.Reserve(capacity);
    void* block = std::aligned_alloc(CMemoryPool::ALIGNMENT, capacity);
    if (!block) {
        CMemoryPool::Trim();
        block = std::aligned_alloc(CMemoryPool::ALIGNMENT, capacity);
    }
    if (!block) {
        pool.inUse.fetch_sub(capacity);
        throw CException("CBuffer",
                         CString("cannot allocate %1: out of memory").Arg(FormatBytes(bytes)));
    }
    if (zeroed) std::memset(block, 0, bytes);
    return block;
}

void* AllocateLarge(SPool& pool, size_t bytes, bool zeroed, size_t& capacity) {
    capacity = RoundUp(bytes + GUARD, PAGE);
    pool.Reserve(capacity);
    SBlock found{nullptr, 0};
    std::vector<SBlock> pressure;
    {
        std::lock_guard lock(pool.mutex);
        // The smallest block that fits; among equals the newest, whose pages are warmest.
        auto best = pool.cache.end();
        for (auto it = pool.cache.begin(); it != pool.cache.end(); ++it)
            if (it->capacity >= capacity && it->capacity - capacity <= capacity / 4 &&
                (best == pool.cache.end() || it->capacity <= best->capacity))
                best = it;
        if (best != pool.cache.end()) {
            found = *best;
            pool.cache.erase(best);
            pool.cached -= found.capacity;
        } else if (const uint64_t limit = pool.limit.load();
                   limit && pool.inUse.load() + pool.cached > limit) {
            pressure = pool.TakeAll();
        }
    }
    if (found.address) {
        pool.inUse.fetch_add(found.capacity - capacity);
        capacity = found.capacity;
        ASAN_UNPOISON_MEMORY_REGION(found.address, bytes);
        if (zeroed) std::memset(found.address, 0, bytes);
        return found.address;
    }
    UnmapAll(pressure);
    void* block = MapAligned(capacity, pool.hugePages);
    if (!block) {
        CMemoryPool::Trim();
        block = MapAligned(capacity, pool.hugePages);
    }
    if (!block) {
        pool.inUse.fetch_sub(capacity);
        throw CException("CBuffer",
                         CString("cannot allocate %1: out of memory").Arg(FormatBytes(bytes)));
    }
    ASAN_POISON_MEMORY_REGION(static_cast<uint8_t*>(block) + bytes, capacity - bytes);
    return block;  // fresh pages read as zero
}

}  // namespace

CMemoryPool::SSettings CMemoryPool::FromEnvironment() {
    const uint64_t physical = PhysicalMemory();
    SSettings settings{physical / 16, physical / 10 * 8, HugePagesAvailable()};
    ReadSetting("ORVA_BUFFER_CACHE", physical, settings.cacheBytes);
    ReadSetting("ORVA_MEMORY_LIMIT", physical, settings.limit);
    return settings;
}

CMemoryPool::SSettings CMemoryPool::Settings() {
    SPool& pool = Pool();
    std::lock_guard lock(pool.mutex);
    return {pool.cacheBytes, pool.limit, pool.hugePages};
}

void CMemoryPool::Configure(const SSettings& settings) {
    SPool& pool = Pool();
    std::vector<SBlock> blocks;
    {
        std::lock_guard lock(pool.mutex);
        pool.Apply(settings);
        blocks = pool.TakeAll();
    }
    UnmapAll(blocks);
}

CMemoryPool::SUsage CMemoryPool::Usage() {
    SPool& pool = Pool();
    std::lock_guard lock(pool.mutex);
    return {pool.inUse, pool.cached, pool.cache.size()};
}

void CMemoryPool::Trim() {
    SPool& pool = Pool();
    std::vector<SBlock> blocks;
    {
        std::lock_guard lock(pool.mutex);
        blocks = pool.TakeAll();
    }
    UnmapAll(blocks);
}

void* CMemoryPool::Allocate(size_t bytes, bool zeroed, size_t& capacity) {
    if (bytes > SIZE_MAX / 2)
        throw CException("CBuffer", CString("cannot allocate %1 bytes").Arg(bytes));
    SPool& pool = Pool();
    return bytes < LARGE ? AllocateSmall(pool, bytes, zeroed, capacity)
                         : AllocateLarge(pool, bytes, zeroed, capacity);
}

void CMemoryPool::Free(void* block, size_t capacity) noexcept {
    if (!block) return;
    SPool& pool = Pool();
    pool.inUse.fetch_sub(capacity);
    if (capacity < LARGE) {
        std::free(block);
        return;
    }
    std::unique_lock lock(pool.mutex);
    bool kept = false;
    if (!pool.closed && capacity <= pool.cacheBytes) {
        try {
            pool.cache.push_back({block, capacity});
            kept = true;
        } catch (...) {  // no room to note it: given back below
        }
    }
    if (!kept) {
        lock.unlock();
        Unmap(block, capacity);
        return;
    }
    ASAN_POISON_MEMORY_REGION(block, capacity);
    pool.cached += capacity;
    // Rare enough (a full cache) to unmap under the mutex, which needs no list of its own.
    size_t oldest = 0;
    for (; pool.cached > pool.cacheBytes; ++oldest) {
        pool.cached -= pool.cache[oldest].capacity;
        Unmap(pool.cache[oldest].address, pool.cache[oldest].capacity);
    }
    pool.cache.erase(pool.cache.begin(), pool.cache.begin() + static_cast<ptrdiff_t>(oldest));
}

bool CMemoryPool::Fits(uint64_t bytes) noexcept {
    const SPool& pool = Pool();
    const uint64_t limit = pool.limit.load();
    return !limit || (bytes <= limit && pool.inUse.load() <= limit - bytes);
}

void CheckMemory(uint64_t bytes, const char* where, std::string_view what) {
    if (CMemoryPool::Fits(bytes)) return;
    const SPool& pool = Pool();
    throw CException(where, AboveLimit(bytes, what, pool.inUse.load(), pool.limit.load()));
}

std::string FormatBytes(uint64_t bytes) {
    if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    const char* units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = static_cast<double>(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 5) {
        value /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
    return text;
}

std::optional<uint64_t> ParseBytes(std::string_view text, uint64_t whole) {
    auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    size_t digits = 0;
    while (digits < text.size() &&
           (std::isdigit(static_cast<unsigned char>(text[digits])) || text[digits] == '.'))
        ++digits;
    double value = 0.0;
    const char* end = text.data() + digits;
    if (digits == 0 || std::from_chars(text.data(), end, value).ptr != end) return std::nullopt;

    std::string unit;
    for (char c : text.substr(digits))
        if (!isSpace(c)) unit += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    double scale = 1.0;
    if (unit == "%") {
        scale = static_cast<double>(whole) / 100.0;
    } else if (!unit.empty() && unit != "b") {
        const std::string_view prefixes = "kmgt";
        const size_t power = prefixes.find(unit[0]);
        const std::string_view rest = std::string_view(unit).substr(1);
        if (power == std::string_view::npos || !(rest.empty() || rest == "b" || rest == "ib"))
            return std::nullopt;
        scale = static_cast<double>(uint64_t(1) << (10 * (power + 1)));
    }
    const double bytes = value * scale;
    if (!(bytes < 18446744073709551616.0)) return std::nullopt;
    return static_cast<uint64_t>(bytes);
}

}  // namespace ORVA

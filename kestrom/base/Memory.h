#pragma once

// Where pixel buffers and node accumulators get their memory, and the limit they stay below.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/Export.h"

namespace ORVA {

// The framework's allocator.
//
// Large blocks (LARGE bytes and more) are mapped at 2 MiB boundaries and advised to use
// transparent huge pages where the system offers them: their first touch costs a fraction of
// what it costs on small pages. A freed large block is kept for the next request it fits
// (the smallest kept block that is large enough and wastes at most a quarter of the request),
// so a node that makes an image of the same size on every run writes into memory that is
// already mapped. The kept blocks are bounded by a cap; the oldest go first. Smaller blocks come
// from malloc. A reused block is cleared when zeros are asked for; a fresh mapping already is.
//
// Every block counts against a limit on the memory in use, so an absurd size fails at once with
// a CException that names it, instead of driving the machine into swap. Before a block would
// take the memory in use and kept above the limit, or when the system refuses one, the kept
// blocks are given back and the request is tried again.
//
// The cap is ORVA_BUFFER_CACHE, the limit ORVA_MEMORY_LIMIT: bytes, with an optional suffix K,
// M, G or T (powers of 1024) or %, a share of physical memory. By default the cap is 1/16 and
// the limit 80% of physical memory (or of the control group's memory limit where that is
// lower). A cap of 0 keeps nothing, a limit of 0 means none. Both are read once, at the first
// allocation. Everything here is thread-safe.
class TARSEL_API CMemoryPool {
  public:
    static constexpr size_t LARGE = size_t(1) << 20;
    static constexpr size_t LARGE_ALIGNMENT = size_t(2) << 20;
    // Of every block, small ones included.
    static constexpr size_t ALIGNMENT = 64;

    struct SSettings {
        uint64_t cacheBytes = 0;  // most bytes of freed large blocks kept; 0 keeps none
        uint64_t limit = 0;       // most bytes in use at once; 0 for no limit
        bool hugePages = false;   // whether large blocks are advised to use huge pages
        bool operator==(const SSettings&) const = default;
    };
    // The settings the environment asks for, with defaults for what it leaves out or gets
    // wrong (a warning on standard error names the variable).
    static SSettings FromEnvironment();
    static SSettings Settings();
    // Replaces the settings and gives back every kept block.
    static void Configure(const SSettings& settings);

    struct SUsage {
        uint64_t inUse = 0;   // bytes of blocks allocated and not yet freed
        uint64_t cached = 0;  // bytes of freed large blocks kept for reuse
        size_t cachedBlocks = 0;
    };
    static SUsage Usage();
    // Gives every kept block back to the system.
    static void Trim();

    // A block of at least `bytes` bytes aligned to ALIGNMENT (LARGE_ALIGNMENT for large ones),
    // zeroed when asked. `capacity` receives what Free needs back. Throws CException (location
    // "CBuffer") above the limit or when the system has no memory.
    static void* Allocate(size_t bytes, bool zeroed, size_t& capacity);
    static void Free(void* block, size_t capacity) noexcept;

    // Whether `bytes` more stay within the limit.
    static bool Fits(uint64_t bytes) noexcept;
};

// Throws CException at `where` when `bytes` more would take the memory in use above the limit;
// the message names the bytes, `what` they are for ("a histogram of 2147483647 bins") and the
// limit. Nodes call it before they allocate an accumulator whose size a parameter sets.
TARSEL_API void CheckMemory(uint64_t bytes, const char* where, std::string_view what);

// "17 bytes", "1.5 KiB", "9.5 GiB".
TARSEL_API std::string FormatBytes(uint64_t bytes);
// "4096", "64K", "1.5G", "25%" of `whole`; nothing for any other text.
TARSEL_API std::optional<uint64_t> ParseBytes(std::string_view text, uint64_t whole);

}  // namespace ORVA

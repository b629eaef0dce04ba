#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "tarsel.h"

using namespace ORVA;

namespace {

constexpr size_t KiB = 1024, MiB = 1024 * KiB;

// The pool configured for one test, as it was afterwards.
struct SPoolSettings {
    explicit SPoolSettings(CMemoryPool::SSettings settings) { CMemoryPool::Configure(settings); }
    ~SPoolSettings() { CMemoryPool::Configure(saved); }
    CMemoryPool::SSettings saved = CMemoryPool::Settings();
};

const CMemoryPool::SSettings CACHE_64M{64 * MiB, 0, false};

std::string MessageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const CException& e) {
        return e.Location() + ": " + e.Message();
    }
    return "no exception";
}

// Whether the mapping that holds `address` is advised to use huge pages.
bool AdvisedHuge(const void* address) {
    std::ifstream maps("/proc/self/smaps");
    std::string line;
    bool inside = false;
    const auto at = reinterpret_cast<uintptr_t>(address);
    while (std::getline(maps, line)) {
        uintptr_t start = 0, end = 0;
        char dash = 0;
        if (std::istringstream(line) >> std::hex >> start >> dash >> end && dash == '-')
            inside = start <= at && at < end;
        else if (inside && line.rfind("VmFlags:", 0) == 0)
            return (line + " ").find(" hg ") != std::string::npos;
    }
    ADD_FAILURE() << "no mapping holds the address";
    return false;
}

}  // namespace

TEST(MemoryPool, AFreedLargeBlockIsReusedByARequestItFits) {
    struct SCase {
        const char* name;
        size_t freed, asked;
        bool reused;
    };
    const SCase cases[] = {
        {"same size", 4 * MiB, 4 * MiB, true},
        {"a quarter wasted", 5 * MiB, 4 * MiB, true},
        {"more than a quarter wasted", 5 * MiB, 4 * MiB - 8 * KiB, false},
        {"larger", 4 * MiB, 4 * MiB + 8 * KiB, false},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        SPoolSettings settings(CACHE_64M);
        const uint8_t* freed = CBuffer(c.freed, false).Data();
        CBuffer asked(c.asked, false);
        EXPECT_EQ(asked.Data() == freed, c.reused);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(asked.Data()) % CMemoryPool::LARGE_ALIGNMENT, 0u);
    }
}

TEST(MemoryPool, ReusedBlocksAreClearedOnlyWhenZerosAreAsked) {
    SPoolSettings settings(CACHE_64M);
    for (bool zeroed : {true, false}) {
        CBuffer(4 * MiB, false).Set(0xAB);
        CBuffer block(4 * MiB, zeroed);
        const uint8_t expected = zeroed ? 0 : 0xAB;
        EXPECT_TRUE(std::all_of(block.Data(), block.Data() + block.Size(), [&](uint8_t b) {
            return b == expected;
        })) << zeroed;
    }
}

TEST(MemoryPool, KeepsNoMoreThanItsCapOldestGoingFirst) {
    struct SCase {
        uint64_t cap;
        int freed;  // blocks of 4 MiB, freed one after the other
        size_t kept;
    };
    const SCase cases[] = {{0, 1, 0}, {3 * MiB, 1, 0}, {9 * MiB, 3, 2}, {64 * MiB, 3, 3}};
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.cap);
        SPoolSettings settings({c.cap, 0, false});
        std::vector<std::unique_ptr<CBuffer>> blocks;
        for (int i = 0; i < c.freed; ++i)
            blocks.push_back(std::make_unique<CBuffer>(4 * MiB, false));
        const uint8_t* newest = blocks.back()->Data();
        for (auto& block : blocks)
            block.reset();
        const CMemoryPool::SUsage usage = CMemoryPool::Usage();
        EXPECT_EQ(usage.cachedBlocks, c.kept);
        EXPECT_LE(usage.cached, c.cap);
        if (c.kept) {
            EXPECT_EQ(CBuffer(4 * MiB, false).Data(), newest);
        }
    }
}

TEST(MemoryPool, GivesItsBlocksBackBeforePassingTheLimit) {
    // 16 MiB kept; a new block that would take use and cache above 40 MiB empties the cache.
    for (auto [asked, kept] : {std::pair{20 * MiB, size_t(1)}, std::pair{28 * MiB, size_t(0)}}) {
        SPoolSettings settings({1024 * MiB, 40 * MiB, false});
        CBuffer(16 * MiB, false);
        CBuffer block(asked, true);
        EXPECT_EQ(CMemoryPool::Usage().cachedBlocks, kept) << asked;
    }
}

TEST(MemoryPool, HugePagesAreAskedForOnlyWhenSwitchedOn) {
    std::ifstream modes("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string text;
    const bool available = std::getline(modes, text) && text.find("[never]") == std::string::npos;
    for (bool huge : {false, true}) {
        SPoolSettings settings({0, 0, huge});
        CBuffer block(8 * MiB, true);
        EXPECT_EQ(AdvisedHuge(block.Data()), huge && available) << huge;
    }
}

TEST(MemoryPool, TheLimitNamesTheSizeAndLeavesNothingCounted) {
    SPoolSettings settings({0, 64 * MiB, false});
    CImage held(IMAGE_GREY_8, CSize(40 * 1024, 1024));
    const uint64_t before = CMemoryPool::Usage().inUse;
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] { CImage(IMAGE_GREY_F, CSize(1, 1, 2147483647)); },
         "CImage: cannot allocate 8.0 GiB for an IMAGE_GREY_F image of size (1, 1, 2147483647): "
         "above the memory limit of 64.0 MiB (ORVA_MEMORY_LIMIT)"},
        {[] { CImage(IMAGE_GREY_8, CSize(30 * 1024, 1024), CSize(0, 0, 0), CImage::NoInit{}); },
         "CImage: cannot allocate 30.0 MiB for an IMAGE_GREY_8 image of size (30720, 1024, 1): "
         "with 40.0 MiB in use, above the memory limit of 64.0 MiB (ORVA_MEMORY_LIMIT)"},
        {[] { CBuffer(30 * MiB, false); },
         "CBuffer: cannot allocate 30.0 MiB for a buffer: with 40.0 MiB in use, above the memory "
         "limit of 64.0 MiB (ORVA_MEMORY_LIMIT)"},
        {[] { CheckMemory(uint64_t(1) << 40, "Node::Run", "a table"); },
         "Node::Run: cannot allocate 1.0 TiB for a table: above the memory limit of 64.0 MiB "
         "(ORVA_MEMORY_LIMIT)"},
    };
    for (const auto& [action, message] : cases)
        EXPECT_EQ(MessageOf(action), message);
    EXPECT_EQ(CMemoryPool::Usage().inUse, before);
}

TEST(MemoryPool, ThreadsShareThePoolWithoutSharingBlocks) {
    SPoolSettings settings({8 * MiB, 0, false});
    const uint64_t before = CMemoryPool::Usage().inUse;
    const size_t sizes[] = {256 * KiB, 1 * MiB, 2 * MiB + 100, 3 * MiB};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &sizes] {
            for (int i = 0; i < 50; ++i) {
                CBuffer block(sizes[(t + i) % 4], true);
                uint8_t* bytes = block.Data();
                const size_t n = block.Size();
                EXPECT_EQ(bytes[0] | bytes[n / 2] | bytes[n - 1], 0);
                block.Set(t + 1);
                std::this_thread::yield();
                EXPECT_TRUE(std::all_of(bytes, bytes + n, [t](uint8_t b) { return b == t + 1; }));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(CMemoryPool::Usage().inUse, before);
    EXPECT_LE(CMemoryPool::Usage().cached, 8 * MiB);
}

TEST(MemoryPool, SettingsFromTheEnvironment) {
    auto read = [](const char* cache, const char* limit) {
        setenv("ORVA_BUFFER_CACHE", cache, 1);
        setenv("ORVA_MEMORY_LIMIT", limit, 1);
        CMemoryPool::SSettings settings = CMemoryPool::FromEnvironment();
        unsetenv("ORVA_BUFFER_CACHE");
        unsetenv("ORVA_MEMORY_LIMIT");
        return settings;
    };
    const CMemoryPool::SSettings defaults = CMemoryPool::FromEnvironment();
    const uint64_t physical = read("100%", "0").cacheBytes;
    EXPECT_EQ(defaults.cacheBytes, physical / 16);
    EXPECT_EQ(defaults.limit, physical / 10 * 8);

    CMemoryPool::SSettings set = read("0", "1.5G");
    EXPECT_EQ(set.cacheBytes, 0u);
    EXPECT_EQ(set.limit, 3 * 512 * MiB);

    testing::internal::CaptureStderr();
    CMemoryPool::SSettings wrong = read("", "lots");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "ORVA_MEMORY_LIMIT: 'lots' is not a number of bytes (such as 512M, 8G or 50%); using " +
            FormatBytes(defaults.limit) + "\n");
    EXPECT_EQ(wrong, defaults);
}

TEST(MemoryPool, ByteTexts) {
    const std::pair<uint64_t, const char*> formatted[] = {
        {1, "1 byte"},           {1023, "1023 bytes"},           {1024, "1.0 KiB"},
        {8589934588, "8.0 GiB"}, {uint64_t(3) << 40, "3.0 TiB"},
    };
    for (const auto& [bytes, text] : formatted)
        EXPECT_EQ(FormatBytes(bytes), text);

    const std::pair<const char*, std::optional<uint64_t>> parsed[] = {
        {"4096", 4096},
        {" 64k ", 64 * KiB},
        {"512M", 512 * MiB},
        {"1.5G", 1536 * MiB},
        {"2 GiB", 2048 * MiB},
        {"1t", uint64_t(1) << 40},
        {"7B", 7},
        {"25%", 250},
        {"-1", std::nullopt},
        {"1.2.3", std::nullopt},
        {"12Q", std::nullopt},
        {"99999999999T", std::nullopt},
    };
    for (const auto& [text, bytes] : parsed)
        EXPECT_EQ(ParseBytes(text, 1000), bytes) << text;
}

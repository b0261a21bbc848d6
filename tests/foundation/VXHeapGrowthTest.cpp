#include "VXHeapGrowth.h"

#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#include <malloc.h>
#include <unistd.h>
#define VX_GLIBC_HEAP 1
#endif

namespace {

constexpr std::size_t kMiB = std::size_t(1) << 20;

#ifdef VX_GLIBC_HEAP
struct Heap {
    std::size_t advisedHuge = 0;   // bytes of its mappings with the huge-page advice ("hg")
    std::size_t advisedNoHuge = 0;   // and with the advice against them ("nh")
    std::size_t resident = 0;
};

// The main heap's mappings as the kernel sees them, read without allocating (which would move
// what is measured).
Heap heap()
{
    static char text[4 << 20];
    Heap heap;
    const int file = ::open("/proc/self/smaps", O_RDONLY);
    if (file < 0)
        return heap;
    std::size_t length = 0;
    for (ssize_t got; (got = ::read(file, text + length, sizeof text - length)) > 0;)
        length += std::size_t(got);
    ::close(file);
    std::size_t size = 0;
    bool inHeap = false;
    for (std::string_view rest(text, length); !rest.empty();) {
        const std::size_t eol = std::min(rest.find('\n'), rest.size());
        const std::string_view line = rest.substr(0, eol);
        rest.remove_prefix(std::min(eol + 1, rest.size()));
        if (line.starts_with("Rss:")) {
            if (inHeap)
                heap.resident += std::strtoull(line.data() + 4, nullptr, 10) * 1024;
        } else if (line.starts_with("VmFlags:")) {
            if (inHeap && line.find(" hg") != std::string_view::npos)
                heap.advisedHuge += size;
            if (inHeap && line.find(" nh") != std::string_view::npos)
                heap.advisedNoHuge += size;
        } else if (const std::size_t dash = line.find('-'); dash != std::string_view::npos && line.find(':') > dash) {
            char *end = nullptr;
            const std::uint64_t from = std::strtoull(line.data(), &end, 16);
            const std::uint64_t to = std::strtoull(end + 1, nullptr, 16);
            size = std::size_t(to - from);
            inHeap = line.ends_with("[heap]");
        }
    }
    return heap;
}
#endif

TEST(VXHeapGrowthTest, MakesAdvisedRoomOnTheMainThreadAndGivesTheRestBack)
{
#ifndef VX_GLIBC_HEAP
    // A sanitizer's allocator (or another C library) keeps the heap: nothing to make room in.
    const VXHeapGrowth room(256 * kMiB);
    EXPECT_EQ(room.advisedBytes(), 0u);
#else
    if (!QFile::exists(QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled")))
        GTEST_SKIP() << "this kernel has no transparent huge pages to advise";
    malloc_trim(0);
    const auto heapEnd = [] { return reinterpret_cast<std::uintptr_t>(sbrk(0)); };
    const std::uintptr_t before = heapEnd();
    const Heap at = heap();
    std::vector<std::unique_ptr<char[]>> blocks;
    blocks.reserve(8 * 1024);
    {
        const VXHeapGrowth room(96 * kMiB);
        // The room is made at once, and all of it but the ends' partial huge pages is advised.
        EXPECT_GE(heapEnd() - before, 96 * kMiB);
        EXPECT_GE(room.advisedBytes(), 92 * kMiB);
        EXPECT_GE(heap().advisedHuge, at.advisedHuge + room.advisedBytes());
        // What the scope allocates comes from that room, not from new growth.
        const std::uintptr_t made = heapEnd();
        for (int i = 0; i < 8 * 1024; ++i)
            blocks.push_back(std::make_unique<char[]>(4096));
        EXPECT_EQ(heapEnd(), made);
    }
    // Past the scope no part of the room takes new huge pages (the holes a tree leaves when
    // parts of it are freed stay holes).
    const Heap past = heap();
    EXPECT_EQ(past.advisedHuge, at.advisedHuge);
    EXPECT_GE(past.advisedNoHuge, at.advisedNoHuge + 92 * kMiB);
    // Once the tree that used it is gone, the heap shrinks back as it usually does (the scope
    // gave up its room) and its pages go back.
    blocks.clear();
    EXPECT_LT(heapEnd(), before + 8 * kMiB);
    EXPECT_LT(heap().resident, at.resident + 4 * kMiB);

    // Too small to be worth it, and off the main thread: nothing.
    EXPECT_EQ(VXHeapGrowth(VXHeapGrowth::kWorthwhile - 1).advisedBytes(), 0u);
    std::size_t elsewhere = 1;
    std::thread([&] { elsewhere = VXHeapGrowth(256 * kMiB).advisedBytes(); }).join();
    EXPECT_EQ(elsewhere, 0u);
#endif
}

TEST(VXHeapGrowthTest, PopulatesTheRoomOnAThreadOfItsOwnWithoutChangingWhatTheCallerWrites)
{
#ifndef VX_GLIBC_HEAP
    VXHeapGrowth room(256 * kMiB, 128 * kMiB);
    EXPECT_EQ(room.waitForPopulated(), 0u);
#else
    malloc_trim(0);
    const Heap at = heap();
    {
        VXHeapGrowth room(256 * kMiB, 160 * kMiB);
        // The caller fills the room while it is populated: what it writes stays as written.
        std::vector<std::unique_ptr<std::uint64_t[]>> blocks;
        constexpr std::size_t kWords = 512;
        for (std::size_t i = 0; i < 16 * 1024; ++i) {
            blocks.push_back(std::make_unique<std::uint64_t[]>(kWords));
            for (std::size_t w = 0; w < kWords; ++w)
                blocks.back()[w] = i * kWords + w + 1;
        }
        const std::size_t populated = room.waitForPopulated();
        if (populated == 0)
            GTEST_SKIP() << "this kernel cannot populate a range in advance (MADV_POPULATE_WRITE)";
        // All that was asked (but the partial huge page at its start), and no more.
        EXPECT_GE(populated, 158 * kMiB);
        EXPECT_LE(populated, 160 * kMiB);
        EXPECT_GE(heap().resident, at.resident + 156 * kMiB);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            for (std::size_t w = 0; w < kWords; ++w)
                wrong += blocks[i][w] != i * kWords + w + 1 ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0u);
    }
    // What the caller did not use goes back with the trim, as for room not populated.
    malloc_trim(0);
    EXPECT_LT(heap().resident, at.resident + 4 * kMiB);

    // Nothing asked, nothing populated; a scope that ends early stops the thread.
    {
        VXHeapGrowth room(96 * kMiB);
        EXPECT_EQ(room.waitForPopulated(), 0u);
    }
    {
        const VXHeapGrowth room(256 * kMiB, 256 * kMiB);
    }
    malloc_trim(0);
    EXPECT_LT(heap().resident, at.resident + 4 * kMiB);
#endif
}

}   // namespace

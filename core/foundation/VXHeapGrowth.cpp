#include "VXHeapGrowth.h"

// glibc's heap only; a sanitizer's allocator keeps its memory elsewhere.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VX_HEAP_GROWTH 1
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#endif

#ifdef VX_HEAP_GROWTH
namespace {

constexpr std::uintptr_t kHugePage = std::uintptr_t(2) << 20;
// glibc's own values for what the scope changes (mallopt(3)).
constexpr int kUsualTopPad = 128 * 1024;
constexpr int kUsualMapThreshold = 128 * 1024;
// The largest request glibc serves from the heap rather than a mapping of its own (64-bit).
constexpr std::size_t kLargestHeapRequest = std::size_t(32) << 20;

std::uintptr_t heapEnd()
{
    return reinterpret_cast<std::uintptr_t>(sbrk(0));
}

}   // namespace
#endif

VXHeapGrowth::VXHeapGrowth(std::size_t bytes, std::size_t populated)
{
#ifdef VX_HEAP_GROWTH
    // Other threads allocate from heaps of their own, which this does not reach.
    if (bytes < kWorthwhile || gettid() != getpid())
        return;
    m_active = true;
    const std::size_t pad = std::min<std::size_t>(bytes, INT_MAX & ~(kHugePage - 1));
    // The next growth takes the whole room (and a trim keeps it) ...
    mallopt(M_TOP_PAD, int(pad));
    mallopt(M_MMAP_THRESHOLD, int(kLargestHeapRequest));
    // ... and happens now: requests the free top cannot hold, freed again at once. A top larger
    // than one request takes a few.
    const std::uintptr_t before = heapEnd();
    std::array<void *, 64> requests {};
    std::size_t made = 0;
    while (made < requests.size() && heapEnd() == before && mallinfo2().keepcost < pad) {
        requests[made] = malloc(kLargestHeapRequest - 4096);
        if (!requests[made])
            break;
        ++made;
    }
    for (std::size_t i = 0; i < made; ++i)
        free(requests[i]);
    // Only what this growth added is advised: it is the heap's, untouched yet.
    const std::uintptr_t after = heapEnd();
    const std::uintptr_t first = (before + kHugePage - 1) & ~(kHugePage - 1);
    const std::uintptr_t last = after & ~(kHugePage - 1);
    if (after > before && last > first
        && madvise(reinterpret_cast<void *>(first), std::size_t(last - first), MADV_HUGEPAGE) == 0) {
        m_first = reinterpret_cast<void *>(first);
        m_advised = std::size_t(last - first);
    }
    // Faulted in a huge page at a time, in the order the heap hands out its top; the pages the
    // caller touched first are skipped by the kernel. Populating changes no byte: the caller's
    // allocator may write the same pages meanwhile.
    const std::uintptr_t end = std::min<std::uintptr_t>(first + std::min<std::size_t>(populated, bytes), last);
    if (populated > 0 && end > first) {
        m_populator = std::thread([this, first, end] {
            for (std::uintptr_t at = first; at < end && !m_stop.load(std::memory_order_relaxed); at += kHugePage) {
                const std::size_t length = std::size_t(std::min(end - at, kHugePage));
                if (madvise(reinterpret_cast<void *>(at), length, MADV_POPULATE_WRITE) != 0)
                    break;   // a kernel without it (before 5.14), or no memory: the caller faults them
                m_populated.fetch_add(length, std::memory_order_relaxed);
            }
        });
    }
#else
    (void)bytes;
    (void)populated;
#endif
}

std::size_t VXHeapGrowth::waitForPopulated()
{
    if (m_populator.joinable())
        m_populator.join();
    return m_populated.load(std::memory_order_relaxed);
}

VXHeapGrowth::~VXHeapGrowth()
{
#ifdef VX_HEAP_GROWTH
    if (!m_active)
        return;
    m_stop.store(true, std::memory_order_relaxed);
    waitForPopulated();
    mallopt(M_TOP_PAD, kUsualTopPad);
    mallopt(M_MMAP_THRESHOLD, kUsualMapThreshold);
    // The huge pages made stay, but no new ones: the system would otherwise fill the holes the
    // tree leaves when parts of it are freed with whole huge pages again, in the background.
    if (m_advised) {
        const auto end = reinterpret_cast<std::uintptr_t>(m_first) + m_advised;
        const std::uintptr_t heap = heapEnd() & ~(kHugePage - 1);
        if (heap > reinterpret_cast<std::uintptr_t>(m_first))
            madvise(m_first, std::size_t(std::min(end, heap) - reinterpret_cast<std::uintptr_t>(m_first)),
                    MADV_NOHUGEPAGE);
    }
#endif
}

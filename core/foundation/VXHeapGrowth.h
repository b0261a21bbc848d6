#pragma once

#include <atomic>
#include <cstddef>
#include <thread>

// Room for a large tree about to be built on the main thread (a record being decoded): the
// main thread's heap grows by `bytes` in one step, and the system is asked to back the new room
// with huge pages. A ten-year record is millions of allocations whose first touches would
// otherwise fault in 4 KiB pages one at a time (about half of its decoding time) and then miss
// the TLB on every walk of the tree. Unused room is given back by the next malloc_trim.
//
// With `populated`, a thread of its own faults in that much of the room, from its start, while
// the caller fills it: the kernel's zeroing of the new pages (a quarter of a ten-year record's
// decoding) runs on another core, and the caller's first touches find them ready. The caller
// gives what it expects to use, about: pages it never uses go back with the next malloc_trim, and
// those the thread has not reached yet it faults in itself as before.
//
// The scope restores the heap's usual growth when it ends, and the room takes no new huge pages
// after it. Elsewhere than on the main thread,
// with another allocator (a sanitizer's), or for less than kWorthwhile bytes it does nothing.
class VXHeapGrowth
{
public:
    static constexpr std::size_t kWorthwhile = std::size_t(32) << 20;

    explicit VXHeapGrowth(std::size_t bytes, std::size_t populated = 0);
    ~VXHeapGrowth();

    VXHeapGrowth(const VXHeapGrowth &) = delete;
    VXHeapGrowth &operator=(const VXHeapGrowth &) = delete;

    // The bytes of the heap advised huge pages (0 when nothing was done).
    std::size_t advisedBytes() const { return m_advised; }
    // Waits for the populating thread and answers how many bytes of the room it faulted in (0
    // when there is none, or the system cannot populate a range in advance).
    std::size_t waitForPopulated();

private:
    bool m_active = false;
    void *m_first = nullptr;
    std::size_t m_advised = 0;
    std::thread m_populator;
    std::atomic<bool> m_stop {false};
    std::atomic<std::size_t> m_populated {0};
};

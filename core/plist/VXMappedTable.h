#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>

#include <sys/mman.h>

// The codecs' large temporary tables (a few bytes per object: millions for a year of event
// logs). Each is its own mapping, advised as huge pages whole, so that filling it takes a few
// page faults instead of thousands, and grown by remapping, so that growing neither copies nor
// touches fresh pages for the old contents. Small tables are ordinary heap blocks. New elements
// read as zero.
template <class T> class VXMappedTable
{
    static_assert(std::is_trivially_copyable_v<T>);

public:
    VXMappedTable() = default;
    explicit VXMappedTable(std::size_t size) { resize(size); }
    VXMappedTable(const VXMappedTable &) = delete;
    VXMappedTable &operator=(const VXMappedTable &) = delete;
    VXMappedTable(VXMappedTable &&other) noexcept :
        m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0)),
        m_bytes(std::exchange(other.m_bytes, 0))
    {
    }
    VXMappedTable &operator=(VXMappedTable &&other) noexcept
    {
        if (this != &other) {
            release();
            m_data = std::exchange(other.m_data, nullptr);
            m_size = std::exchange(other.m_size, 0);
            m_bytes = std::exchange(other.m_bytes, 0);
        }
        return *this;
    }
    ~VXMappedTable() { release(); }

    std::size_t size() const { return m_size; }
    T *data() { return m_data; }
    const T *data() const { return m_data; }
    T &operator[](std::size_t index) { return m_data[index]; }
    const T &operator[](std::size_t index) const { return m_data[index]; }
    T *begin() { return m_data; }
    T *end() { return m_data + m_size; }
    const T *begin() const { return m_data; }
    const T *end() const { return m_data + m_size; }

    void push_back(const T &value)
    {
        if (m_size == capacity())
            grow(m_size + 1);
        m_data[m_size++] = value;
    }
    // Only grows; the new elements are zero.
    void resize(std::size_t size)
    {
        if (size > capacity())
            grow(size);
        m_size = std::max(m_size, size);
    }
    // Room for `count` elements (only the pages written become memory).
    void reserve(std::size_t count)
    {
        if (count > capacity())
            grow(count);
    }
    // Empty, its memory given back.
    void release()
    {
        if (m_bytes >= kMapped)
            ::munmap(m_data, m_bytes);
        else
            std::free(m_data);
        m_data = nullptr;
        m_size = 0;
        m_bytes = 0;
    }

private:
    static constexpr std::size_t kHugePage = 2 * 1024 * 1024;
    // Below this a table is an ordinary heap block (a small file's tables cost no system call).
    static constexpr std::size_t kMapped = kHugePage;

    std::size_t capacity() const { return m_bytes / sizeof(T); }

    void grow(std::size_t needed)
    {
        std::size_t bytes = std::max<std::size_t>({needed * sizeof(T), m_bytes * 2, 256});
        void *memory = nullptr;
        if (bytes < kMapped) {
            memory = std::realloc(m_data, bytes);
            if (!memory)
                throw std::bad_alloc();
            std::memset(static_cast<char *>(memory) + m_bytes, 0, bytes - m_bytes);
        } else {
            bytes = (bytes + kHugePage - 1) / kHugePage * kHugePage;
            if (m_bytes >= kMapped) {
                memory = ::mremap(m_data, m_bytes, bytes, MREMAP_MAYMOVE);
            } else {
                memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                if (memory != MAP_FAILED && m_data) {
                    std::memcpy(memory, m_data, m_bytes);
                    std::free(m_data);
                }
            }
            if (memory == MAP_FAILED)
                throw std::bad_alloc();
            ::madvise(memory, bytes, MADV_HUGEPAGE);
        }
        m_data = static_cast<T *>(memory);
        m_bytes = bytes;
    }

    T *m_data = nullptr;
    std::size_t m_size = 0;
    std::size_t m_bytes = 0;
};

// A large table's pages faulted in by a thread of its own, from its start, while the caller
// begins to use it (a huge page at a time; populating changes no byte). A table read before it is
// written (a reader's per-object state) would otherwise take the shared zero page at the first
// read and a fresh page, zeroed on the caller's core, at the first write. The scope stops the
// thread and waits for it. Nothing for less than a huge page (a table on the heap), or on a
// system that cannot populate a range in advance.
class VXTablePopulation
{
public:
    static constexpr std::size_t kHugePage = 2 * 1024 * 1024;

    // `begin` is the start of a table's own mapping (VXMappedTable::data()), `bytes` long.
    VXTablePopulation(void *begin, std::size_t bytes)
    {
        if (bytes < kHugePage || reinterpret_cast<std::uintptr_t>(begin) % 4096 != 0)
            return;
        m_thread = std::thread([this, at = static_cast<char *>(begin), bytes] {
            for (std::size_t done = 0; done < bytes && !m_stop.load(std::memory_order_relaxed);) {
                const std::size_t length = std::min(kHugePage, bytes - done);
                if (::madvise(at + done, length, MADV_POPULATE_WRITE) != 0)
                    break;
                done += length;
                m_populated.store(done, std::memory_order_relaxed);
            }
        });
    }
    ~VXTablePopulation()
    {
        m_stop.store(true, std::memory_order_relaxed);
        wait();
    }
    VXTablePopulation(const VXTablePopulation &) = delete;
    VXTablePopulation &operator=(const VXTablePopulation &) = delete;

    // Waits for the thread to end; answers how many bytes it populated.
    std::size_t wait()
    {
        if (m_thread.joinable())
            m_thread.join();
        return m_populated.load(std::memory_order_relaxed);
    }

private:
    std::atomic<bool> m_stop {false};
    std::atomic<std::size_t> m_populated {0};
    std::thread m_thread;
};

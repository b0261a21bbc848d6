#pragma once

#include <cstddef>
#include <mutex>
#include <optional>

// Slices 0 to count - 1 of some work, handed to two threads: one takes them from the first, the
// other from the last, until they meet. Neither waits for the other: the one that is faster
// simply takes more.
class VXTwoEndedSlices
{
public:
    enum Side { FromTheFirst, FromTheLast };

    explicit VXTwoEndedSlices(std::size_t count = 0) : m_back(count) { }
    VXTwoEndedSlices(const VXTwoEndedSlices &) = delete;
    VXTwoEndedSlices &operator=(const VXTwoEndedSlices &) = delete;

    // Before either thread takes a slice.
    void reset(std::size_t count)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_front = 0;
        m_back = count;
    }

    // The next slice of a side; none once the two sides met.
    std::optional<std::size_t> next(Side side)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_front == m_back)
            return std::nullopt;
        return side == FromTheFirst ? m_front++ : --m_back;
    }

private:
    std::mutex m_mutex;
    std::size_t m_front = 0;
    std::size_t m_back = 0;
};

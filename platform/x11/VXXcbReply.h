#pragma once

// Ownership of what xcb hands out: replies and errors are malloc()ed and must be free()d, a
// connection must be disconnected. Every reply goes straight into one of these holders.
//
//     VXXcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, error.out()));

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

struct VXXcbFree {
    void operator()(void *pointer) const noexcept { std::free(pointer); }
};

template <typename T> using VXXcbReply = std::unique_ptr<T, VXXcbFree>;

// An error slot for xcb_*_reply(): pass out(), then read get(). Frees what it holds.
class VXXcbError
{
public:
    VXXcbError() = default;
    VXXcbError(const VXXcbError &) = delete;
    VXXcbError &operator=(const VXXcbError &) = delete;
    ~VXXcbError() { std::free(m_error); }

    xcb_generic_error_t **out() noexcept
    {
        std::free(m_error);
        m_error = nullptr;
        return &m_error;
    }
    xcb_generic_error_t *get() const noexcept { return m_error; }

private:
    xcb_generic_error_t *m_error = nullptr;
};

struct VXXcbDisconnect {
    void operator()(xcb_connection_t *connection) const noexcept { xcb_disconnect(connection); }
};

using VXXcbConnection = std::unique_ptr<xcb_connection_t, VXXcbDisconnect>;

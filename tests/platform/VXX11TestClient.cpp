// A small X11 client for the desktop adapter's tests and benchmark: it opens windows with the
// properties asked for on the command line, prints "ready <id> ..." once the window manager has
// mapped them, then obeys commands read from standard input, answering "ok" after the server has
// carried each one out:
//
//   title <index> <text>     sets the window's title (_NET_WM_NAME and WM_NAME, or WM_NAME only)
//   destroy <index>          destroys the window
//   quit                     exits (so does the end of standard input)
//
// Options: --title TEXT, --count N (titles "TEXT 1" ... "TEXT N"), --no-net-wm-name (WM_NAME only,
// Latin-1), --no-pid, --pid N (_NET_WM_PID other than its own), --type NAME (normal, dialog, utility,
// toolbar, menu, popup_menu, ...),
// --state NAME (above, skip_taskbar, sticky; repeatable), --class INSTANCE,CLASS,
// --gtk-app-id ID, --client-machine NAME.

#include <xcb/xcb.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Options {
    std::string title = "Window";
    int count = 1;
    bool netWmName = true;
    bool pid = true;
    long pidValue = 0;   // 0: the client's own
    std::string type;
    std::vector<std::string> states;
    std::string wmClass;
    std::string gtkApplicationId;
    std::string clientMachine;
};

xcb_connection_t *connection = nullptr;

xcb_atom_t atom(const std::string &name)
{
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, uint16_t(name.size()), name.c_str()), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

void setText(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, const std::string &bytes)
{
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, 8, uint32_t(bytes.size()),
                        bytes.data());
}

// UTF-8 to Latin-1, for WM_NAME as a STRING (characters past U+00FF become '?').
std::string latin1(const std::string &utf8)
{
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x80) {
            out += char(c);
        } else if ((c & 0xe0) == 0xc0 && i + 1 < utf8.size()) {
            const unsigned code = ((c & 0x1fu) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3fu);
            out += code <= 0xff ? char(code) : '?';
        } else {
            while (i + 1 < utf8.size() && (static_cast<unsigned char>(utf8[i + 1]) & 0xc0) == 0x80)
                ++i;
            out += '?';
        }
    }
    return out;
}

void setTitle(xcb_window_t window, const Options &options, const std::string &title)
{
    if (options.netWmName) {
        setText(window, atom("_NET_WM_NAME"), atom("UTF8_STRING"), title);
        setText(window, XCB_ATOM_WM_NAME, atom("UTF8_STRING"), title);
    } else {
        setText(window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, latin1(title));
    }
}

// Waits until the server has carried out everything sent so far.
void waitForServer()
{
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

bool parse(int argc, char **argv, Options &options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "missing value for %s\n", arg.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (arg == "--title")
            options.title = value();
        else if (arg == "--count")
            options.count = std::max(1, std::atoi(value().c_str()));
        else if (arg == "--no-net-wm-name")
            options.netWmName = false;
        else if (arg == "--no-pid")
            options.pid = false;
        else if (arg == "--pid")
            options.pidValue = std::atol(value().c_str());
        else if (arg == "--type")
            options.type = value();
        else if (arg == "--state")
            options.states.push_back(value());
        else if (arg == "--class")
            options.wmClass = value();
        else if (arg == "--gtk-app-id")
            options.gtkApplicationId = value();
        else if (arg == "--client-machine")
            options.clientMachine = value();
        else {
            std::fprintf(stderr, "unknown option %s\n", arg.c_str());
            return false;
        }
    }
    return true;
}

std::string upper(std::string text)
{
    for (char &c : text)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

}   // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(argc, argv, options))
        return 2;
    int screenNumber = 0;
    connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        std::fprintf(stderr, "cannot connect to the X display\n");
        return 1;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber; ++i)
        xcb_screen_next(&screens);
    xcb_screen_t *screen = screens.data;

    std::vector<xcb_window_t> windows;
    for (int n = 0; n < options.count; ++n) {
        const xcb_window_t window = xcb_generate_id(connection);
        const uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, int16_t(20 + 10 * n),
                          int16_t(20 + 10 * n), 200, 100, 1, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        const std::string title = options.count > 1 ? options.title + " " + std::to_string(n + 1) : options.title;
        setTitle(window, options, title);
        if (options.pid) {
            const uint32_t pid = options.pidValue > 0 ? uint32_t(options.pidValue) : uint32_t(getpid());
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32,
                                1, &pid);
        }
        if (!options.clientMachine.empty())
            setText(window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, options.clientMachine);
        if (!options.type.empty()) {
            const xcb_atom_t type = atom("_NET_WM_WINDOW_TYPE_" + upper(options.type));
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM,
                                32, 1, &type);
        }
        if (!options.states.empty()) {
            std::vector<xcb_atom_t> states;
            for (const std::string &state : options.states)
                states.push_back(atom("_NET_WM_STATE_" + upper(state)));
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                                uint32_t(states.size()), states.data());
        }
        if (!options.wmClass.empty()) {
            std::string wmClass = options.wmClass;
            const std::size_t comma = wmClass.find(',');
            if (comma != std::string::npos)
                wmClass[comma] = '\0';
            wmClass += '\0';
            setText(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, wmClass);
        }
        if (!options.gtkApplicationId.empty())
            setText(window, atom("_GTK_APPLICATION_ID"), atom("UTF8_STRING"), options.gtkApplicationId);
        xcb_map_window(connection, window);
        windows.push_back(window);
    }
    xcb_flush(connection);

    // Ready once every window is mapped (by the window manager, when there is one). openbox, just
    // started, now and then drops a map request that reached it while it was still taking over
    // the screen, so a window still unmapped after a while is asked for again.
    std::vector<xcb_window_t> unmapped = windows;
    const auto start = std::chrono::steady_clock::now();
    auto nextRequest = start + std::chrono::milliseconds(500);
    while (!unmapped.empty() && std::chrono::steady_clock::now() < start + std::chrono::seconds(10)) {
        pollfd fd {xcb_get_file_descriptor(connection), POLLIN, 0};
        poll(&fd, 1, 100);
        while (xcb_generic_event_t *event = xcb_poll_for_event(connection)) {
            if ((event->response_type & 0x7f) == XCB_MAP_NOTIFY)
                std::erase(unmapped, reinterpret_cast<xcb_map_notify_event_t *>(event)->window);
            std::free(event);
        }
        if (xcb_connection_has_error(connection))
            return 1;
        if (!unmapped.empty() && std::chrono::steady_clock::now() >= nextRequest) {
            for (const xcb_window_t window : unmapped)
                xcb_map_window(connection, window);
            xcb_flush(connection);
            nextRequest += std::chrono::milliseconds(500);
        }
    }
    waitForServer();
    std::printf("ready");
    for (const xcb_window_t window : windows)
        std::printf(" 0x%x", window);
    std::printf("\n");
    std::fflush(stdout);

    std::string line;
    while (true) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {xcb_get_file_descriptor(connection), POLLIN, 0}};
        if (poll(fds, 2, -1) < 0)
            break;
        while (xcb_generic_event_t *event = xcb_poll_for_event(connection))
            std::free(event);
        if (xcb_connection_has_error(connection))
            return 1;
        if (!(fds[0].revents & (POLLIN | POLLHUP)))
            continue;
        char buffer[4096];
        const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0)
            break;
        line.append(buffer, std::size_t(got));
        std::size_t newline;
        while ((newline = line.find('\n')) != std::string::npos) {
            const std::string command = line.substr(0, newline);
            line.erase(0, newline + 1);
            if (command == "quit")
                return 0;
            unsigned index = 0;
            int consumed = 0;
            if (std::sscanf(command.c_str(), "title %u %n", &index, &consumed) == 1 && consumed > 0
                && index < windows.size()) {
                setTitle(windows[index], options, command.substr(std::size_t(consumed)));
            } else if (std::sscanf(command.c_str(), "destroy %u", &index) == 1 && index < windows.size()) {
                xcb_destroy_window(connection, windows[index]);
            } else {
                std::printf("error %s\n", command.c_str());
                std::fflush(stdout);
                continue;
            }
            waitForServer();
            std::printf("ok\n");
            std::fflush(stdout);
        }
    }
    xcb_disconnect(connection);
    return 0;
}

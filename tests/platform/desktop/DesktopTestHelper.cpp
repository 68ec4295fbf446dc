// The other programs of the desktop tests, one per mode, each a plain xcb or POSIX program:
//
//   window TITLE [--no-delete] [--latin1-only]
//       maps a top-level window titled TITLE (_NET_WM_NAME in UTF-8 and WM_NAME in Latin-1, or only the
//       latter), with _NET_WM_PID, and WM_DELETE_WINDOW in WM_PROTOCOLS unless --no-delete. Prints
//       "ready", then "deleted" and exits 0 on WM_DELETE_WINDOW, "destroyed" and exits 0 when its window is
//       destroyed; exits 2 when the X server goes.
//   wm [--frames]
//       a tiny EWMH window manager: maps what asks to be mapped, lists the clients in _NET_CLIENT_LIST,
//       announces _NET_CLOSE_WINDOW. Prints "ready", then one line per request it gets: "iconify TITLE"
//       (WM_CHANGE_STATE to IconicState) and "close TITLE" (_NET_CLOSE_WINDOW, which it passes on to the
//       window as WM_DELETE_WINDOW). With --frames, a manager of the older kind: no EWMH at all, each
//       client put into a frame of its own and marked with WM_STATE; a _NET_CLOSE_WINDOW is only printed.
//   arguments FILE ARG...
//       writes its parent's pid and then each ARG to FILE, each ended by a NUL byte.

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

xcb_atom_t Atom(xcb_connection_t* c, const char* name) {
    std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> reply(xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void SetProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t name, xcb_atom_t type, uint8_t format,
                 const void* data, size_t count) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, name, type, format, static_cast<uint32_t>(count),
                        data);
}

// Waits until the server has done everything asked so far, so that other clients see it after "ready".
void Sync(xcb_connection_t* c) {
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

void Say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// UTF-8 to Latin-1; characters beyond it become '?'.
std::string Latin1(const std::string& utf8) {
    std::string out;
    for (size_t i = 0; i < utf8.size(); ++i) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        if (byte < 0x80) {
            out += static_cast<char>(byte);
        } else if ((byte & 0xE0) == 0xC0 && i + 1 < utf8.size()) {
            const unsigned code = ((byte & 0x1Fu) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3Fu);
            out += code < 0x100 ? static_cast<char>(code) : '?';
        } else {
            while (i + 1 < utf8.size() && (static_cast<unsigned char>(utf8[i + 1]) & 0xC0) == 0x80)
                ++i;
            out += '?';
        }
    }
    return out;
}

int Window(const std::string& title, bool deleteProtocol, bool latin1Only) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 2;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    const uint32_t mask[] = {XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 10, 10, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, mask);
    const xcb_atom_t protocols = Atom(c, "WM_PROTOCOLS");
    const xcb_atom_t deleteWindow = Atom(c, "WM_DELETE_WINDOW");
    if (!latin1Only)
        SetProperty(c, window, Atom(c, "_NET_WM_NAME"), Atom(c, "UTF8_STRING"), 8, title.data(),
                    title.size());
    const std::string latin1 = Latin1(title);
    SetProperty(c, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, latin1.data(), latin1.size());
    const uint32_t pid = static_cast<uint32_t>(getpid());
    SetProperty(c, window, Atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, &pid, 1);
    if (deleteProtocol)
        SetProperty(c, window, protocols, XCB_ATOM_ATOM, 32, &deleteWindow, 1);
    xcb_map_window(c, window);
    Sync(c);
    Say("ready");
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const std::unique_ptr<xcb_generic_event_t, FreeReply> owned(event);
        switch (event->response_type & 0x7F) {
        case XCB_CLIENT_MESSAGE: {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            if (message->type == protocols && message->data.data32[0] == deleteWindow) {
                Say("deleted");
                xcb_disconnect(c);
                return 0;
            }
            break;
        }
        case XCB_DESTROY_NOTIFY:
            Say("destroyed");
            xcb_disconnect(c);
            return 0;
        default:
            break;
        }
    }
    xcb_disconnect(c);
    return 2;
}

int WindowManager(bool framing) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 2;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t root = screen->root;
    const uint32_t mask[] = {XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
    if (xcb_request_check(c, xcb_change_window_attributes_checked(c, root, XCB_CW_EVENT_MASK, mask)))
        return 3; // another window manager runs
    const xcb_atom_t check = Atom(c, "_NET_SUPPORTING_WM_CHECK");
    const xcb_atom_t clientList = Atom(c, "_NET_CLIENT_LIST");
    const xcb_atom_t closeWindow = Atom(c, "_NET_CLOSE_WINDOW");
    const xcb_atom_t changeState = Atom(c, "WM_CHANGE_STATE");
    const xcb_atom_t wmState = Atom(c, "WM_STATE");
    const xcb_atom_t protocols = Atom(c, "WM_PROTOCOLS");
    const xcb_atom_t deleteWindow = Atom(c, "WM_DELETE_WINDOW");
    const xcb_window_t own = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, own, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    if (!framing) {
        SetProperty(c, root, check, XCB_ATOM_WINDOW, 32, &own, 1);
        SetProperty(c, own, check, XCB_ATOM_WINDOW, 32, &own, 1);
        const xcb_atom_t supported[] = {clientList, check, closeWindow};
        SetProperty(c, root, Atom(c, "_NET_SUPPORTED"), XCB_ATOM_ATOM, 32, supported, std::size(supported));
    }
    std::vector<xcb_window_t> clients;
    const auto publish = [&] {
        if (!framing)
            SetProperty(c, root, clientList, XCB_ATOM_WINDOW, 32, clients.data(), clients.size());
        xcb_flush(c);
    };
    publish();
    Sync(c);
    const auto title = [&](xcb_window_t window) {
        std::unique_ptr<xcb_get_property_reply_t, FreeReply> reply(xcb_get_property_reply(
            c, xcb_get_property(c, 0, window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY, 0, 1024), nullptr));
        if (!reply)
            return std::string();
        return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                           static_cast<size_t>(xcb_get_property_value_length(reply.get())));
    };
    Say("ready");
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const std::unique_ptr<xcb_generic_event_t, FreeReply> owned(event);
        switch (event->response_type & 0x7F) {
        case XCB_MAP_REQUEST: {
            const xcb_window_t window = reinterpret_cast<const xcb_map_request_event_t*>(event)->window;
            const uint32_t normal[] = {1, XCB_WINDOW_NONE};
            SetProperty(c, window, wmState, wmState, 32, normal, 2);
            if (framing) {
                const xcb_window_t frame = xcb_generate_id(c);
                const uint32_t frameMask[] = {XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY};
                xcb_create_window(c, XCB_COPY_FROM_PARENT, frame, root, 0, 0, 240, 140, 0,
                                  XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK,
                                  frameMask);
                xcb_reparent_window(c, window, frame, 10, 30);
                xcb_map_window(c, frame);
            }
            xcb_map_window(c, window);
            if (std::find(clients.begin(), clients.end(), window) == clients.end())
                clients.push_back(window);
            publish();
            break;
        }
        case XCB_DESTROY_NOTIFY: {
            const auto* destroyed = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
            const xcb_window_t window = destroyed->window;
            if (destroyed->event != root) { // a client inside its frame: the frame goes with it
                xcb_destroy_window(c, destroyed->event);
                xcb_flush(c);
                break;
            }
            clients.erase(std::remove(clients.begin(), clients.end(), window), clients.end());
            publish();
            break;
        }
        case XCB_CLIENT_MESSAGE: {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            if (message->type == changeState && message->data.data32[0] == 3) {
                Say("iconify " + title(message->window));
                const uint32_t iconic[] = {3, XCB_WINDOW_NONE};
                SetProperty(c, message->window, wmState, wmState, 32, iconic, 2);
                xcb_unmap_window(c, message->window);
                xcb_flush(c);
            } else if (message->type == closeWindow) {
                Say("close " + title(message->window));
                if (framing)
                    break;
                xcb_client_message_event_t request{};
                request.response_type = XCB_CLIENT_MESSAGE;
                request.format = 32;
                request.window = message->window;
                request.type = protocols;
                request.data.data32[0] = deleteWindow;
                xcb_send_event(c, 0, message->window, XCB_EVENT_MASK_NO_EVENT,
                               reinterpret_cast<const char*>(&request));
                xcb_flush(c);
            }
            break;
        }
        default:
            break;
        }
    }
    xcb_disconnect(c);
    return 2;
}

int Arguments(int argc, char** argv) {
    const std::string file = argv[2];
    const std::string partial = file + ".part";
    FILE* out = std::fopen(partial.c_str(), "wb");
    if (!out)
        return 1;
    const std::string parent = std::to_string(getppid());
    std::fwrite(parent.c_str(), 1, parent.size() + 1, out);
    for (int i = 3; i < argc; ++i)
        std::fwrite(argv[i], 1, std::strlen(argv[i]) + 1, out);
    std::fclose(out);
    return std::rename(partial.c_str(), file.c_str()) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    const auto has = [&](const char* flag) {
        return std::find(args.begin(), args.end(), flag) != args.end();
    };
    if (args.size() >= 2 && args[0] == "window")
        return Window(args[1], !has("--no-delete"), has("--latin1-only"));
    if (!args.empty() && args[0] == "wm")
        return WindowManager(has("--frames"));
    if (args.size() >= 2 && args[0] == "arguments")
        return Arguments(argc, argv);
    std::fprintf(
        stderr,
        "usage: window TITLE [--no-delete] [--latin1-only] | wm [--frames] | arguments FILE ARG...\n");
    return 64;
}

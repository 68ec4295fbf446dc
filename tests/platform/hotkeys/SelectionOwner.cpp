// A small X client for the tests of the marked text: takes the primary selection and/or the clipboard
// with given texts and answers the requests for them, as an editor with marked text does, until it is
// ended. Arguments: primary=TEXT, clipboard=TEXT (UTF-8), string-only (offers Latin-1 text only), silent
// (owns but never answers). Prints the id of its window once it owns what it was asked to.

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return a;
}

// The text as Latin-1; characters outside it become '?'.
std::string latin1(const std::string& utf8) {
    std::string out;
    for (size_t i = 0; i < utf8.size();) {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        unsigned code = byte;
        size_t length = 1;
        if (byte >= 0xf0) {
            length = 4;
            code = 0x110000;
        } else if (byte >= 0xe0) {
            length = 3;
            code = 0x10000;
        } else if (byte >= 0xc0 && i + 1 < utf8.size()) {
            length = 2;
            code = ((byte & 0x1fu) << 6) | (static_cast<unsigned char>(utf8[i + 1]) & 0x3fu);
        }
        out.push_back(code < 256 ? static_cast<char>(code) : '?');
        i += length;
    }
    return out;
}

} // namespace

int main(int argc, char** argv) {
    std::string primary, clipboard;
    bool havePrimary = false, haveClipboard = false, stringOnly = false, silent = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("primary=", 0) == 0) {
            primary = arg.substr(8);
            havePrimary = true;
        } else if (arg.rfind("clipboard=", 0) == 0) {
            clipboard = arg.substr(10);
            haveClipboard = true;
        } else if (arg == "string-only") {
            stringOnly = true;
        } else if (arg == "silent") {
            silent = true;
        }
    }
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(c))
        return 1;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber; ++i)
        xcb_screen_next(&screens);
    const xcb_atom_t clipboardAtom = atom(c, "CLIPBOARD");
    const xcb_atom_t utf8 = atom(c, "UTF8_STRING");
    const xcb_atom_t targets = atom(c, "TARGETS");
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screens.data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    if (havePrimary)
        xcb_set_selection_owner(c, window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
    if (haveClipboard)
        xcb_set_selection_owner(c, window, clipboardAtom, XCB_CURRENT_TIME);
    for (xcb_atom_t selection : {xcb_atom_t(XCB_ATOM_PRIMARY), clipboardAtom}) {
        const bool wanted = selection == XCB_ATOM_PRIMARY ? havePrimary : haveClipboard;
        xcb_get_selection_owner_reply_t* owner =
            xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr);
        const bool owned = owner && owner->owner == window;
        std::free(owner);
        if (wanted && !owned)
            return 1;
    }
    std::printf("%u\n", window);
    std::fflush(stdout);

    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        if ((event->response_type & 0x7f) == XCB_SELECTION_REQUEST && !silent) {
            const auto* request = reinterpret_cast<xcb_selection_request_event_t*>(event);
            const std::string& text = request->selection == XCB_ATOM_PRIMARY ? primary : clipboard;
            xcb_atom_t property = request->property == XCB_ATOM_NONE ? request->target : request->property;
            if (request->target == targets) {
                std::vector<xcb_atom_t> offered{targets, XCB_ATOM_STRING};
                if (!stringOnly)
                    offered.push_back(utf8);
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, XCB_ATOM_ATOM, 32,
                                    static_cast<uint32_t>(offered.size()), offered.data());
            } else if (request->target == utf8 && !stringOnly) {
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, utf8, 8,
                                    static_cast<uint32_t>(text.size()), text.data());
            } else if (request->target == XCB_ATOM_STRING) {
                const std::string bytes = latin1(text);
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, request->requestor, property, XCB_ATOM_STRING,
                                    8, static_cast<uint32_t>(bytes.size()), bytes.data());
            } else {
                property = XCB_ATOM_NONE;
            }
            xcb_selection_notify_event_t notify{};
            notify.response_type = XCB_SELECTION_NOTIFY;
            notify.time = request->time;
            notify.requestor = request->requestor;
            notify.selection = request->selection;
            notify.target = request->target;
            notify.property = property;
            xcb_send_event(c, 0, request->requestor, XCB_EVENT_MASK_NO_EVENT,
                           reinterpret_cast<const char*>(&notify));
            xcb_flush(c);
        }
        std::free(event);
    }
    xcb_disconnect(c);
    return 0;
}

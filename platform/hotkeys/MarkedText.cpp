// The marked text of any application, read from the X11 selections as any X client pastes it: a request
// to convert the selection into a property of a window of our own, the owner's SelectionNotify, the
// property read and deleted. Nothing here takes or changes a selection.

#include "platform/hotkeys/GlobalHotkeys.h"

#include <QClipboard>
#include <QDeadlineTimer>
#include <QGuiApplication>

#include <xcb/xcb.h>

#include <poll.h>

#include <cerrno>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace hotkeys {
namespace {

template <typename T> struct FreeDeleter {
    void operator()(T* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter<T>>;

class SelectionReader {
public:
    explicit SelectionReader(int timeoutMs) : m_deadline(timeoutMs) {
        int screenNumber = 0;
        m_connection = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(m_connection))
            return;
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
            xcb_screen_next(&screens);
        if (screens.rem == 0)
            return;
        m_clipboard = atom("CLIPBOARD");
        m_utf8 = atom("UTF8_STRING");
        m_incr = atom("INCR");
        m_property = atom("MORVA_MARKED_TEXT");
        m_window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screens.data->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_flush(m_connection);
        m_ready = m_clipboard && m_utf8 && m_property;
    }
    ~SelectionReader() {
        if (m_window)
            xcb_destroy_window(m_connection, m_window);
        xcb_disconnect(m_connection);
    }
    SelectionReader(const SelectionReader&) = delete;
    SelectionReader& operator=(const SelectionReader&) = delete;

    bool ready() const { return m_ready && !xcb_connection_has_error(m_connection); }

    QString text() {
        const QString primary = read(XCB_ATOM_PRIMARY);
        return primary.isEmpty() ? read(m_clipboard) : primary;
    }

private:
    xcb_atom_t atom(const char* name) {
        Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    QString read(xcb_atom_t selection) {
        Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
            m_connection, xcb_get_selection_owner(m_connection, selection), nullptr));
        if (!owner || owner->owner == XCB_WINDOW_NONE)
            return {};
        // UTF-8 first; an owner of older ways may offer Latin-1 text only.
        for (xcb_atom_t target : {m_utf8, xcb_atom_t(XCB_ATOM_STRING)}) {
            bool answered = false;
            const QString text = convert(selection, target, &answered);
            if (!text.isEmpty() || !answered)
                return text;
        }
        return {};
    }

    // The selection as `target`; `answered` false when the owner did not answer in time.
    QString convert(xcb_atom_t selection, xcb_atom_t target, bool* answered) {
        xcb_convert_selection(m_connection, m_window, selection, target, m_property, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
        Reply<xcb_generic_event_t> event = waitForNotify(selection);
        *answered = event != nullptr;
        if (!event)
            return {};
        const auto* notify = reinterpret_cast<const xcb_selection_notify_event_t*>(event.get());
        if (notify->property == XCB_ATOM_NONE)
            return {};
        // Telephone numbers are short: a value that comes in pieces (INCR) is not read.
        Reply<xcb_get_property_reply_t> value(
            xcb_get_property_reply(m_connection,
                                   xcb_get_property(m_connection, 1, m_window, notify->property,
                                                    XCB_GET_PROPERTY_TYPE_ANY, 0, 1 << 16),
                                   nullptr));
        if (!value || value->type == m_incr || value->format != 8)
            return {};
        const char* bytes = static_cast<const char*>(xcb_get_property_value(value.get()));
        const int length = xcb_get_property_value_length(value.get());
        if (value->type == XCB_ATOM_STRING)
            return QString::fromLatin1(bytes, length);
        return QString::fromUtf8(bytes, length);
    }

    Reply<xcb_generic_event_t> waitForNotify(xcb_atom_t selection) {
        for (;;) {
            while (xcb_generic_event_t* raw = xcb_poll_for_event(m_connection)) {
                Reply<xcb_generic_event_t> event(raw);
                if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY) {
                    const auto* notify = reinterpret_cast<const xcb_selection_notify_event_t*>(raw);
                    if (notify->requestor == m_window && notify->selection == selection)
                        return event;
                }
            }
            if (xcb_connection_has_error(m_connection) || m_deadline.hasExpired())
                return nullptr;
            pollfd p{xcb_get_file_descriptor(m_connection), POLLIN, 0};
            const qint64 remaining = m_deadline.remainingTime();
            if (poll(&p, 1, static_cast<int>(qBound(qint64(0), remaining, qint64(60000)))) < 0 &&
                errno != EINTR)
                return nullptr;
        }
    }

    QDeadlineTimer m_deadline;
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_window = 0;
    xcb_atom_t m_clipboard = XCB_ATOM_NONE;
    xcb_atom_t m_utf8 = XCB_ATOM_NONE;
    xcb_atom_t m_incr = XCB_ATOM_NONE;
    xcb_atom_t m_property = XCB_ATOM_NONE;
    bool m_ready = false;
};

} // namespace

QString MarkedText(int timeoutMs) {
    if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        SelectionReader reader(timeoutMs);
        if (reader.ready())
            return reader.text();
    }
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return {};
    QClipboard* clipboard = QGuiApplication::clipboard();
    QString text = clipboard->supportsSelection() ? clipboard->text(QClipboard::Selection) : QString();
    return text.isEmpty() ? clipboard->text(QClipboard::Clipboard) : text;
}

} // namespace hotkeys

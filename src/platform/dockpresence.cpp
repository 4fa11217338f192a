#include "dockpresence.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace bellwick {

namespace {

struct FreeReply {
    void operator()(void *reply) const { std::free(reply); }
};
template<typename T> using Reply = std::unique_ptr<T, FreeReply>;

// The EWMH skip-taskbar and skip-pager states of our windows, through the X connection Qt already has.
class SkipStates
{
public:
    // Empty when not on X11.
    [[nodiscard]] static std::optional<SkipStates> open()
    {
        const auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
        // The offscreen platform offers the same interface, but its windows are not X windows.
        if (!app || QGuiApplication::platformName() != QStringLiteral("xcb")) {
            return std::nullopt;
        }
        const auto *x11 = app->nativeInterface<QNativeInterface::QX11Application>();
        if (!x11 || !x11->connection()) {
            return std::nullopt;
        }
        return SkipStates(x11->connection());
    }

    // Before the window is mapped the window manager reads the property, so it is merged in directly.
    void writeBeforeMap(xcb_window_t window, bool skip) const
    {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, m_state, XCB_ATOM_ATOM, 0, 1024), nullptr));
        std::vector<xcb_atom_t> states;
        if (reply && reply->type == XCB_ATOM_ATOM && reply->format == 32) {
            const auto *values = static_cast<const xcb_atom_t *>(xcb_get_property_value(reply.get()));
            states.assign(values, values + reply->value_len);
        }
        const std::vector<xcb_atom_t> before = states;
        std::erase_if(states, [this](xcb_atom_t state) { return state == m_skipTaskbar || state == m_skipPager; });
        if (skip) {
            states.insert(states.end(), {m_skipTaskbar, m_skipPager});
        }
        if (states == before) {
            return;
        }
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, m_state, XCB_ATOM_ATOM, 32,
                            static_cast<quint32>(states.size()), states.data());
        xcb_flush(m_connection);
    }

    // Once mapped the window manager owns the property and takes changes only as requests to the root window.
    // Qt has already asked for the map, so the window manager handles that before this request.
    void requestWhileMapped(xcb_window_t window, bool skip) const
    {
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
        if (!geometry) {
            return;
        }
        constexpr quint32 remove = 0;
        constexpr quint32 add = 1;
        constexpr quint32 fromApplication = 1;
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = m_state;
        message.data.data32[0] = skip ? add : remove;
        message.data.data32[1] = m_skipTaskbar;
        message.data.data32[2] = m_skipPager;
        message.data.data32[3] = fromApplication;
        xcb_send_event(m_connection, 0, geometry->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&message));
        xcb_flush(m_connection);
    }

private:
    explicit SkipStates(xcb_connection_t *connection) : m_connection(connection)
    {
        const std::array names{"_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"};
        std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            cookies[i] = xcb_intern_atom(m_connection, 0, static_cast<quint16>(std::strlen(names[i])), names[i]);
        }
        std::array<xcb_atom_t, names.size()> atoms{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
            atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        }
        m_state = atoms[0];
        m_skipTaskbar = atoms[1];
        m_skipPager = atoms[2];
    }

    xcb_connection_t *m_connection;
    xcb_atom_t m_state = XCB_ATOM_NONE;
    xcb_atom_t m_skipTaskbar = XCB_ATOM_NONE;
    xcb_atom_t m_skipPager = XCB_ATOM_NONE;
};

// Menus, tooltips and windows that bypass the window manager are never listed; foreign windows are not ours.
bool takesPolicy(const QWindow &window)
{
    const Qt::WindowType type = window.type();
    return window.isTopLevel() && window.handle() && type != Qt::Popup && type != Qt::ToolTip
           && type != Qt::ForeignWindow && !window.flags().testFlag(Qt::BypassWindowManagerHint);
}

} // namespace

DockPresence::DockPresence(QObject *parent) : QObject(parent) { }

DockPresence::Policy DockPresence::policy() const
{
    return m_policy;
}

void DockPresence::setPolicy(Policy policy)
{
    m_policy = policy;
    const std::optional<SkipStates> states = SkipStates::open();
    if (!states) {
        return;
    }
    QCoreApplication::instance()->installEventFilter(this);
    const auto windows = QGuiApplication::topLevelWindows();
    for (const QWindow *window : windows) {
        if (window->isVisible() && takesPolicy(*window)) {
            states->requestWhileMapped(static_cast<xcb_window_t>(window->winId()), m_policy == Policy::accessory);
        }
    }
}

bool DockPresence::eventFilter(QObject *watched, QEvent *event)
{
    // Qt sends Show just before it maps the window, and keeps foreign states when it writes its own.
    if (event->type() == QEvent::Show && watched->isWindowType()) {
        const auto &window = *static_cast<QWindow *>(watched);
        const std::optional<SkipStates> states = SkipStates::open();
        if (states && takesPolicy(window)) {
            states->writeBeforeMap(static_cast<xcb_window_t>(window.winId()), m_policy == Policy::accessory);
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace bellwick

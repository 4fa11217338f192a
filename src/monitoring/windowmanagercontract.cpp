#include "windowmanagercontract.h"

#include "platform/clock.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace bellwick {

using namespace std::chrono_literals;

namespace {

constexpr std::array atomNames{"WM_STATE",
                               "_NET_WM_STATE",
                               "_NET_WM_STATE_ABOVE",
                               "_NET_WM_STATE_FULLSCREEN",
                               "_NET_WM_STATE_STICKY",
                               "_NET_WM_STATE_SKIP_TASKBAR",
                               "_NET_WM_STATE_SKIP_PAGER",
                               "_NET_WM_STATE_HIDDEN",
                               "_NET_WM_DESKTOP",
                               "_MOTIF_WM_HINTS",
                               "_NET_ACTIVE_WINDOW",
                               "_NET_CLIENT_LIST_STACKING",
                               "_NET_CURRENT_DESKTOP",
                               "_NET_SUPPORTED"};

constexpr quint32 allDesktops = 0xFFFFFFFF;
constexpr quint32 iconicState = 3;
constexpr quint32 addState = 1;
constexpr quint32 fromApplication = 1;
// _MOTIF_WM_HINTS: functions and decorations given, and none of either; then input mode and status.
constexpr std::array<quint32, 5> noFunctionsNoDecorations{0x1 | 0x2, 0, 0, 0, 0};
// Against a client that keeps pushing itself on top, restoring at most four times a second is no busy loop.
constexpr auto restoreSpacing = 250ms;

struct FreeReply {
    void operator()(void *reply) const { std::free(reply); }
};

// The 32-bit values of a property; empty when it is not set.
std::vector<quint32> read(xcb_connection_t *connection, quint32 window, xcb_atom_t property, xcb_atom_t type)
{
    const std::unique_ptr<xcb_get_property_reply_t, FreeReply> reply(
        xcb_get_property_reply(connection, xcb_get_property(connection, 0, window, property, type, 0, 4096), nullptr));
    if (!reply || reply->format != 32) {
        return {};
    }
    const auto *first = static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
    return {first, first + xcb_get_property_value_length(reply.get()) / 4};
}

bool contains(const std::vector<quint32> &values, quint32 value)
{
    return std::find(values.cbegin(), values.cend(), value) != values.cend();
}

} // namespace

std::unique_ptr<WindowManagerContract> WindowManagerContract::create(QWindow &window, Clock &clock)
{
    // The offscreen platform offers the same interface, but its windows are not X windows.
    const auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app || QGuiApplication::platformName() != QStringLiteral("xcb")) {
        return nullptr;
    }
    const auto *x11 = app->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection()) {
        return nullptr;
    }
    return std::unique_ptr<WindowManagerContract>(new WindowManagerContract(window, clock, x11->connection()));
}

WindowManagerContract::WindowManagerContract(QWindow &window, Clock &clock, xcb_connection_t *connection)
    : m_window(window)
    , m_clock(clock)
    , m_connection(connection)
    , m_id(static_cast<quint32>(window.winId()))
    , m_lastRestore(clock.now().addMSecs(-restoreSpacing.count()))
{
    std::array<xcb_intern_atom_cookie_t, atomCount> cookies{};
    for (std::size_t i = 0; i < atomCount; ++i) {
        cookies[i] = xcb_intern_atom(m_connection, 0, static_cast<quint16>(std::strlen(atomNames[i])), atomNames[i]);
    }
    const auto geometry = xcb_get_geometry(m_connection, m_id);
    for (std::size_t i = 0; i < atomCount; ++i) {
        const std::unique_ptr<xcb_intern_atom_reply_t, FreeReply> reply(
            xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
        m_atoms[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    if (const std::unique_ptr<xcb_get_geometry_reply_t, FreeReply> reply(
            xcb_get_geometry_reply(m_connection, geometry, nullptr));
        reply) {
        m_root = reply->root;
    }
    const std::vector<quint32> known = read(m_connection, m_root, m_atoms[supported], XCB_ATOM_ATOM);
    for (const Atom state : {above, fullScreen, sticky, skipTaskbar, skipPager}) {
        if (contains(known, m_atoms[state])) {
            m_keptStates.push_back(m_atoms[state]);
        }
    }
    window.installEventFilter(this);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

WindowManagerContract::~WindowManagerContract()
{
    QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool WindowManagerContract::eventFilter(QObject *watched, QEvent *event)
{
    // Qt sends Show just before it maps the window, and keeps these states when it writes its own.
    if (event->type() == QEvent::Show && watched == &m_window) {
        declareBeforeMap();
    }
    return QObject::eventFilter(watched, event);
}

// Until the window is mapped its properties are the client's to write; the window manager reads them at the map.
void WindowManagerContract::declareBeforeMap() const
{
    std::vector<quint32> states = read(m_connection, m_id, m_atoms[netWmState], XCB_ATOM_ATOM);
    for (const Atom state : {above, fullScreen, sticky, skipTaskbar, skipPager}) {
        if (!contains(states, m_atoms[state])) {
            states.push_back(m_atoms[state]);
        }
    }
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_id, m_atoms[netWmState], XCB_ATOM_ATOM, 32,
                        static_cast<quint32>(states.size()), states.data());
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_id, m_atoms[netWmDesktop], XCB_ATOM_CARDINAL, 32, 1,
                        &allDesktops);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_id, m_atoms[motifHints], m_atoms[motifHints], 32,
                        static_cast<quint32>(noFunctionsNoDecorations.size()), noFunctionsNoDecorations.data());
    xcb_flush(m_connection);
}

bool WindowManagerContract::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    switch (event->response_type & ~0x80) {
    case XCB_PROPERTY_NOTIFY: {
        const auto *change = static_cast<const xcb_property_notify_event_t *>(message);
        const auto is = [this, change](std::initializer_list<Atom> atoms) {
            return std::any_of(atoms.begin(), atoms.end(), [&](Atom atom) { return change->atom == m_atoms[atom]; });
        };
        if ((change->window == m_id && is({wmState, netWmState, netWmDesktop}))
            || (change->window == m_root && is({activeWindow, stacking, currentDesktop}))) {
            scheduleRestore();
        }
        break;
    }
    case XCB_UNMAP_NOTIFY:
        if (static_cast<const xcb_unmap_notify_event_t *>(message)->window == m_id) {
            scheduleRestore();
        }
        break;
    default:
        break;
    }
    return false;
}

void WindowManagerContract::scheduleRestore()
{
    if (m_restore || !m_window.isVisible()) {
        return;
    }
    const QDateTime due = std::max(m_clock.now(), m_lastRestore.addMSecs(restoreSpacing.count()));
    m_restore = m_clock.callAt(due, [this] {
        m_restore.reset();
        restore();
    });
}

// Asks only for what is off, so a window manager that already agrees hears nothing and no loop starts.
void WindowManagerContract::restore()
{
    m_lastRestore = m_clock.now();
    if (!m_window.isVisible()) {
        return;
    }
    const std::vector<quint32> states = read(m_connection, m_id, m_atoms[netWmState], XCB_ATOM_ATOM);
    const std::vector<quint32> desktop = read(m_connection, m_id, m_atoms[netWmDesktop], XCB_ATOM_CARDINAL);
    const std::vector<quint32> mapping = read(m_connection, m_id, m_atoms[wmState], m_atoms[wmState]);
    const std::vector<quint32> active = read(m_connection, m_root, m_atoms[activeWindow], XCB_ATOM_WINDOW);
    const std::vector<quint32> order = read(m_connection, m_root, m_atoms[stacking], XCB_ATOM_WINDOW);

    const bool iconic = (!mapping.empty() && mapping.front() == iconicState) || contains(states, m_atoms[hidden]);
    if (iconic) {
        // ICCCM's way back from an icon; the activation below is EWMH's.
        xcb_map_window(m_connection, m_id);
    }
    if (!desktop.empty() && desktop.front() != allDesktops) {
        request(netWmDesktop, {allDesktops, fromApplication, 0, 0, 0});
    }
    std::vector<quint32> missing;
    std::copy_if(m_keptStates.cbegin(), m_keptStates.cend(), std::back_inserter(missing),
                 [&states](quint32 state) { return !contains(states, state); });
    for (std::size_t i = 0; i < missing.size(); i += 2) {
        request(netWmState, {addState, missing[i], i + 1 < missing.size() ? missing[i + 1] : 0, fromApplication, 0});
    }
    const bool focused = active.empty() || active.front() == m_id;
    const bool onTop = order.empty() || order.back() == m_id;
    if (iconic || !focused || !onTop) {
        constexpr quint32 stackAbove = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(m_connection, m_id, XCB_CONFIG_WINDOW_STACK_MODE, &stackAbove);
        request(activeWindow, {fromApplication, XCB_CURRENT_TIME, 0, 0, 0});
    }
    xcb_flush(m_connection);
}

// A client message to the root window, as EWMH asks for changes to a mapped window.
void WindowManagerContract::request(Atom type, std::array<quint32, 5> data) const
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = m_id;
    message.type = m_atoms[type];
    std::copy(data.cbegin(), data.cend(), std::begin(message.data.data32));
    xcb_send_event(m_connection, 0, m_root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&message));
}

} // namespace bellwick

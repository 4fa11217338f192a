#include "quitonsignals.h"

#include "platform/diagnostics.h"

#include <QCoreApplication>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace bellwick {

namespace {

constexpr std::array quittingSignals{SIGTERM, SIGINT};

int signalPipe = -1;

void onQuittingSignal(int)
{
    const int saved = errno;
    const char byte = 1;
    // Nothing to do when the pipe is full: a quit is on its way already.
    (void)::write(signalPipe, &byte, 1);
    errno = saved;
}

} // namespace

QuitOnSignals::QuitOnSignals(QObject *parent) : QObject(parent), m_notifier(QSocketNotifier::Read, this)
{
    if (::pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        diagnostic(QStringLiteral("Not quitting cleanly on SIGTERM: ") + qt_error_string(errno));
        return;
    }
    signalPipe = m_pipe[1];
    m_notifier.setSocket(m_pipe[0]);
    connect(&m_notifier, &QSocketNotifier::activated, this, &QuitOnSignals::onSignal);
    m_notifier.setEnabled(true);

    struct sigaction action = {};
    action.sa_handler = onQuittingSignal;
    sigemptyset(&action.sa_mask);
    // Interrupted system calls of other threads carry on.
    action.sa_flags = SA_RESTART;
    for (const int signal : quittingSignals) {
        ::sigaction(signal, &action, nullptr);
    }
}

QuitOnSignals::~QuitOnSignals()
{
    for (const int signal : quittingSignals) {
        std::signal(signal, SIG_DFL);
    }
    signalPipe = -1;
    for (const int fd : m_pipe) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

void QuitOnSignals::onSignal()
{
    char bytes[16];
    while (::read(m_pipe[0], bytes, sizeof bytes) > 0) { }
    QCoreApplication::quit();
}

} // namespace bellwick

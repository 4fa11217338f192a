#include "outlookcalendarprovider.h"

#include "autherror.h"
#include "calendar/calendarprovidererror.h"
#include "graphevent.h"
#include "httpexchange.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"

#include <QUrlQuery>

#include <algorithm>

namespace bellwick {

namespace {

// Older events stand in this long after a fetch that Graph answered.
constexpr qint64 lastGoodLifetimeSeconds = 15 * 60;

QString graphInstant(const QDateTime &instant)
{
    return instant.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss'Z'"));
}

// A next-page link elsewhere would carry the user's token to another host.
bool sameOrigin(const QUrl &a, const QUrl &b)
{
    return a.scheme() == b.scheme() && a.host() == b.host() && a.port() == b.port();
}

// A hiccup of the network, of Graph or of the identity service, as opposed to a refused or missing session.
bool isPassing(const std::exception_ptr &failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const NetworkFailure &) {
        return true;
    } catch (const GraphDecodingError &) {
        return true;
    } catch (const CalendarProviderError &error) {
        return error.errorCase() == CalendarProviderError::Case::invalidResponse;
    } catch (const AuthError &error) {
        return error.errorCase() == AuthError::Case::networkError
               || error.errorCase() == AuthError::Case::tokenExchangeFailed;
    } catch (...) {
        return false;
    }
}

bool isLongEnough(const CalendarEvent &event, int minimumMinutes)
{
    return minimumMinutes <= 0 || event.startDate().secsTo(event.endDate()) / 60.0 >= minimumMinutes;
}

} // namespace

OutlookCalendarProvider::OutlookCalendarProvider(Clock &clock, QUrl graphBaseURL, CalendarProviderConfig config)
    : CalendarProvider(clock, std::move(config)), m_clock(clock), m_graphBaseURL(std::move(graphBaseURL))
{ }

QCoro::Task<bool> OutlookCalendarProvider::isAuthorized()
{
    try {
        const std::optional<QString> token = co_await currentToken(TokenRenewal::ifExpired);
        co_return token.has_value();
    } catch (const std::exception &error) {
        diagnostic(QStringLiteral("Outlook access check failed: ") + localizedDescription(error));
    }
    co_return false;
}

QCoro::Task<bool> OutlookCalendarProvider::requestAccess()
{
    co_return co_await isAuthorized();
}

QCoro::Task<std::optional<QString>> OutlookCalendarProvider::currentToken(TokenRenewal renewal)
{
    if (m_tokenRefreshHandler) {
        m_accessToken = co_await m_tokenRefreshHandler(renewal);
    }
    co_return m_accessToken;
}

QCoro::Task<QList<CalendarEvent>> OutlookCalendarProvider::fetchEvents(QDateTime from, QDateTime to)
{
    std::exception_ptr failure;
    try {
        QList<CalendarEvent> events = co_await fetchFromGraph(from, to);
        const int minimumMinutes = config().minimumDurationMinutes;
        events.removeIf([minimumMinutes](const CalendarEvent &event) { return !isLongEnough(event, minimumMinutes); });
        m_lastGood = events;
        m_lastGoodAt = m_clock.now();
        report(nullptr);
        co_return events;
    } catch (...) {
        failure = std::current_exception();
    }
    report(failure);
    if (!isPassing(failure) || !m_lastGoodAt.isValid()
        || m_lastGoodAt.secsTo(m_clock.now()) > lastGoodLifetimeSeconds) {
        std::rethrow_exception(failure);
    }
    diagnostic(QStringLiteral("Outlook: keeping the events of the last fetch: ") + debugDescription(failure));
    QList<CalendarEvent> kept = m_lastGood;
    kept.removeIf([&](const CalendarEvent &event) { return event.endDate() <= from || event.startDate() >= to; });
    co_return kept;
}

void OutlookCalendarProvider::report(const std::exception_ptr &failure) const
{
    if (m_fetchObserver) {
        m_fetchObserver(failure);
    }
}

QCoro::Task<QList<CalendarEvent>> OutlookCalendarProvider::fetchFromGraph(QDateTime from, QDateTime to)
{
    std::optional<QString> token = co_await currentToken(TokenRenewal::ifExpired);
    if (!token) {
        throw CalendarProviderError::notAuthorized();
    }
    try {
        co_return co_await fetchWindow(*token, from, to);
    } catch (const CalendarProviderError &error) {
        if (error.errorCase() != CalendarProviderError::Case::tokenExpired || !m_tokenRefreshHandler) {
            throw;
        }
    }
    token = co_await currentToken(TokenRenewal::always);
    if (!token) {
        throw CalendarProviderError::notAuthorized();
    }
    co_return co_await fetchWindow(*token, from, to);
}

QNetworkRequest OutlookCalendarProvider::graphRequest(const QUrl &url, const QString &token) const
{
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    request.setRawHeader("Accept", "application/json");
    // Graph then writes every time in UTC, whatever zone the event was made in.
    request.setRawHeader("Prefer", R"(outlook.timezone="UTC")");
    return request;
}

QCoro::Task<QList<CalendarEvent>> OutlookCalendarProvider::fetchWindow(QString token, QDateTime from, QDateTime to)
{
    QUrl url(m_graphBaseURL.toString() + QLatin1String("/me/calendarView"));
    QUrlQuery query;
    query.setQueryItems({
        {QStringLiteral("startDateTime"), graphInstant(from)},
        {QStringLiteral("endDateTime"), graphInstant(to)},
        {QStringLiteral("$select"),
         QStringLiteral("id,subject,body,start,end,location,isAllDay,onlineMeeting,webLink")},
        {QStringLiteral("$orderby"), QStringLiteral("start/dateTime")},
        {QStringLiteral("$top"), QStringLiteral("50")},
    });
    url.setQuery(query);
    if (!url.isValid() || url.host().isEmpty()) {
        throw CalendarProviderError::invalidResponse();
    }

    const bool includeAllDay = config().includeAllDayEvents;
    QList<CalendarEvent> events;
    int read = 0;
    for (;;) {
        const HttpReply reply = co_await exchange(m_network, m_clock, graphRequest(url, token));
        switch (reply.status) {
        case 200:
            break;
        case 401:
            throw CalendarProviderError::tokenExpired();
        case 403:
            throw CalendarProviderError::accessDenied();
        default:
            throw CalendarProviderError::invalidResponse();
        }
        const GraphCalendarResponse page = decodeGraphCalendarResponse(reply.body);
        const qsizetype taken = std::min<qsizetype>(page.value.size(), maximumEvents - read);
        for (qsizetype index = 0; index < taken; ++index) {
            const GraphEvent &event = page.value.at(index);
            if (event.isAllDay && !includeAllDay) {
                continue;
            }
            if (std::optional<CalendarEvent> converted = convertGraphEvent(event, providerID())) {
                events.append(std::move(*converted));
            }
        }
        read += int(taken);
        if (read == maximumEvents && (page.nextLink || taken < page.value.size())) {
            diagnostic(QStringLiteral("Outlook: only the first %1 events of the window are read").arg(maximumEvents));
            break;
        }
        if (!page.nextLink) {
            break;
        }
        url = QUrl(*page.nextLink);
        if (!url.isValid() || !sameOrigin(url, m_graphBaseURL)) {
            throw CalendarProviderError::invalidResponse();
        }
    }
    co_return events;
}

} // namespace bellwick

#pragma once

#include "calendar/calendarprovider.h"

#include <QNetworkAccessManager>
#include <QUrl>

#include <exception>
#include <functional>
#include <optional>

namespace bellwick {

// Where Microsoft's services are reached; tests point both at a local server.
struct OutlookEndpoints {
    // The identity service with its tenant; "/oauth2/v2.0/authorize" and "/oauth2/v2.0/token" follow it.
    QUrl authority{QStringLiteral("https://login.microsoftonline.com/common")};
    // Graph's service root with its version, without a trailing slash.
    QUrl graphRoot{QStringLiteral("https://graph.microsoft.com/v1.0")};
};

// When the owner should get a new access token for a fetch.
enum class TokenRenewal {
    // Only when the current one has expired.
    ifExpired,
    // Always: Graph refused the current one.
    always
};

// The signed-in user's Microsoft 365 calendar, read over Microsoft Graph.
class OutlookCalendarProvider : public CalendarProvider
{
public:
    // Yields the access token to send, or nothing when no one is signed in; may throw why it could not renew one.
    using TokenRefreshHandler = std::function<QCoro::Task<std::optional<QString>>(TokenRenewal)>;
    // Told after each fetch: null when Graph answered, else why it failed, also when older events stood in.
    using FetchObserver = std::function<void(std::exception_ptr failure)>;

    // A fetch follows Graph's pages up to this many events of its window.
    static constexpr int maximumEvents = 1000;

    explicit OutlookCalendarProvider(Clock &clock, QUrl graphBaseURL = OutlookEndpoints().graphRoot,
                                     CalendarProviderConfig config = defaultCalendarProviderConfig);

    [[nodiscard]] QString providerID() const override { return QStringLiteral("outlook"); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Outlook"); }

    // Whether a token is at hand; there is no one to ask here, so requesting access is the same question.
    [[nodiscard]] QCoro::Task<bool> isAuthorized() override;
    [[nodiscard]] QCoro::Task<bool> requestAccess() override;
    // Throws CalendarProviderError for what Graph refused, NetworkFailure and GraphDecodingError as they come, and
    // whatever the token refresh handler throws. When the network or Graph fails, the events of a fetch within the
    // last 15 minutes stand in, with a diagnostic line, so a hiccup never drops a meeting.
    [[nodiscard]] QCoro::Task<QList<CalendarEvent>> fetchEvents(QDateTime from, QDateTime to) override;

    [[nodiscard]] const std::optional<QString> &accessToken() const { return m_accessToken; }
    void setAccessToken(std::optional<QString> token) { m_accessToken = std::move(token); }
    // With a handler, every fetch asks it for the token first, and once more after Graph answers 401.
    void setTokenRefreshHandler(TokenRefreshHandler handler) { m_tokenRefreshHandler = std::move(handler); }
    void setFetchObserver(FetchObserver observer) { m_fetchObserver = std::move(observer); }

private:
    QCoro::Task<std::optional<QString>> currentToken(TokenRenewal renewal);
    QCoro::Task<QList<CalendarEvent>> fetchFromGraph(QDateTime from, QDateTime to);
    void report(const std::exception_ptr &failure) const;
    QCoro::Task<QList<CalendarEvent>> fetchWindow(QString token, QDateTime from, QDateTime to);
    [[nodiscard]] QNetworkRequest graphRequest(const QUrl &url, const QString &token) const;

    Clock &m_clock;
    QUrl m_graphBaseURL;
    QNetworkAccessManager m_network;
    std::optional<QString> m_accessToken;
    TokenRefreshHandler m_tokenRefreshHandler;
    FetchObserver m_fetchObserver;
    QList<CalendarEvent> m_lastGood;
    QDateTime m_lastGoodAt;
};

} // namespace bellwick

#pragma once

#include "autherror.h"

#include <QCoroTask>
#include <QObject>
#include <QUrl>

#include <coroutine>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

class QNetworkAccessManager;
class QNetworkReply;
class QOAuth2AuthorizationCodeFlow;

namespace bellwick {

class Clock;
class ClockTimer;
class LoopbackReplyHandler;

// What the identity service hands out for an authorization code or a refresh token.
struct TokenGrant {
    QString accessToken;
    std::optional<QString> refreshToken;
    // How many seconds the access token lives, when the service says.
    std::optional<qint64> expiresIn;
};

// The grant in a token endpoint's JSON answer; nothing when the answer holds no access token.
[[nodiscard]] std::optional<TokenGrant> parseTokenGrant(const QByteArray &json);

// One interactive sign-in: the authorization-code flow with PKCE in the user's browser, answered on a loopback port.
class BrowserSignIn : public QObject
{
    Q_OBJECT

public:
    struct Request {
        QString clientID;
        QUrl authorizeURL;
        QUrl tokenURL;
        QString scope;
    };
    // Shows the authorization page; false when no browser could be started.
    using BrowserOpener = std::function<bool(const QUrl &)>;

    BrowserSignIn(Clock &clock, const Request &request, BrowserOpener openBrowser, QObject *parent = nullptr);
    ~BrowserSignIn() override;

    // Runs once; throws AuthError.
    [[nodiscard]] QCoro::Task<TokenGrant> run();
    // Ends a running sign-in as cancelled by the user.
    void cancel() { finish(AuthError::userCancelled()); }

private:
    using Outcome = std::variant<TokenGrant, AuthError>;
    struct OutcomeAwaiter;

    void checkCallback(const QVariantMap &answer);
    void readTokenReply(QNetworkReply *reply);
    void finish(Outcome outcome);

    Clock &m_clock;
    BrowserOpener m_openBrowser;
    // In this order, so the flow and its requests go before the handler they report to.
    std::unique_ptr<LoopbackReplyHandler> m_handler;
    std::unique_ptr<QNetworkAccessManager> m_network;
    std::unique_ptr<QOAuth2AuthorizationCodeFlow> m_flow;
    std::unique_ptr<ClockTimer> m_deadline;
    std::optional<Outcome> m_outcome;
    std::coroutine_handle<> m_waiter;
};

} // namespace bellwick

#pragma once

#include "autherror.h"
#include "browsersignin.h"
#include "keyringstore.h"
#include "outlookcalendarprovider.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>

namespace bellwick {

class Clock;

// The user's Microsoft 365 session: signing in through the browser, the tokens in the keyring, their renewal, and
// signing out. Its published fields are what the settings window shows.
class OutlookAuthService : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isAuthenticated READ isAuthenticated NOTIFY isAuthenticatedChanged)
    Q_PROPERTY(bool isAuthenticating READ isAuthenticating NOTIFY isAuthenticatingChanged)
    Q_PROPERTY(QString userEmail READ userEmailText NOTIFY userEmailChanged)
    // The last failure's text, empty when there is none.
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)

public:
    static constexpr QLatin1StringView keychainServiceName{"com.bellwick.outlook"};
    static constexpr QLatin1StringView accessTokenKey{"accessToken"};
    static constexpr QLatin1StringView refreshTokenKey{"refreshToken"};
    static constexpr QLatin1StringView expirationKey{"tokenExpiration"};
    static constexpr QLatin1StringView userEmailKey{"userEmail"};
    static constexpr QLatin1StringView scopes{"offline_access User.Read Calendars.Read"};

    // Starts reading the stored session; the published fields follow when the keyring has answered. `clientID` is
    // asked at each sign-in and renewal, so a changed preference counts at once.
    OutlookAuthService(Clock &clock, std::function<QString()> clientID, OutlookEndpoints endpoints = {},
                       QObject *parent = nullptr);
    ~OutlookAuthService() override;

    [[nodiscard]] bool isAuthenticated() const { return m_isAuthenticated; }
    [[nodiscard]] bool isAuthenticating() const { return m_isAuthenticating; }
    [[nodiscard]] const std::optional<QString> &userEmail() const { return m_userEmail; }
    [[nodiscard]] const std::optional<AuthError> &error() const { return m_error; }
    [[nodiscard]] const std::optional<QString> &accessToken() const { return m_accessToken; }
    [[nodiscard]] const std::optional<QString> &refreshToken() const { return m_refreshToken; }
    [[nodiscard]] const std::optional<QDateTime> &tokenExpiration() const { return m_tokenExpiration; }
    [[nodiscard]] bool hasLoadedStoredTokens() const { return m_loaded; }

    // Replaces the default browser, which shows the sign-in page.
    void setBrowserOpener(BrowserSignIn::BrowserOpener opener) { m_openBrowser = std::move(opener); }

    // Returns once the stored session has been read.
    [[nodiscard]] QCoro::Task<> waitForStoredTokens();
    // Signs in through the browser and stores the session; false with `error` set when that failed or another
    // sign-in is running.
    [[nodiscard]] QCoro::Task<bool> signIn();
    // Ends a running sign-in as cancelled.
    void cancelSignIn();
    // Forgets the session and deletes its keyring items.
    [[nodiscard]] QCoro::Task<> signOut();

    // The provider's token refresh handler: the access token, renewed when asked or when it has expired; nothing
    // when signed out. A refused renewal signs out and throws AuthError::tokenExpired.
    [[nodiscard]] QCoro::Task<std::optional<QString>> usableAccessToken(TokenRenewal renewal);

Q_SIGNALS:
    void isAuthenticatedChanged();
    void isAuthenticatingChanged();
    void userEmailChanged();
    void errorChanged();
    void storedTokensLoaded();

private:
    static QCoro::Task<> loadStoredTokens(QPointer<OutlookAuthService> self);
    QCoro::Task<QString> refresh(QString clientID);
    QCoro::Task<> endExpiredSession();
    QCoro::Task<std::optional<QString>> readUserEmail(QString accessToken);
    // Writes the session held in memory to the keyring, removing the items it lacks.
    QCoro::Task<> storeSession();

    [[nodiscard]] QString userEmailText() const { return m_userEmail.value_or(QString()); }
    [[nodiscard]] QString errorText() const { return m_error ? m_error->errorDescription() : QString(); }
    [[nodiscard]] bool hasExpired() const;
    [[nodiscard]] QUrl identityURL(QLatin1StringView endpoint) const;
    void setAuthenticated(bool authenticated);
    void setAuthenticating(bool authenticating);
    void setUserEmail(std::optional<QString> email);
    void setError(std::optional<AuthError> error);

    Clock &m_clock;
    std::function<QString()> m_clientID;
    OutlookEndpoints m_endpoints;
    KeyringStore m_keyring{keychainServiceName};
    QNetworkAccessManager m_network;
    BrowserSignIn::BrowserOpener m_openBrowser;
    std::unique_ptr<BrowserSignIn> m_signIn;
    QCoro::Task<> m_loading;
    bool m_loaded = false;

    bool m_isAuthenticated = false;
    bool m_isAuthenticating = false;
    std::optional<QString> m_userEmail;
    std::optional<AuthError> m_error;
    std::optional<QString> m_accessToken;
    std::optional<QString> m_refreshToken;
    std::optional<QDateTime> m_tokenExpiration;
};

} // namespace bellwick

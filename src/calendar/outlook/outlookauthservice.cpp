#include "outlookauthservice.h"

#include "httpexchange.h"
#include "platform/clock.h"
#include "platform/diagnostics.h"

#include <QCoroSignal>
#include <QDesktopServices>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <initializer_list>
#include <utility>

namespace bellwick {

namespace {

// Renewed a minute early, so a token does not run out between the check and Graph's answer.
constexpr qint64 expiryMarginSeconds = 60;

// ISO 8601 with a zone designator and without fractional seconds; any other form is no expiry.
std::optional<QDateTime> readExpiration(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(Z|[+-]\d\d:\d\d)$)"));
    const QDateTime instant = QDateTime::fromString(text, Qt::ISODate);
    if (!pattern.match(text).hasMatch() || !instant.isValid()) {
        return std::nullopt;
    }
    return instant.toUTC();
}

// Every value fully escaped: tokens may hold '+', which a form reader would take for a space.
QByteArray formBody(std::initializer_list<std::pair<const char *, QString>> fields)
{
    QByteArray body;
    for (const auto &[name, value] : fields) {
        body += (body.isEmpty() ? "" : "&") + QByteArray(name) + '=' + QUrl::toPercentEncoding(value);
    }
    return body;
}

} // namespace

OutlookAuthService::OutlookAuthService(Clock &clock, std::function<QString()> clientID, OutlookEndpoints endpoints,
                                       QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_clientID(std::move(clientID))
    , m_endpoints(std::move(endpoints))
    , m_openBrowser([](const QUrl &url) { return QDesktopServices::openUrl(url); })
{
    m_loading = loadStoredTokens(this);
}

OutlookAuthService::~OutlookAuthService() = default;

QCoro::Task<> OutlookAuthService::loadStoredTokens(QPointer<OutlookAuthService> self)
{
    const KeyringStore keyring{QString(keychainServiceName)};
    const std::optional<QString> accessToken = co_await keyring.read(accessTokenKey);
    const std::optional<QString> refreshToken = co_await keyring.read(refreshTokenKey);
    const std::optional<QString> email = co_await keyring.read(userEmailKey);
    const std::optional<QString> expiration = co_await keyring.read(expirationKey);
    if (!self) {
        co_return;
    }
    self->m_accessToken = accessToken;
    self->m_refreshToken = refreshToken;
    if (expiration) {
        self->m_tokenExpiration = readExpiration(*expiration);
    }
    self->setUserEmail(email);
    self->setAuthenticated(accessToken.has_value());
    self->m_loaded = true;
    Q_EMIT self->storedTokensLoaded();
}

QCoro::Task<> OutlookAuthService::waitForStoredTokens()
{
    if (!m_loaded) {
        co_await qCoro(this, &OutlookAuthService::storedTokensLoaded);
    }
}

QCoro::Task<bool> OutlookAuthService::signIn()
{
    if (m_isAuthenticating) {
        co_return false;
    }
    setAuthenticating(true);
    setError(std::nullopt);
    co_await waitForStoredTokens();
    const QString clientID = m_clientID().trimmed();
    if (clientID.isEmpty()) {
        setError(AuthError::invalidConfiguration());
        setAuthenticating(false);
        co_return false;
    }

    m_signIn =
        std::make_unique<BrowserSignIn>(m_clock,
                                        BrowserSignIn::Request{clientID, identityURL(QLatin1StringView("authorize")),
                                                               identityURL(QLatin1StringView("token")), scopes},
                                        m_openBrowser);
    std::optional<TokenGrant> grant;
    try {
        grant = co_await m_signIn->run();
    } catch (const AuthError &error) {
        setError(error);
    }
    // Later, because its own queued call is what resumed this coroutine.
    m_signIn.release()->deleteLater();
    if (grant) {
        const std::optional<QString> email = co_await readUserEmail(grant->accessToken);
        m_accessToken = grant->accessToken;
        m_refreshToken = grant->refreshToken;
        m_tokenExpiration =
            grant->expiresIn ? std::optional(m_clock.now().toUTC().addSecs(*grant->expiresIn)) : std::nullopt;
        setUserEmail(email);
        setAuthenticated(true);
        co_await storeSession();
    }
    setAuthenticating(false);
    co_return grant.has_value();
}

void OutlookAuthService::cancelSignIn()
{
    if (m_signIn) {
        m_signIn->cancel();
    }
}

QCoro::Task<> OutlookAuthService::signOut()
{
    co_await waitForStoredTokens();
    cancelSignIn();
    m_accessToken.reset();
    m_refreshToken.reset();
    m_tokenExpiration.reset();
    setUserEmail(std::nullopt);
    setAuthenticated(false);
    setError(std::nullopt);
    co_await storeSession();
}

QCoro::Task<std::optional<QString>> OutlookAuthService::usableAccessToken(TokenRenewal renewal)
{
    co_await waitForStoredTokens();
    if (!m_accessToken || (renewal == TokenRenewal::ifExpired && !hasExpired())) {
        co_return m_accessToken;
    }
    if (!m_refreshToken) {
        // An expired token may still be taken; Graph's refusal then brings us back here to end the session.
        if (renewal == TokenRenewal::ifExpired) {
            co_return m_accessToken;
        }
        co_await endExpiredSession();
        throw AuthError::tokenExpired();
    }
    const QString clientID = m_clientID().trimmed();
    if (clientID.isEmpty()) {
        setError(AuthError::invalidConfiguration());
        throw AuthError::invalidConfiguration();
    }
    co_return co_await refresh(clientID);
}

QCoro::Task<QString> OutlookAuthService::refresh(QString clientID)
{
    QNetworkRequest request(identityURL(QLatin1StringView("token")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/x-www-form-urlencoded"));
    const QString refreshToken = *m_refreshToken;
    const QByteArray body = formBody({
        {"client_id", clientID},
        {"grant_type", QStringLiteral("refresh_token")},
        {"refresh_token", refreshToken},
        {"scope", scopes},
    });
    HttpReply reply;
    try {
        reply = co_await exchange(m_network, m_clock, request, body);
    } catch (const NetworkFailure &failure) {
        throw AuthError::networkError(failure.errorDescription());
    }
    // Signed out while the identity service was answering.
    if (!m_isAuthenticated) {
        throw AuthError::notAuthenticated();
    }
    const std::optional<TokenGrant> grant = reply.status == 200 ? parseTokenGrant(reply.body) : std::nullopt;
    if (grant) {
        m_accessToken = grant->accessToken;
        m_refreshToken = grant->refreshToken.value_or(refreshToken);
        m_tokenExpiration =
            grant->expiresIn ? std::optional(m_clock.now().toUTC().addSecs(*grant->expiresIn)) : std::nullopt;
        co_await storeSession();
        co_return grant->accessToken;
    }
    // The identity service's "invalid_grant" and its kin: the refresh token is no good any more.
    if (reply.status == 400 || reply.status == 401) {
        diagnostic(QStringLiteral("Outlook: the identity service refused to renew the session; signed out"));
        co_await endExpiredSession();
        throw AuthError::tokenExpired();
    }
    throw AuthError::tokenExchangeFailed();
}

QCoro::Task<> OutlookAuthService::endExpiredSession()
{
    co_await signOut();
    setError(AuthError::tokenExpired());
}

QCoro::Task<std::optional<QString>> OutlookAuthService::readUserEmail(QString accessToken)
{
    QNetworkRequest request(QUrl(m_endpoints.graphRoot.toString() + QLatin1String("/me")));
    request.setRawHeader("Authorization", "Bearer " + accessToken.toUtf8());
    request.setRawHeader("Accept", "application/json");
    try {
        const HttpReply reply = co_await exchange(m_network, m_clock, request);
        const QJsonObject me = QJsonDocument::fromJson(reply.body).object();
        // Accounts without a mailbox have no "mail"; their sign-in name is an address too.
        for (const char *key : {"mail", "userPrincipalName"}) {
            if (const QString address = me.value(QLatin1String(key)).toString();
                reply.status == 200 && !address.isEmpty()) {
                co_return address;
            }
        }
        diagnostic(
            QStringLiteral("Outlook: the account's e-mail address could not be read (HTTP %1)").arg(reply.status));
    } catch (const NetworkFailure &failure) {
        diagnostic(QStringLiteral("Outlook: the account's e-mail address could not be read: ")
                   + failure.errorDescription());
    }
    co_return std::nullopt;
}

QCoro::Task<> OutlookAuthService::storeSession()
{
    const std::pair<QLatin1StringView, std::optional<QString>> items[] = {
        {accessTokenKey, m_accessToken},
        {refreshTokenKey, m_refreshToken},
        {expirationKey, m_tokenExpiration ? std::optional(m_tokenExpiration->toString(Qt::ISODate)) : std::nullopt},
        {userEmailKey, m_userEmail},
    };
    for (const auto &[key, value] : items) {
        if (value) {
            co_await m_keyring.write(key, *value);
        } else {
            co_await m_keyring.remove(key);
        }
    }
}

bool OutlookAuthService::hasExpired() const
{
    return m_tokenExpiration && m_clock.now().addSecs(expiryMarginSeconds) >= *m_tokenExpiration;
}

QUrl OutlookAuthService::identityURL(QLatin1StringView endpoint) const
{
    return QUrl(m_endpoints.authority.toString() + QLatin1String("/oauth2/v2.0/") + endpoint);
}

void OutlookAuthService::setAuthenticated(bool authenticated)
{
    if (std::exchange(m_isAuthenticated, authenticated) != authenticated) {
        Q_EMIT isAuthenticatedChanged();
    }
}

void OutlookAuthService::setAuthenticating(bool authenticating)
{
    if (std::exchange(m_isAuthenticating, authenticating) != authenticating) {
        Q_EMIT isAuthenticatingChanged();
    }
}

void OutlookAuthService::setUserEmail(std::optional<QString> email)
{
    if (std::exchange(m_userEmail, email) != email) {
        Q_EMIT userEmailChanged();
    }
}

void OutlookAuthService::setError(std::optional<AuthError> error)
{
    const QString before = errorText();
    m_error = std::move(error);
    if (errorText() != before) {
        Q_EMIT errorChanged();
    }
}

} // namespace bellwick

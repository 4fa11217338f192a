#include "browsersignin.h"

#include "platform/clock.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QOAuth2AuthorizationCodeFlow>
#include <QOAuthHttpServerReplyHandler>
#include <QRandomGenerator>

#include <array>

namespace bellwick {

using namespace std::chrono_literals;

// Qt 6.4's handler drops a refused token answer without a word, so the sign-in reads every token answer itself.
class LoopbackReplyHandler : public QOAuthHttpServerReplyHandler
{
public:
    explicit LoopbackReplyHandler(std::function<void(QNetworkReply *)> onTokenReply)
        : QOAuthHttpServerReplyHandler(QHostAddress::LocalHost, 0), m_onTokenReply(std::move(onTokenReply))
    { }

    void networkReplyFinished(QNetworkReply *reply) override { m_onTokenReply(reply); }

private:
    std::function<void(QNetworkReply *)> m_onTokenReply;
};

struct BrowserSignIn::OutcomeAwaiter {
    BrowserSignIn *signIn;

    [[nodiscard]] bool await_ready() const { return signIn->m_outcome.has_value(); }
    void await_suspend(std::coroutine_handle<> waiter) { signIn->m_waiter = waiter; }
    void await_resume() const { }
};

namespace {

// A user who walks away from the browser has, in effect, cancelled.
constexpr auto browserTimeLimit = 10min;
constexpr auto tokenTimeLimit = 60s;

QString base64Url(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString codeVerifier()
{
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return base64Url(QByteArray(reinterpret_cast<const char *>(words.data()), sizeof words));
}

} // namespace

std::optional<TokenGrant> parseTokenGrant(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    TokenGrant grant{object.value(QLatin1String("access_token")).toString(), std::nullopt, std::nullopt};
    if (grant.accessToken.isEmpty()) {
        return std::nullopt;
    }
    if (const QString refresh = object.value(QLatin1String("refresh_token")).toString(); !refresh.isEmpty()) {
        grant.refreshToken = refresh;
    }
    // A number, or a numeric text as older endpoints write it.
    const QJsonValue expiresIn = object.value(QLatin1String("expires_in"));
    bool ok = expiresIn.isDouble();
    const qint64 seconds = ok ? qint64(expiresIn.toDouble()) : expiresIn.toString().toLongLong(&ok);
    if (ok && seconds > 0) {
        grant.expiresIn = seconds;
    }
    return grant;
}

BrowserSignIn::BrowserSignIn(Clock &clock, const Request &request, BrowserOpener openBrowser, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_openBrowser(std::move(openBrowser))
    , m_handler(std::make_unique<LoopbackReplyHandler>([this](QNetworkReply *reply) { readTokenReply(reply); }))
    , m_network(std::make_unique<QNetworkAccessManager>())
    , m_flow(std::make_unique<QOAuth2AuthorizationCodeFlow>(request.clientID, request.authorizeURL, request.tokenURL,
                                                            m_network.get()))
{
    m_handler->setCallbackText(tr("Bellwick has the answer of the sign-in. You can close this tab."));
    m_flow->setReplyHandler(m_handler.get());
    m_flow->setScope(request.scope);
    const QString verifier = codeVerifier();
    const QString challenge = base64Url(QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256));
    m_flow->setModifyParametersFunction(
        [verifier, challenge](QAbstractOAuth::Stage stage, QMultiMap<QString, QVariant> *parameters) {
            if (stage == QAbstractOAuth::Stage::RequestingAuthorization) {
                parameters->insert(QStringLiteral("code_challenge"), challenge);
                parameters->insert(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
            } else if (stage == QAbstractOAuth::Stage::RequestingAccessToken) {
                parameters->insert(QStringLiteral("code_verifier"), verifier);
            }
        });
    connect(m_handler.get(), &QAbstractOAuthReplyHandler::callbackReceived, this, &BrowserSignIn::checkCallback);
    connect(m_flow.get(), &QAbstractOAuth::authorizeWithBrowser, this, [this](const QUrl &url) {
        if (!m_openBrowser(url)) {
            finish(AuthError::authSessionFailed(tr("the web browser could not be opened")));
        }
    });
}

BrowserSignIn::~BrowserSignIn() = default;

QCoro::Task<TokenGrant> BrowserSignIn::run()
{
    if (!m_handler->isListening()) {
        throw AuthError::authSessionFailed(tr("no local port is free for the browser's answer"));
    }
    m_deadline = m_clock.callAfter(browserTimeLimit, [this] { finish(AuthError::userCancelled()); });
    m_flow->grant();
    co_await OutcomeAwaiter{this};
    if (const auto *grant = std::get_if<TokenGrant>(&*m_outcome)) {
        co_return *grant;
    }
    throw std::get<AuthError>(*m_outcome);
}

void BrowserSignIn::checkCallback(const QVariantMap &answer)
{
    if (const QString error = answer.value(QStringLiteral("error")).toString(); !error.isEmpty()) {
        const QString description = answer.value(QStringLiteral("error_description")).toString();
        finish(error == QLatin1String("access_denied")
                   ? AuthError::userCancelled()
                   : AuthError::authSessionFailed(description.isEmpty() ? error : description));
        return;
    }
    if (answer.value(QStringLiteral("code")).toString().isEmpty()
        || answer.value(QStringLiteral("state")).toString() != m_flow->state()) {
        finish(AuthError::invalidCallback());
        return;
    }
    m_deadline = m_clock.callAfter(
        tokenTimeLimit, [this] { finish(AuthError::networkError(tr("the sign-in service did not answer in time"))); });
}

void BrowserSignIn::readTokenReply(QNetworkReply *reply)
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        finish(AuthError::networkError(reply->errorString()));
        return;
    }
    std::optional<TokenGrant> grant = status.toInt() == 200 ? parseTokenGrant(reply->readAll()) : std::nullopt;
    finish(grant ? Outcome(std::move(*grant)) : Outcome(AuthError::tokenExchangeFailed()));
}

void BrowserSignIn::finish(Outcome outcome)
{
    if (m_outcome) {
        return;
    }
    m_outcome = std::move(outcome);
    if (m_waiter) {
        // Queued: this may run inside the flow's, the handler's or the clock's own call.
        QMetaObject::invokeMethod(
            this, [waiter = std::exchange(m_waiter, {})] { waiter.resume(); }, Qt::QueuedConnection);
    }
}

} // namespace bellwick

#pragma once

#include "calendar/outlook/outlookcalendarprovider.h"
#include "platform/error.h"
#include "tasks.h"

#include <QCryptographicHash>
#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

#include <deque>
#include <map>
#include <vector>

namespace bellwick::test {

// Microsoft Graph and the identity service, played by one HTTP server on 127.0.0.1. Paths answer from a queue of
// scripted answers; the authorization page and the code exchange play the real protocol, PKCE included.
class LocalMicrosoft
{
public:
    struct Answer {
        int status = 200;
        // "{root}" becomes the server's root URL.
        QByteArray body = "{}";
        // Never answered at all.
        bool silent = false;
    };
    struct Request {
        QString query;
        QMap<QByteArray, QByteArray> headers;
        QUrlQuery form;
    };

    LocalMicrosoft()
    {
        m_server.setMissingHandler([this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            answer(request, std::move(responder));
        });
        m_port = m_server.listen(QHostAddress::LocalHost);
    }

    [[nodiscard]] QString root() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    [[nodiscard]] OutlookEndpoints endpoints() const
    {
        return {QUrl(root() + QStringLiteral("/common")), QUrl(root() + QStringLiteral("/v1.0"))};
    }

    void queue(const QString &path, Answer answer) { m_answers[path].push_back(std::move(answer)); }
    // What the path answers once its queue is empty, instead of 404.
    void answerAlways(const QString &path, Answer answer) { m_standing.insert_or_assign(path, std::move(answer)); }
    [[nodiscard]] QList<Request> requestsTo(const QString &path) const { return m_requests.value(path); }

    // The browser: follows the authorization page and its redirect to the loopback port.
    bool openBrowser(const QUrl &url)
    {
        QNetworkReply *reply = m_browser.get(QNetworkRequest(url));
        QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
        return true;
    }

    // The query with which the authorization page sends the browser back; "{state}" is the state it was given.
    QString consent = QStringLiteral("code=code-1&state={state}");
    static constexpr const char *clientID = "client-7";
    static constexpr QLatin1StringView authorizePath{"/common/oauth2/v2.0/authorize"};
    static constexpr QLatin1StringView tokenPath{"/common/oauth2/v2.0/token"};

private:
    void answer(const QHttpServerRequest &request, QHttpServerResponder &&responder)
    {
        const QString path = request.url().path();
        Request seen{request.url().query(QUrl::FullyEncoded), {}, QUrlQuery(QString::fromUtf8(request.body()))};
        for (const auto &[name, value] : request.headers()) {
            seen.headers.insert(name.toLower(), value);
        }
        m_requests[path].append(seen);
        auto &queued = m_answers[path];
        if (queued.empty() && path == authorizePath) {
            return authorize(request.query(), std::move(responder));
        }
        if (queued.empty() && path == tokenPath) {
            return exchangeCode(seen.form, std::move(responder));
        }
        const auto standing = m_standing.find(path);
        Answer next = !queued.empty()                ? queued.front()
                      : standing != m_standing.end() ? standing->second
                                                     : Answer{404, "{}"};
        if (!queued.empty()) {
            queued.pop_front();
        }
        if (next.silent) {
            m_silent.push_back(std::move(responder));
            return;
        }
        responder.write(next.body.replace("{root}", root().toUtf8()), "application/json",
                        QHttpServerResponder::StatusCode(next.status));
    }

    void authorize(const QUrlQuery &query, QHttpServerResponder &&responder)
    {
        m_redirect = query.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded);
        m_challenge = query.queryItemValue(QStringLiteral("code_challenge"));
        const bool valid = query.queryItemValue(QStringLiteral("client_id")) == QLatin1String(clientID)
                           && query.queryItemValue(QStringLiteral("response_type")) == QLatin1String("code")
                           && query.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded)
                                  == QLatin1String("offline_access User.Read Calendars.Read")
                           && query.queryItemValue(QStringLiteral("code_challenge_method")) == QLatin1String("S256")
                           && m_challenge.size() == 43 && QUrl(m_redirect).host() == QLatin1String("127.0.0.1")
                           && QUrl(m_redirect).port() > 0 && QUrl(m_redirect).path() == QLatin1String("/");
        QString back = valid ? consent : QStringLiteral("error=invalid_request");
        back.replace(QLatin1String("{state}"), query.queryItemValue(QStringLiteral("state")));
        QUrl location(m_redirect);
        location.setQuery(back, QUrl::StrictMode);
        responder.write({{"Location", location.toEncoded()}}, QHttpServerResponder::StatusCode::Found);
    }

    // The code is good only with the verifier whose hash the authorization page saw.
    void exchangeCode(const QUrlQuery &form, QHttpServerResponder &&responder)
    {
        const auto field = [&form](const char *name) {
            return form.queryItemValue(QLatin1String(name), QUrl::FullyDecoded);
        };
        const QByteArray hash = QCryptographicHash::hash(field("code_verifier").toLatin1(), QCryptographicHash::Sha256);
        const bool valid =
            field("grant_type") == QLatin1String("authorization_code") && field("code") == QLatin1String("code-1")
            && field("client_id") == QLatin1String(clientID) && field("redirect_uri") == m_redirect
            && QString::fromLatin1(hash.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals))
                   == m_challenge;
        if (!valid) {
            responder.write(QByteArray(R"({"error": "invalid_grant"})"), "application/json",
                            QHttpServerResponder::StatusCode::BadRequest);
            return;
        }
        responder.write(QByteArray(R"({"token_type": "Bearer", "expires_in": 3600, "access_token": "access-1",
                                       "refresh_token": "refresh-1", "scope": "User.Read Calendars.Read"})"),
                        "application/json");
    }

    QHttpServer m_server;
    quint16 m_port = 0;
    QNetworkAccessManager m_browser;
    std::map<QString, std::deque<Answer>> m_answers;
    std::map<QString, Answer> m_standing;
    QHash<QString, QList<Request>> m_requests;
    std::vector<QHttpServerResponder> m_silent;
    QString m_redirect;
    QString m_challenge;
};

// The diagnostic text of the task's failure; empty when it succeeds.
template<typename T> QString failureOf(QCoro::Task<T> task)
{
    try {
        runTask(std::move(task));
    } catch (const std::exception &error) {
        return debugDescription(error);
    }
    return {};
}

} // namespace bellwick::test

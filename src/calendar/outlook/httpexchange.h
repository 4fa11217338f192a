#pragma once

#include "platform/error.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <chrono>
#include <optional>

class QNetworkAccessManager;

namespace bellwick {

class Clock;

// A request that got no HTTP answer: no connection, a broken transfer, or silence past its time-out.
class NetworkFailure : public Error
{
    Q_DECLARE_TR_FUNCTIONS(NetworkFailure)

public:
    NetworkFailure(QNetworkReply::NetworkError code, QString text) : m_code(code), m_text(std::move(text)) { }
    [[nodiscard]] static NetworkFailure timedOut();

    [[nodiscard]] QString errorDescription() const override { return m_text; }
    [[nodiscard]] QString debugDescription() const override;

private:
    QNetworkReply::NetworkError m_code;
    QString m_text;
};

struct HttpReply {
    // Zero when the answer was not an HTTP one.
    int status = 0;
    QByteArray body;
};

// Sends a GET, or a POST when a body is given, and waits on the clock for the whole answer. An HTTP answer of any
// status is a reply; anything else throws NetworkFailure.
[[nodiscard]] QCoro::Task<HttpReply> exchange(QNetworkAccessManager &network, Clock &clock, QNetworkRequest request,
                                              std::optional<QByteArray> postBody = std::nullopt,
                                              std::chrono::milliseconds timeout = std::chrono::seconds(60));

} // namespace bellwick

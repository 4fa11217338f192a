#include "httpexchange.h"

#include "platform/clock.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>

#include <memory>

namespace bellwick {

namespace {

// The reply may still be emitting the signal that resumed us.
struct DeleteLater {
    void operator()(QObject *object) const { object->deleteLater(); }
};

} // namespace

NetworkFailure NetworkFailure::timedOut()
{
    return {QNetworkReply::TimeoutError, tr("The server did not answer in time.")};
}

QString NetworkFailure::debugDescription() const
{
    return QStringLiteral("networkFailure(%1: %2)").arg(int(m_code)).arg(m_text);
}

QCoro::Task<HttpReply> exchange(QNetworkAccessManager &network, Clock &clock, QNetworkRequest request,
                                std::optional<QByteArray> postBody, std::chrono::milliseconds timeout)
{
    const std::unique_ptr<QNetworkReply, DeleteLater> reply(postBody ? network.post(request, *postBody)
                                                                     : network.get(request));
    bool timedOut = false;
    const std::unique_ptr<ClockTimer> deadline = clock.callAfter(timeout, [&timedOut, pending = reply.get()] {
        timedOut = true;
        // Queued, so the coroutine never resumes inside the clock's callback.
        QMetaObject::invokeMethod(pending, &QNetworkReply::abort, Qt::QueuedConnection);
    });
    co_await qCoro(reply.get()).waitForFinished();
    if (timedOut) {
        throw NetworkFailure::timedOut();
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid() && reply->error() != QNetworkReply::NoError) {
        throw NetworkFailure(reply->error(), reply->errorString());
    }
    co_return HttpReply{status.toInt(), reply->readAll()};
}

} // namespace bellwick

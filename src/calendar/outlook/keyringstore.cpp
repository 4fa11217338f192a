#include "keyringstore.h"

#include "platform/diagnostics.h"

#include <QCoroSignal>
#include <QStringDecoder>
#include <qt6keychain/keychain.h>

#include <memory>

namespace bellwick {

namespace {

// Connects before starting, so a job that finishes at once is not missed.
QCoro::Task<> run(QKeychain::Job &job)
{
    job.setAutoDelete(false);
    auto finished = qCoro(&job, &QKeychain::Job::finished);
    job.start();
    co_await finished;
}

void reportFailure(const QKeychain::Job &job, const char *what)
{
    if (job.error() != QKeychain::NoError && job.error() != QKeychain::EntryNotFound) {
        diagnostic(
            QStringLiteral("Keyring: could not %1 \"%2\": %3").arg(QLatin1String(what), job.key(), job.errorString()));
    }
}

} // namespace

QCoro::Task<std::optional<QString>> KeyringStore::read(QString account) const
{
    QKeychain::ReadPasswordJob job(m_service);
    job.setKey(account);
    co_await run(job);
    reportFailure(job, "read");
    if (job.error() != QKeychain::NoError) {
        co_return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(job.binaryData());
    if (decoder.hasError()) {
        co_return std::nullopt;
    }
    co_return text;
}

QCoro::Task<> KeyringStore::write(QString account, QString value) const
{
    QKeychain::WritePasswordJob job(m_service);
    job.setKey(account);
    job.setTextData(value);
    co_await run(job);
    reportFailure(job, "write");
}

QCoro::Task<> KeyringStore::remove(QString account) const
{
    QKeychain::DeletePasswordJob job(m_service);
    job.setKey(account);
    co_await run(job);
    reportFailure(job, "remove");
}

} // namespace bellwick

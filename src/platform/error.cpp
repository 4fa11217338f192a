#include "error.h"

namespace bellwick {

namespace {

template<typename Describe> QString describe(const std::exception_ptr &error, Describe describeOne)
{
    if (!error) {
        return {};
    }
    try {
        std::rethrow_exception(error);
    } catch (const std::exception &e) {
        return describeOne(e);
    } catch (...) {
        return QStringLiteral("unknown error");
    }
}

} // namespace

const char *Error::what() const noexcept
{
    if (m_what.isEmpty()) {
        m_what = debugDescription().toUtf8();
    }
    return m_what.constData();
}

QString localizedDescription(const std::exception &error)
{
    if (const auto *own = dynamic_cast<const Error *>(&error)) {
        return own->errorDescription();
    }
    return QString::fromLocal8Bit(error.what());
}

QString localizedDescription(const std::exception_ptr &error)
{
    return describe(error, [](const std::exception &e) { return localizedDescription(e); });
}

QString debugDescription(const std::exception &error)
{
    if (const auto *own = dynamic_cast<const Error *>(&error)) {
        return own->debugDescription();
    }
    return QString::fromLocal8Bit(error.what());
}

QString debugDescription(const std::exception_ptr &error)
{
    return describe(error, [](const std::exception &e) { return debugDescription(e); });
}

} // namespace bellwick

#pragma once

#include <QString>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>
#pragma GCC diagnostic pop

#include <memory>

namespace bellwick {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template<typename T> using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};
using OwnedText = std::unique_ptr<gchar, GFree>;

// Frees the error of one GLib call however the call ends.
class ErrorSlot
{
public:
    ErrorSlot() = default;
    ~ErrorSlot()
    {
        if (m_error) {
            g_error_free(m_error);
        }
    }
    ErrorSlot(const ErrorSlot &) = delete;
    ErrorSlot &operator=(const ErrorSlot &) = delete;

    operator GError **() { return &m_error; }
    [[nodiscard]] bool matches(GQuark domain, int code) const { return g_error_matches(m_error, domain, code); }
    [[nodiscard]] QString message() const
    {
        return m_error ? QString::fromUtf8(m_error->message) : QStringLiteral("unknown error");
    }

private:
    GError *m_error = nullptr;
};

} // namespace bellwick

#pragma once

#include <QUrl>

namespace bellwick {

// Opens a link with whatever the user chose to handle it.
class UrlOpener
{
public:
    UrlOpener() = default;
    virtual ~UrlOpener() = default;
    UrlOpener(const UrlOpener &) = delete;
    UrlOpener &operator=(const UrlOpener &) = delete;

    virtual void open(const QUrl &url) = 0;
};

// The desktop's default handler; a link it cannot open is reported as a diagnostic line.
class DesktopUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};

} // namespace bellwick

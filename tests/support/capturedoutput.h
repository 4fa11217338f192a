#pragma once

#include <QStringList>
#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

namespace bellwick::test {

// Collects what the code under test writes to standard output, from construction until lines() is called.
class CapturedOutput
{
public:
    CapturedOutput()
    {
        std::fflush(stdout);
        m_file.open();
        m_saved = ::dup(STDOUT_FILENO);
        ::dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~CapturedOutput() { restore(); }
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    [[nodiscard]] QStringList lines()
    {
        restore();
        m_file.seek(0);
        return QString::fromUtf8(m_file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

private:
    void restore()
    {
        if (m_saved < 0) {
            return;
        }
        std::fflush(stdout);
        ::dup2(m_saved, STDOUT_FILENO);
        ::close(m_saved);
        m_saved = -1;
    }

    QTemporaryFile m_file;
    int m_saved = -1;
};

} // namespace bellwick::test

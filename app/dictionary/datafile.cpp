#include "dictionary/datafile.h"

#include "dictionary/dictionaryerror.h"

#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

DictionaryError failure(const QString& path, int error)
{
    return DictionaryError(path, error == ENOENT ? QStringLiteral("is missing")
                                                 : QStringLiteral("cannot be read: ") +
                                                       QString::fromLocal8Bit(strerror(error)));
}

} // namespace

DataFile::DataFile(const QString& path)
    : m_path(path), m_fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
{
    if (m_fd < 0)
        throw failure(path, errno);
    struct stat status {};
    char last = 0;
    if (::fstat(m_fd, &status) != 0 ||
        (status.st_size > 0 && ::pread(m_fd, &last, 1, status.st_size - 1) != 1)) {
        const int error = errno;
        ::close(m_fd);
        throw failure(path, error);
    }
    m_size = uint64_t(status.st_size);
    if (m_size == 0 || last != '\n') {
        ::close(m_fd);
        throw DictionaryError(path, m_size == 0 ? QStringLiteral("is empty")
                                                : QStringLiteral("is cut short (its last line "
                                                                 "is incomplete)"));
    }
}

DataFile::~DataFile()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

DataFile::DataFile(DataFile&& other) noexcept
    : m_path(std::move(other.m_path)), m_fd(std::exchange(other.m_fd, -1)), m_size(other.m_size)
{
}

std::string DataFile::lineAt(uint64_t offset) const
{
    // Synset lines are mostly a few hundred bytes; the longest is under 8 KiB.
    constexpr size_t kChunk = 4096;
    std::string line;
    while (offset < m_size) {
        const size_t start = line.size();
        line.resize(start + kChunk);
        const ssize_t read = ::pread(m_fd, line.data() + start, kChunk, off_t(offset));
        if (read <= 0) {
            line.resize(start);
            break;
        }
        line.resize(start + size_t(read));
        const size_t end = line.find('\n', start);
        if (end != std::string::npos) {
            line.resize(end);
            break;
        }
        offset += uint64_t(read);
    }
    return line;
}

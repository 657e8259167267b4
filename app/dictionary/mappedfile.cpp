#include "dictionary/mappedfile.h"

#include "dictionary/dictionaryerror.h"

#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

MappedFile::MappedFile(const QString& path) : m_path(path)
{
    auto failure = [&path](int error) {
        return DictionaryError(path, error == ENOENT ? QStringLiteral("is missing")
                                                     : QStringLiteral("cannot be read: ") +
                                                           QString::fromLocal8Bit(strerror(error)));
    };
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw failure(errno);
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        const int error = errno;
        ::close(fd);
        throw failure(error);
    }
    if (status.st_size == 0) {
        ::close(fd);
        throw DictionaryError(path, QStringLiteral("is empty"));
    }
    void* data = ::mmap(nullptr, size_t(status.st_size), PROT_READ, MAP_SHARED, fd, 0);
    const int error = errno;
    ::close(fd);
    if (data == MAP_FAILED)
        throw failure(error);
    m_bytes = std::string_view(static_cast<const char*>(data), size_t(status.st_size));
    if (m_bytes.back() != '\n') {
        ::munmap(data, m_bytes.size());
        throw DictionaryError(path, QStringLiteral("is cut short (its last line is incomplete)"));
    }
}

MappedFile::~MappedFile()
{
    if (!m_bytes.empty())
        ::munmap(const_cast<char*>(m_bytes.data()), m_bytes.size());
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : m_path(std::move(other.m_path)), m_bytes(std::exchange(other.m_bytes, {}))
{
}

std::string_view MappedFile::lineAt(size_t offset) const
{
    if (offset >= m_bytes.size())
        return {};
    const std::string_view rest = m_bytes.substr(offset);
    return rest.substr(0, rest.find('\n'));
}

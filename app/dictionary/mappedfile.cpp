#include "mappedfile.h"

#include "dictionaryerror.h"

MappedFile::MappedFile(const QString& path) : m_path(path), m_file(std::make_unique<QFile>(path))
{
    if (!m_file->exists())
        throw DictionaryError(path, QStringLiteral("is missing"));
    if (!m_file->open(QIODevice::ReadOnly))
        throw DictionaryError(path, QStringLiteral("cannot be read: ") + m_file->errorString());
    const qint64 size = m_file->size();
    if (size == 0)
        throw DictionaryError(path, QStringLiteral("is empty"));
    const uchar* data = m_file->map(0, size);
    if (!data)
        throw DictionaryError(path, QStringLiteral("cannot be mapped: ") + m_file->errorString());
    m_bytes = std::string_view(reinterpret_cast<const char*>(data), size_t(size));
    if (m_bytes.back() != '\n')
        throw DictionaryError(path, QStringLiteral("is cut short (its last line is incomplete)"));
}

std::string_view MappedFile::lineAt(size_t offset) const
{
    if (offset >= m_bytes.size())
        return {};
    const std::string_view rest = m_bytes.substr(offset);
    return rest.substr(0, rest.find('\n'));
}

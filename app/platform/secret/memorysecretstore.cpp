#include "platform/secret/memorysecretstore.h"

std::optional<QString> MemorySecretStore::get(const QString& account) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_secrets.constFind(account);
    if (found == m_secrets.constEnd())
        return std::nullopt;
    return *found;
}

bool MemorySecretStore::set(const QString& account, const QString& value)
{
    if (!m_available)
        return false;
    std::lock_guard lock(m_mutex);
    m_secrets.insert(account, value);
    return true;
}

bool MemorySecretStore::remove(const QString& account)
{
    std::lock_guard lock(m_mutex);
    return m_secrets.remove(account) > 0;
}

#pragma once

#include "platform/secretstore.h"

#include <QMap>
#include <mutex>

// A keyring in memory, for tests. With `available` false it behaves as a desktop without a
// Secret Service: nothing is kept and nothing is found.
class MemorySecretStore : public SecretStore {
public:
    explicit MemorySecretStore(bool available = true) : m_available(available) {}

    std::optional<QString> get(const QString& account) const override;
    bool set(const QString& account, const QString& value) override;
    bool remove(const QString& account) override;
    bool isAvailable() const override { return m_available; }

private:
    bool m_available;
    mutable std::mutex m_mutex;
    QMap<QString, QString> m_secrets;
};

#include "platform/secret/libsecretstore.h"

#include <QLoggingCategory>
#include <atomic>
#include <libsecret/secret.h>
#include <string_view>

// Quiet unless asked for (QT_LOGGING_RULES="peekwell.secret.info=true").
Q_LOGGING_CATEGORY(lcSecret, "peekwell.secret", QtWarningMsg)

namespace {

// Generic passwords: matched on the attributes alone, whoever stored them.
const SecretSchema* schema()
{
    static const SecretSchema generic = {
        "org.freedesktop.Secret.Generic",
        SECRET_SCHEMA_DONT_MATCH_NAME,
        {
            {"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
            {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
            {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
        },
        0,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
    };
    return &generic;
}

// Logs what the keyring said (never a secret) and frees the error.
void report(GError* error, const char* what)
{
    if (!error)
        return;
    qCInfo(lcSecret) << what << "failed:" << error->message;
    g_error_free(error);
}

std::atomic<SecretStore*> replacement = nullptr;

} // namespace

SecretStore& SecretStore::standard()
{
    if (SecretStore* store = replacement.load())
        return *store;
    static LibsecretStore keyring;
    return keyring;
}

void SecretStore::setStandard(SecretStore* store)
{
    replacement.store(store);
}

std::optional<QString> LibsecretStore::get(const QString& account) const
{
    const QByteArray name = account.toUtf8();
    GError* error = nullptr;
    gchar* secret = secret_password_lookup_sync(schema(), nullptr, &error, "service", service,
                                                "account", name.constData(), nullptr);
    report(error, "reading a key");
    if (!secret)
        return std::nullopt;
    const QByteArray bytes(secret);
    secret_password_free(secret);
    if (!g_utf8_validate(bytes.constData(), bytes.size(), nullptr))
        return std::nullopt;
    return QString::fromUtf8(bytes);
}

bool LibsecretStore::set(const QString& account, const QString& value)
{
    const QByteArray name = account.toUtf8();
    const QByteArray label = QStringLiteral("Peekwell API key (%1)").arg(account).toUtf8();
    const QByteArray secret = value.toUtf8();
    GError* error = nullptr;
    const gboolean stored = secret_password_store_sync(
        schema(), SECRET_COLLECTION_DEFAULT, label.constData(), secret.constData(), nullptr, &error,
        "service", service, "account", name.constData(), nullptr);
    report(error, "storing a key");
    return stored;
}

bool LibsecretStore::remove(const QString& account)
{
    const QByteArray name = account.toUtf8();
    GError* error = nullptr;
    const gboolean removed = secret_password_clear_sync(
        schema(), nullptr, &error, "service", service, "account", name.constData(), nullptr);
    report(error, "deleting a key");
    return removed;
}

bool LibsecretStore::isAvailable() const
{
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus) {
        report(error, "reaching the session bus");
        return false;
    }
    // The keyring either runs already or the bus can start it.
    bool found = false;
    for (const char* method : {"NameHasOwner", "ListActivatableNames"}) {
        const bool owner = std::string_view(method) == "NameHasOwner";
        GVariant* reply = g_dbus_connection_call_sync(
            bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
            owner ? g_variant_new("(s)", "org.freedesktop.secrets") : nullptr, nullptr,
            G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
        if (!reply) {
            report(error, method);
            continue;
        }
        if (owner) {
            gboolean has = FALSE;
            g_variant_get(reply, "(b)", &has);
            found = has;
        } else {
            GVariantIter* names = nullptr;
            g_variant_get(reply, "(as)", &names);
            const gchar* name = nullptr;
            while (g_variant_iter_loop(names, "&s", &name)) {
                if (std::string_view(name) == "org.freedesktop.secrets")
                    found = true;
            }
            g_variant_iter_free(names);
        }
        g_variant_unref(reply);
        if (found)
            break;
    }
    g_object_unref(bus);
    return found;
}

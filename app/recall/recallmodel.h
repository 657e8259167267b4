#pragma once

#include "platform/llm/session.h"
#include "platform/llm/tool.h"
#include "platform/preferences.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <memory>
#include <optional>

// The language model the Recall source runs on, as the user chose it under "recall.model".
//
// Everything is read afresh at every call (preferences, the keyring, the local model
// server), so a change from the menu or the command line applies to the next lookup. The
// preference store defaults to the standard one; tests pass their own. Any thread.
class RecallModel {
public:
    enum Case { onDevice, privateCloud, openAI, claude, custom };

    constexpr RecallModel(Case value) : m_value(value) {}

    // Every case, in declaration order.
    static QList<RecallModel> allCases();
    static std::optional<RecallModel> fromRawValue(const QString& rawValue);
    // The model named by "recall.model"; missing or unknown values give onDevice.
    static RecallModel current(const Preferences& preferences = Preferences::standard());

    Case value() const { return m_value; }
    QString rawValue() const;
    QString id() const { return rawValue(); }
    // The name used in messages ("OpenAI", "Claude", "Custom (OpenAI-compatible)"); none for
    // the platform models.
    std::optional<QString> displayName() const;
    QString defaultModelName() const;
    // The keyring account of the model's API key.
    std::optional<QString> keyAccount() const;

    // The stored name under Pref::modelName(rawValue()), else the default; a stored empty name
    // is used as it is.
    QString modelName(const Preferences& preferences = Preferences::standard()) const;
    // The server's API base: fixed for OpenAI and Claude, "recall.custom.baseURL" for custom
    // (none when missing, empty or not a URL with a scheme and a host), none otherwise.
    std::optional<QUrl> baseURL(const Preferences& preferences = Preferences::standard()) const;
    // One line telling whether the model can be used. For onDevice this asks the local
    // model server, so it may block for a moment.
    QString status(const Preferences& preferences = Preferences::standard()) const;

    // A session on the chosen model with the tools and instructions. Throws BackendError with
    // a sentence saying what to do when the model cannot be used. Availability of the
    // on-device model is not tested here.
    Session session(QList<std::shared_ptr<const Tool>> tools, const QString& instructions,
                    const Preferences& preferences = Preferences::standard()) const;

    friend bool operator==(RecallModel, RecallModel) = default;

private:
    Case m_value;
};

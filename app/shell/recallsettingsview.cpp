#include "shell/recallsettingsview.h"

#include "lookup/lookupstream.h"
#include "platform/secretstore.h"
#include "shell/menustyle.h"
#include "shell/menutexts.h"

#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

RecallSettingsView::RecallSettingsView(RecallModel model, Preferences& preferences, QWidget* parent)
    : QWidget(parent), m_settings(model, preferences), m_preferences(preferences)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    if (m_settings.showsModelFields()) {
        m_name = MenuStyle::field(QStringLiteral("Model"), this);
        layout->addWidget(m_name);
        connect(m_name, &QLineEdit::editingFinished, this, &RecallSettingsView::save);
        if (m_settings.showsBaseURLField()) {
            m_baseURL = MenuStyle::field(RecallSettings::baseURLPlaceholder(), this);
            layout->addWidget(m_baseURL);
            connect(m_baseURL, &QLineEdit::editingFinished, this, &RecallSettingsView::save);
        }
        m_key = MenuStyle::field(QString(), this);
        m_key->setEchoMode(QLineEdit::Password);
        layout->addWidget(m_key);
        connect(m_key, &QLineEdit::editingFinished, this, &RecallSettingsView::save);
        m_noKeyring = MenuStyle::caption(MenuTexts::noKeyring, this);
        m_noKeyring->hide();
        layout->addWidget(m_noKeyring);
    }
    m_status = MenuStyle::caption(MenuTexts::checking, this);
    layout->addWidget(m_status);
    load();
}

void RecallSettingsView::load()
{
    m_settings.load();
    if (m_name) {
        m_name->setText(m_settings.name);
        m_key->clear();
        m_key->setPlaceholderText(m_settings.keyPlaceholder());
    }
    if (m_baseURL)
        m_baseURL->setText(m_settings.baseURL);
    checkStatus();
}

void RecallSettingsView::save()
{
    // Leaving a field without typing in it commits nothing.
    if (!m_name ||
        !(m_name->isModified() || m_key->isModified() || (m_baseURL && m_baseURL->isModified())))
        return;
    m_settings.name = m_name->text();
    if (m_baseURL)
        m_settings.baseURL = m_baseURL->text();
    m_settings.key = m_key->text();
    m_settings.save();
    for (QLineEdit* field : {m_name, m_baseURL, m_key})
        if (field)
            field->setModified(false);
    m_key->clear();
    m_key->setPlaceholderText(m_settings.keyPlaceholder());
    checkStatus();
}

void RecallSettingsView::checkStatus()
{
    // A newer question replaces an unanswered one: only the latest answer is shown.
    delete m_check;
    m_check = new QFutureWatcher<Check>(this);
    connect(m_check, &QFutureWatcher<Check>::finished, this, [this] {
        const Check check = m_check->result();
        m_status->setText(check.status);
        if (m_noKeyring)
            m_noKeyring->setVisible(!check.keyringAnswers);
    });
    const RecallModel model = m_settings.model();
    const bool usesKeyring = m_settings.showsModelFields();
    Preferences* preferences = &m_preferences;
    m_check->setFuture(QtConcurrent::run(&ioThreadPool(), [model, usesKeyring, preferences] {
        return Check{model.status(*preferences),
                     !usesKeyring || SecretStore::standard().isAvailable()};
    }));
}

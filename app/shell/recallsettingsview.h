#pragma once

#include "recall/recallsettings.h"

#include <QFutureWatcher>
#include <QWidget>

class QLabel;
class QLineEdit;

// The settings form of one recall model: model name, the custom server's base URL and a
// masked API key field (shown for the models that use a server), then the model's status line.
// Committing a field (Return, or leaving it) saves the form: names and addresses go to the
// preferences, a typed key to the desktop keyring.
//
// Main thread. The status line and the keyring check may block (they ask the local model
// server and the keyring), so they run on a worker thread and fill in when they answer; a
// check may outlive the view, so `preferences` must outlive every check (the standard
// preferences live as long as the process).
class RecallSettingsView : public QWidget {
    Q_OBJECT
public:
    explicit RecallSettingsView(RecallModel model, Preferences& preferences,
                                QWidget* parent = nullptr);

    RecallModel model() const { return m_settings.model(); }
    // Fills the form from storage again, dropping typed but uncommitted text.
    void load();

    QLineEdit* nameField() const { return m_name; }
    QLineEdit* baseURLField() const { return m_baseURL; }
    QLineEdit* keyField() const { return m_key; }
    QLabel* statusLine() const { return m_status; }

private:
    struct Check {
        QString status;
        bool keyringAnswers = true;
    };
    void save();
    void checkStatus();

    RecallSettings m_settings;
    Preferences& m_preferences;
    QLineEdit* m_name = nullptr;
    QLineEdit* m_baseURL = nullptr;
    QLineEdit* m_key = nullptr;
    QLabel* m_status = nullptr;
    QLabel* m_noKeyring = nullptr;
    QFutureWatcher<Check>* m_check = nullptr;
};

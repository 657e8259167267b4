#pragma once

#include "platform/preferences.h"

#include <QList>
#include <QWidget>

class AppStatus;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;
class RecallSettingsView;
class SwitchButton;

// The tray menu's content: whether force clicks are heard, the accessibility notice, the
// switches of every preference, the recall model with its settings, the library's address,
// a test lookup and Quit. It keeps nothing of its own: every switch and field writes its
// preference at once, reload() shows the stored values, and the status lines follow the
// status object as it changes.
//
// Main thread. The status object and the preferences outlive the view.
class MenuView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 320;

    explicit MenuView(AppStatus& status, Preferences& preferences = Preferences::standard(),
                      QWidget* parent = nullptr);

    // Shows the stored preferences again; typed but uncommitted recall settings are dropped.
    void reload();

    RecallSettingsView* recallSettings() const { return m_recallSettings; }

protected:
    bool event(QEvent* event) override;

Q_SIGNALS:
    // "Try a lookup" was pressed; the lookup follows at once.
    void tryingLookup();
    void quitRequested();

private:
    struct Binding {
        SwitchButton* button;
        QString key;
    };
    SwitchButton* addSwitch(QVBoxLayout* layout, QWidget* label, const QString& name,
                            const QString& key);
    SwitchButton* addSwitch(QVBoxLayout* layout, const QString& text, const QString& key);
    void showRecallSettings();
    void updateStatus();
    void fitHeight();

    AppStatus& m_status;
    Preferences& m_preferences;
    QList<Binding> m_bindings;
    QLabel* m_listening = nullptr;
    QLabel* m_hearing = nullptr;
    QWidget* m_accessNotice = nullptr;
    QLabel* m_accessRefused = nullptr;
    SwitchButton* m_startAtLogin = nullptr;
    QLabel* m_appleModel = nullptr;
    QComboBox* m_picker = nullptr;
    QVBoxLayout* m_recallLayout = nullptr;
    RecallSettingsView* m_recallSettings = nullptr;
    QLabel* m_chatsLine = nullptr;
    QLineEdit* m_libraryURL = nullptr;
};

#pragma once

#include "platform/preferences.h"
#include "recall/recallmodel.h"

#include <QString>

// The state behind the small settings form of one recall model: its name, the custom
// server's base URL and a newly typed API key. The form shows these fields and calls
// load() when it appears or its model changes, save() when the user commits a field.
// Main thread (it belongs to a view); the preference store outlives it.
class RecallSettings {
public:
    explicit RecallSettings(RecallModel model, Preferences& preferences = Preferences::standard());

    RecallModel model() const { return m_model; }

    // Fills the fields from storage; a typed but uncommitted key is dropped.
    void load();
    // Writes the fields back: the name always (also when empty); for custom the base URL as
    // typed; a typed key replaces the stored one, then the key field empties. An empty key
    // field leaves the stored key alone.
    void save();

    // Which fields the form shows, and their placeholders.
    bool showsModelFields() const { return m_model.keyAccount().has_value(); }
    bool showsBaseURLField() const { return m_model == RecallModel::custom; }
    static QString baseURLPlaceholder();
    QString keyPlaceholder() const;
    QString status() const { return m_model.status(m_preferences); }

    QString name;    // the model name being edited
    QString baseURL; // the custom base URL being edited
    QString key;     // a newly typed key; a stored key is never shown
    bool hasKey = false;

private:
    RecallModel m_model;
    Preferences& m_preferences;
};

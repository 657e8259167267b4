#include "diagnostics/arguments.h"
#include "diagnostics/settingsoperations.h"
#include "platform/preferences.h"
#include "settings/pref.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Storing with the other operations in one command is covered end to end (tests/e2e).
TEST(SettingsOperationsTest, ModelNameGoesToTheChosenModelAndUnknownModelsCountAsOnDevice)
{
    QTemporaryDir dir;
    Preferences preferences(dir.path() + u"/p.conf"_s);
    Pref::registerDefaults(preferences);
    for (const char* model : {"privateCloud", "claude", "custom", "gpt5"}) {
        preferences.setValue(u"recall.model"_s, QString::fromLatin1(model));
        SettingsOperations::setModelName(Arguments({"peekwell", "--model-name", model}),
                                         preferences);
    }
    for (const char* model : {"privateCloud", "claude", "custom"})
        EXPECT_EQ(preferences.stringValue(Pref::modelName(QString::fromLatin1(model))),
                  QString::fromLatin1(model));
    EXPECT_EQ(preferences.stringValue(u"recall.onDevice.modelName"_s), u"gpt5"_s);
}

} // namespace

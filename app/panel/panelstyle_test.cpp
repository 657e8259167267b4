#include "panel/panelstyle.h"
#include "tests/support/scopedenvironment.h"
#include "tests/support/temphome.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(PanelStyleTest, AppearanceFollowsGtkUnlessOverridden)
{
    TempHome home;
    ScopedEnvironment environment{{"GTK_THEME", ""}, {"PEEKWELL_APPEARANCE", ""}};
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light); // the offscreen palette is light

    home.write(u".config/gtk-3.0/settings.ini"_s,
               "[Settings]\ngtk-application-prefer-dark-theme=1\n");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
    {
        ScopedEnvironment light{{"PEEKWELL_APPEARANCE", "light"}};
        EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light);
    }
    {
        ScopedEnvironment theme{{"GTK_THEME", "Adwaita"}};
        EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light);
    }
    home.write(u".config/gtk-3.0/settings.ini"_s, "[Settings]\ngtk-theme-name=Arc-Dark\n");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
    environment.set("GTK_THEME", "Adwaita:dark");
    environment.set("PEEKWELL_APPEARANCE", "dark");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
}

} // namespace

#include "panelstyle.h"
#include "temphome.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Sets an environment variable for the lifetime of the object, then puts the old value back.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const QByteArray& value)
        : m_name(name), m_old(qgetenv(name)), m_wasSet(qEnvironmentVariableIsSet(name))
    {
        qputenv(name, value);
    }
    ~EnvironmentVariable()
    {
        if (m_wasSet)
            qputenv(m_name, m_old);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    QByteArray m_old;
    bool m_wasSet;
};

TEST(PanelStyleTest, AppearanceFollowsGtkUnlessOverridden)
{
    TempHome home;
    EnvironmentVariable noTheme("GTK_THEME", "");
    EnvironmentVariable noOverride("PEEKWELL_APPEARANCE", "");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light); // the offscreen palette is light

    home.write(u".config/gtk-3.0/settings.ini"_s,
               "[Settings]\ngtk-application-prefer-dark-theme=1\n");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
    {
        EnvironmentVariable light("PEEKWELL_APPEARANCE", "light");
        EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light);
    }
    {
        EnvironmentVariable theme("GTK_THEME", "Adwaita");
        EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Light);
    }
    home.write(u".config/gtk-3.0/settings.ini"_s, "[Settings]\ngtk-theme-name=Arc-Dark\n");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
    EnvironmentVariable theme("GTK_THEME", "Adwaita:dark");
    EnvironmentVariable dark("PEEKWELL_APPEARANCE", "dark");
    EXPECT_EQ(PanelStyle::systemAppearance(), Appearance::Dark);
}

TEST(PanelStyleTest, TextLevelsStepDownInBothAppearances)
{
    for (Appearance appearance : {Appearance::Light, Appearance::Dark}) {
        const PanelStyle style = PanelStyle::forAppearance(appearance);
        EXPECT_GT(style.label.alphaF(), style.secondaryLabel.alphaF());
        EXPECT_GT(style.secondaryLabel.alphaF(), style.tertiaryLabel.alphaF());
        EXPECT_GT(style.tertiaryLabel.alphaF(), style.quaternaryLabel.alphaF());
        // Text contrasts with the panel it is drawn on.
        const int text = style.label.lightness();
        const int panel = style.panelBackgroundOpaque.lightness();
        EXPECT_GT(std::abs(text - panel), 150);
    }
}

} // namespace

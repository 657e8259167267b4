#include "panel/panelstyle.h"

#include <QApplication>
#include <QDir>
#include <QSettings>

namespace {

QFont systemFont(int pixelSize, QFont::Weight weight = QFont::Normal)
{
    QFont font = QApplication::font();
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    font.setItalic(false);
    return font;
}

QColor white(double alpha)
{
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(alpha));
}

QColor black(double alpha)
{
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(alpha));
}

} // namespace

PanelStyle PanelStyle::forAppearance(Appearance appearance)
{
    PanelStyle style;
    style.appearance = appearance;
    if (appearance == Appearance::Dark) {
        style.label = white(0.88);
        style.secondaryLabel = white(0.58);
        style.tertiaryLabel = white(0.32);
        style.quaternaryLabel = white(0.14);
        style.quaternaryFill = white(0.12);
        style.separator = white(0.22);
        style.windowBackground = QColor(0x2b, 0x2b, 0x2d);
        style.panelBackground = QColor(0x26, 0x26, 0x29, 235);
        style.panelBackgroundOpaque = QColor(0x26, 0x26, 0x29);
        style.panelBorder = white(0.14);
        style.barBackground = white(0.045);
        style.orange = QColor(0xff, 0x9f, 0x0a);
        style.selection = QColor(0x3f, 0x63, 0x8b);
    } else {
        style.label = black(0.86);
        style.secondaryLabel = black(0.55);
        style.tertiaryLabel = black(0.32);
        style.quaternaryLabel = black(0.12);
        style.quaternaryFill = black(0.08);
        style.separator = black(0.2);
        style.windowBackground = QColor(0xec, 0xec, 0xec);
        style.panelBackground = QColor(0xf6, 0xf6, 0xf7, 240);
        style.panelBackgroundOpaque = QColor(0xf6, 0xf6, 0xf7);
        style.panelBorder = black(0.14);
        style.barBackground = black(0.035);
        style.orange = QColor(0xf0, 0x8a, 0x00);
        style.selection = QColor(0xb3, 0xd7, 0xff);
    }
    return style;
}

Appearance PanelStyle::systemAppearance()
{
    const QByteArray forced = qgetenv("PEEKWELL_APPEARANCE").trimmed().toLower();
    if (forced == "dark")
        return Appearance::Dark;
    if (forced == "light")
        return Appearance::Light;
    // GTK's choice, which GNOME, Xfce, Cinnamon and MATE keep: a dark variant of the theme
    // named in GTK_THEME, or the preference in GTK's settings file.
    const QString gtkTheme = qEnvironmentVariable("GTK_THEME");
    if (!gtkTheme.isEmpty())
        return gtkTheme.contains(QLatin1String("dark"), Qt::CaseInsensitive) ? Appearance::Dark
                                                                             : Appearance::Light;
    QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (configHome.isEmpty())
        configHome = QDir::homePath() + QStringLiteral("/.config");
    const QSettings gtk(configHome + QStringLiteral("/gtk-3.0/settings.ini"), QSettings::IniFormat);
    const QString prefer =
        gtk.value(QStringLiteral("Settings/gtk-application-prefer-dark-theme")).toString();
    if (prefer == QLatin1String("1") ||
        prefer.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ||
        gtk.value(QStringLiteral("Settings/gtk-theme-name"))
            .toString()
            .contains(QLatin1String("dark"), Qt::CaseInsensitive))
        return Appearance::Dark;
    // Otherwise the Qt palette in use (a Qt platform theme may follow the desktop).
    const QColor window = QApplication::palette().color(QPalette::Window);
    return window.lightness() < 128 ? Appearance::Dark : Appearance::Light;
}

QPalette PanelStyle::palette() const
{
    const bool dark = appearance == Appearance::Dark;
    QPalette palette;
    const QColor base = dark ? QColor(0x26, 0x26, 0x29) : QColor(0xf6, 0xf6, 0xf7);
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        palette.setColor(group, QPalette::Window, base);
        palette.setColor(group, QPalette::Base, base);
        palette.setColor(group, QPalette::Button, base);
        palette.setColor(group, QPalette::WindowText, label);
        palette.setColor(group, QPalette::Text, label);
        palette.setColor(group, QPalette::ButtonText, label);
        palette.setColor(group, QPalette::Highlight, selection);
        palette.setColor(group, QPalette::HighlightedText, label);
        palette.setColor(group, QPalette::Mid, tertiaryLabel);
        palette.setColor(group, QPalette::Dark, secondaryLabel);
    }
    return palette;
}

QFont PanelStyle::termFont()
{
    QFont font(QStringLiteral("serif"));
    font.setStyleHint(QFont::Serif);
    font.setPixelSize(22);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont PanelStyle::headlineFont()
{
    return systemFont(13, QFont::DemiBold);
}

QFont PanelStyle::bodyFont()
{
    return systemFont(13);
}

QFont PanelStyle::calloutFont()
{
    return systemFont(12);
}

QFont PanelStyle::captionFont()
{
    return systemFont(10);
}

QFont PanelStyle::caption2Font()
{
    QFont font = systemFont(10);
    font.setStyleStrategy(QFont::PreferMatch);
    return font;
}

QFont PanelStyle::tabFont(bool selected)
{
    return systemFont(12, selected ? QFont::DemiBold : QFont::Normal);
}

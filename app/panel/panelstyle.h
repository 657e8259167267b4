#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

enum class Appearance { Light, Dark };

// The panel's own small style: the levels of text and fill, the backgrounds and the text
// styles, for the light and the dark appearance. Sizes are in device-independent pixels,
// the panel's unit everywhere.
struct PanelStyle {
    Appearance appearance = Appearance::Light;

    QColor label;            // primary text
    QColor secondaryLabel;   // context, secondary lines, state texts
    QColor tertiaryLabel;    // application name, link mark, empty badge
    QColor quaternaryLabel;  // faint marks
    QColor quaternaryFill;   // the selected tab's capsule
    QColor separator;        // drawn at half opacity under the header
    QColor windowBackground; // behind the view in rendered images
    QColor panelBackground;  // the panel where a compositor blends it with what lies behind
    QColor panelBackgroundOpaque;
    QColor panelBorder;   // a hairline that keeps the panel apart from similar windows
    QColor barBackground; // the tab bar, over the panel background
    QColor orange;        // the failed tab's mark
    QColor selection;     // selected body text

    static PanelStyle forAppearance(Appearance appearance);
    // The desktop's appearance, asked at each call: PEEKWELL_APPEARANCE=dark|light when set;
    // else GTK's (GTK_THEME, or gtk-3.0/settings.ini under the XDG config folder: the dark
    // preference or a theme named dark); else the lightness of Qt's window colour.
    static Appearance systemAppearance();

    // A palette for the view's standard widgets (scroll bars, selectable text).
    QPalette palette() const;

    // Text styles. The system font is the application's default family.
    static QFont termFont();             // 22 semibold serif
    static QFont headlineFont();         // 13 semibold
    static QFont bodyFont();             // 13 regular
    static QFont calloutFont();          // 12 regular
    static QFont captionFont();          // 10 regular
    static QFont caption2Font();         // 10 regular (digits of equal width)
    static QFont tabFont(bool selected); // 12, semibold when selected
};

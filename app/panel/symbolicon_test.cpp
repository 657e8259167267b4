#include "panel/symbolicon.h"

#include <QImage>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(SymbolIconTest, EverySymbolTheProgramNamesIsDrawnInTheGivenColourAndNoOtherIs)
{
    const QStringList names = {
        u"sparkles"_s,
        u"brain.head.profile"_s,
        u"bubble.left.and.text.bubble.right"_s,
        u"books.vertical"_s,
        u"globe"_s,
        u"exclamationmark.triangle"_s,
        u"exclamationmark.circle"_s,
        u"arrow.up.right"_s,
        u"text.magnifyingglass"_s,
    };
    const QColor orange(0xff, 0x9f, 0x0a);
    for (const QString& name : names) {
        ASSERT_TRUE(SymbolIcon::exists(name)) << name.toStdString();
        const QPixmap pixmap = SymbolIcon::pixmap(name, orange, 16, 2.0);
        ASSERT_FALSE(pixmap.isNull()) << name.toStdString();
        const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
        EXPECT_EQ(image.size(), QSize(32, 32)) << name.toStdString();
        int inked = 0;
        int transparent = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() == 255) {
                    ++inked;
                    EXPECT_EQ(pixel.rgb(), orange.rgb()) << name.toStdString();
                } else if (pixel.alpha() == 0) {
                    ++transparent;
                }
            }
        }
        // A drawing, not a filled square and not an empty one.
        EXPECT_GT(inked, 20) << name.toStdString();
        EXPECT_GT(transparent, 300) << name.toStdString();
    }

    EXPECT_FALSE(SymbolIcon::exists(u"no.such.symbol"_s));
    EXPECT_TRUE(SymbolIcon::pixmap(u"no.such.symbol"_s, Qt::black, 16, 1).isNull());
    EXPECT_FALSE(SymbolIcon::exists(QString()));
}

} // namespace

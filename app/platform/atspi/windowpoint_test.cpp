#include "platform/atspi/windowpoint.h"

#include <gtest/gtest.h>

using WindowPoint::Origin;

// A window whose title bar the window manager draws: the frame holds the client buffer.
TEST(WindowPointTest, DecoratedWindowCountsFromItsClientArea)
{
    const WindowFacts window{42, QStringLiteral("Editor"), QRectF(100, 50, 600, 430),
                             QRectF(102, 80, 596, 398)};
    for (const Origin origin : {Origin::Content, Origin::Surface})
        EXPECT_EQ(WindowPoint::originOf(window, origin), QPointF(102, 80));
}

// A window that draws its own title bar and a 24-px shadow: the buffer holds the frame.
TEST(WindowPointTest, ClientDecoratedWindowCountsFromItsVisibleFrameOrItsSurface)
{
    const WindowFacts window{42, QStringLiteral("Editor"), QRectF(124, 74, 600, 400),
                             QRectF(100, 50, 648, 448)};
    EXPECT_EQ(WindowPoint::originOf(window, Origin::Content), QPointF(124, 74));
    EXPECT_EQ(WindowPoint::originOf(window, Origin::Surface), QPointF(100, 50));
    const WindowFacts noBuffer{42, {}, QRectF(124, 74, 600, 400), QRectF()};
    EXPECT_EQ(WindowPoint::originOf(noBuffer, Origin::Surface), QPointF(124, 74));
}

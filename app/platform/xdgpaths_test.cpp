#include "platform/preferences.h"
#include "platform/xdgpaths.h"
#include "tests/support/temphome.h"

#include <gtest/gtest.h>

namespace {

TEST(XdgPathsTest, FoldersFollowHomeAndTheXdgVariables)
{
    TempHome home;
    EXPECT_EQ(XdgPaths::configDir(), home.path() + QStringLiteral("/.config/peekwell"));
    EXPECT_EQ(XdgPaths::dataDir(), home.path() + QStringLiteral("/.local/share/peekwell"));
    EXPECT_EQ(XdgPaths::logDir(), home.path() + QStringLiteral("/.local/state/peekwell/logs"));
    EXPECT_EQ(Preferences::standardFilePath(),
              home.path() + QStringLiteral("/.config/peekwell/peekwell.conf"));

    qputenv("XDG_DATA_HOME", "/srv/data");
    qputenv("XDG_STATE_HOME", "relative/is/ignored");
    EXPECT_EQ(XdgPaths::dataDir(), QStringLiteral("/srv/data/peekwell"));
    EXPECT_EQ(XdgPaths::logDir(), home.path() + QStringLiteral("/.local/state/peekwell/logs"));
}

} // namespace

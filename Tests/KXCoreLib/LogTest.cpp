#include "Log.h"

#include <gtest/gtest.h>

using namespace KXCore;

TEST(Log, FatalExitNamesFileAndLine) {
    EXPECT_DEATH(FatalExit("KXCoreLib/Example", 42),
                 R"(^\[[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}\]KXCoreLib/Example:42: abort\(\) called)");
}

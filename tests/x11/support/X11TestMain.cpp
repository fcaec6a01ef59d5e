// Test main for the X11 tests: the real desktop comes up once per program, before the first test runs.
#include <gtest/gtest.h>

#include "XTestSession.h"

namespace {

class DesktopEnvironment : public ::testing::Environment {
public:
    void SetUp() override
    {
        QString failure;
        if (!tamsinvale::x11test::XTestSession::start(&failure))
            FAIL() << "cannot start the test desktop: " << failure.toStdString();
    }
    void TearDown() override { tamsinvale::x11test::XTestSession::stop(); }
};

}  // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new DesktopEnvironment);
    const int rc = RUN_ALL_TESTS();
    tamsinvale::x11test::XTestSession::stop();
    return rc;
}

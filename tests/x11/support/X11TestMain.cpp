// Test main for the X11 tests: the real desktop comes up once per program, before the first test runs.
#include <gtest/gtest.h>

#include "XTestSession.h"

namespace {

class DesktopEnvironment : public ::testing::Environment {
public:
    void SetUp() override
    {
        QString failure;
#ifdef TAMSINVALE_X11TEST_ROOT_SIZE
        // A program whose desktop needs a larger screen (monitors side by side) names it: width, height.
        const QSize rootSize(TAMSINVALE_X11TEST_ROOT_SIZE);
#else
        const QSize rootSize = tamsinvale::x11test::XTestSession::defaultSize;
#endif
        if (!tamsinvale::x11test::XTestSession::start(&failure, rootSize))
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

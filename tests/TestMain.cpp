// Test entry point: a Qt application (offscreen) so that timers, file watchers, images and widgets work in tests.
#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);  // widgets too (the inactive apps window)
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// The installed symbolic icon is the tray's "Windows" picture: rendered at the tray's size, both cover the same
// pixels, so the desktop's icon and the tray show one piece of artwork.
#include <gtest/gtest.h>

#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdlib>

#include "app/MenuBarIcon.h"

using namespace tamsinvale;

namespace {

// Mean difference of the alpha channels, 0 (same coverage) to 255.
double coverageDifference(const QImage& a, const QImage& b)
{
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row)
        for (int column = 0; column < x.width(); ++column)
            sum += std::abs(qAlpha(x.pixel(column, row)) - qAlpha(y.pixel(column, row)));
    return sum / (x.width() * x.height());
}

}  // namespace

TEST(MenuBarIcon, theInstalledSymbolicIconIsTheTraysWindowsPicture)
{
    const QString rsvg = QStandardPaths::findExecutable(QStringLiteral("rsvg-convert"));
    if (rsvg.isEmpty())
        GTEST_SKIP() << "rsvg-convert (librsvg2-bin) is not installed";
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("symbolic.png"));
    QProcess render;
    render.start(rsvg, {QStringLiteral("--width=36"), QStringLiteral("--height=36"), QStringLiteral("--output=") + png,
                        QStringLiteral(TAMSINVALE_TESTS_SOURCE_DIR "/../data/icons/org.tamsinvale.Tamsinvale-symbolic.svg")});
    ASSERT_TRUE(render.waitForFinished(30000));
    ASSERT_EQ(render.exitCode(), 0) << render.readAllStandardError().toStdString();
    const QImage symbolic(png);
    const QImage tray = MenuBarIcon::image(MenuBarIconStyle::windows, 2.0);
    ASSERT_EQ(symbolic.size(), tray.size());

    // Antialiasing differs a little between the two renderers; a shape out of place differs by far more.
    EXPECT_LT(coverageDifference(symbolic, tray), 6.0);
    EXPECT_GT(coverageDifference(symbolic, MenuBarIcon::image(MenuBarIconStyle::line, 2.0)), 40.0);
}

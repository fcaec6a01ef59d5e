// Budget: a cold scan of 2,000 synthetic application bundles (XML and binary Info.plist, read through libplist)
// takes at most 150 ms; and the same for 2,000 desktop entries.
#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "platform/linux/PlistCodec.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/BackgroundQueue.h"

using namespace tamsinvale;

namespace {

void write(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(path.section('/', 0, -2));
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(bytes);
}

// 2,000 bundles over the three roots: most at depth one, a fifth in subfolders.
void makeBundles(const QString& base, int count)
{
    const QStringList roots = {base + "/Applications", base + "/home/Applications", base + "/System/Applications"};
    for (int i = 0; i < count; ++i) {
        const QString root = roots[i % roots.size()];
        const QString folder = i % 5 == 0 ? root + QStringLiteral("/Group%1").arg(i % 17) : root;
        QVariantMap info;
        info.insert("CFBundleIdentifier", QStringLiteral("org.example.app%1").arg(i));
        info.insert("CFBundleName", QStringLiteral("Application %1").arg(i));
        info.insert("CFBundleShortVersionString", "1.0");
        info.insert("CFBundleExecutable", QStringLiteral("App%1").arg(i));
        write(folder + QStringLiteral("/App%1.app/Contents/Info.plist").arg(i), PlistCodec::toXml(info));
        QDir().mkpath(folder + QStringLiteral("/App%1.app/Contents/MacOS").arg(i));
    }
}

void makeDesktopEntries(const QString& base, int count)
{
    for (int i = 0; i < count; ++i)
        write(base + QStringLiteral("/applications/app%1.desktop").arg(i),
              QStringLiteral("[Desktop Entry]\nType=Application\nName=Application %1\nName[de]=Anwendung %1\n"
                             "Exec=/usr/bin/app%1 %U\nIcon=app%1\nCategories=Utility;\n")
                  .arg(i)
                  .toUtf8());
}

void BM_ColdBundleScan2000(benchmark::State& state)
{
    QTemporaryDir dir;
    makeBundles(dir.path(), 2000);
    DiscoveryConfiguration c = DiscoveryConfiguration::bundles(dir.path() + "/home",
                                                               [](const QByteArray& b) { return PlistCodec::parseDictionary(b); });
    c.roots = {dir.path() + "/Applications", dir.path() + "/home/Applications", dir.path() + "/System/Applications"};
    ThreadPoolBackgroundQueue queue;
    AppDiscoveryStore store(c, queue);
    qsizetype found = 0;
    for (auto _ : state) {
        const QList<DiscoveredApp> apps = store.scan();
        found = apps.size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["apps"] = double(found);
}
BENCHMARK(BM_ColdBundleScan2000)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_DesktopEntryScan2000(benchmark::State& state)
{
    QTemporaryDir dir;
    makeDesktopEntries(dir.path(), 2000);
    DiscoveryConfiguration c;
    c.roots = {dir.path() + "/applications"};
    c.localeNames = {"de"};
    ThreadPoolBackgroundQueue queue;
    AppDiscoveryStore store(c, queue);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.scan().size());
}
BENCHMARK(BM_DesktopEntryScan2000)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

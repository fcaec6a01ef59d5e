// Helpers for the switcher tests: application trees on disk, property lists, and a desktop wired for switching.
#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "platform/linux/PlistCodec.h"
#include "switcher/AppInfoReader.h"
#include "TestFiles.h"

namespace tamsinvale::test {

// Real Info.plist files kept beside these tests.
// (From the build's source directory rather than __FILE__, which a compiler cache may make relative.)
inline QString switcherTestData() { return QStringLiteral(TAMSINVALE_TESTS_SOURCE_DIR "/switcher/data"); }

inline QByteArray xmlInfoPlist(const QVariantMap& info) { return PlistCodec::toXml(info); }

// A binary property list holding a dictionary of strings, written by hand so the tests need no encoder.
inline QByteArray binaryStringPlist(const QList<std::pair<QString, QString>>& entries)
{
    QList<QByteArray> objects;
    auto asciiString = [](const QString& s) {
        QByteArray o;
        const QByteArray a = s.toLatin1();
        o.append(char(0x50 | std::min<qsizetype>(a.size(), 14)));
        if (a.size() >= 15) {
            o[0] = char(0x5f);
            o.append(char(0x10));
            o.append(char(a.size()));
        }
        o.append(a);
        return o;
    };
    const int n = int(entries.size());
    QByteArray dict;
    dict.append(char(0xd0 | n));
    for (int i = 0; i < n; ++i)
        dict.append(char(1 + i));
    for (int i = 0; i < n; ++i)
        dict.append(char(1 + n + i));
    objects.append(dict);
    for (const auto& e : entries)
        objects.append(asciiString(e.first));
    for (const auto& e : entries)
        objects.append(asciiString(e.second));
    QByteArray out("bplist00");
    QList<int> offsets;
    for (const QByteArray& o : objects) {
        offsets.append(int(out.size()));
        out.append(o);
    }
    const int tableOffset = int(out.size());
    for (int off : offsets) {
        out.append(char((off >> 8) & 0xff));
        out.append(char(off & 0xff));
    }
    QByteArray trailer(32, '\0');
    trailer[6] = 2;  // offset size
    trailer[7] = 1;  // object reference size
    trailer[15] = char(objects.size());
    trailer[31] = char(tableOffset & 0xff);
    trailer[30] = char((tableOffset >> 8) & 0xff);
    out.append(trailer);
    return out;
}

inline void makeBundle(const QString& path, const QVariantMap& info)
{
    QDir().mkpath(path + QStringLiteral("/Contents/MacOS"));
    if (!info.isEmpty())
        writeFile(path + QStringLiteral("/Contents/Info.plist"), xmlInfoPlist(info));
}

inline QVariantMap bundleInfo(const QString& identifier, const QString& name)
{
    QVariantMap m;
    if (!identifier.isEmpty())
        m.insert(QStringLiteral("CFBundleIdentifier"), identifier);
    if (!name.isEmpty())
        m.insert(QStringLiteral("CFBundleName"), name);
    return m;
}

inline QByteArray desktopEntry(const QString& name, const QString& extra = QString())
{
    return (QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=/bin/true\n").arg(name) + extra).toUtf8();
}

}  // namespace tamsinvale::test

#include "platform/fake/FakeDesktop.h"
#include "switcher/AppDiscoveryStore.h"
#include "switcher/BackgroundQueue.h"
#include "switcher/ShortcutStore.h"

namespace tamsinvale::test {

// A simulated desktop with installed applications (desktop entries in a temporary directory), the discovery
// store over them and a shortcut store over the desktop's defaults.
struct SwitcherRig {
    struct Installed {
        QString id;
        QString name;
    };

    explicit SwitcherRig(std::initializer_list<Installed> installed = {})
    {
        for (const Installed& app : installed)
            writeFile(applications() + "/" + app.id + ".desktop", desktopEntry(app.name));
        rescan();
    }

    QString applications() const { return dir.path() + "/applications"; }
    void rescan()
    {
        discovery.refreshInBackground();
        desktop.scheduler.runPending();
    }
    const DiscoveredApp& app(const QString& id) const
    {
        for (const DiscoveredApp& a : discovery.apps()) {
            if (a.id == id)
                return a;
        }
        throw std::runtime_error("no such app");
    }
    std::unique_ptr<ShortcutStore> reloadedStore() { return std::make_unique<ShortcutStore>(desktop.platform()); }

    QTemporaryDir dir;
    FakeDesktop desktop;
    InlineBackgroundQueue queue{desktop.scheduler};
    AppDiscoveryStore discovery{[this] {
        DiscoveryConfiguration c;
        c.layout = DiscoveryConfiguration::Layout::desktopEntries;
        c.roots = {applications()};
        return c;
    }(), queue};
    ShortcutStore store{desktop.platform()};
};

}  // namespace tamsinvale::test

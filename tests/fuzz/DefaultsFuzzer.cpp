// libFuzzer target: the defaults file (an XML or binary property list) read through the defaults domain, every
// value read back, then written and read again by a second domain: what was loaded must survive the round trip.
#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>

#include "PlistComparison.h"
#include "platform/linux/PlistCodec.h"
#include "platform/linux/PlistDefaultsDomain.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The domain watches its file for outside edits, which needs an application object.
    static int argc = 1;
    static char name[] = "tamsinvale_defaults_fuzzer";
    static char* argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    static QTemporaryDir root;
    // An unreadable file is moved aside and logged: both are expected here, at every other input.
    static const bool quiet = (qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {}), true);
    (void)quiet;
    const QString path = root.path() + QStringLiteral("/defaults.plist");
    QDir dir(root.path());
    for (const QString& name : dir.entryList(QDir::Files))
        dir.remove(name);
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return 0;
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    QVariantMap loaded;
    {
        PlistDefaultsDomain domain(path);
        for (const QString& key : domain.keys())
            if (const auto value = domain.value(key))
                loaded.insert(key, *value);
        // A write goes out atomically and carries everything that was loaded.
        domain.setValue(QStringLiteral("tamsinvale.fuzz"), 1);
    }
    // Written as XML where it can be, whose dates are whole seconds.
    const bool wholeSeconds = PlistCodec::xmlCanHold(QVariant(loaded));
    PlistDefaultsDomain again(path);
    for (auto it = loaded.cbegin(); it != loaded.cend(); ++it) {
        const auto value = again.value(it.key());
        // As the file carries it: the binary input may hold what XML keeps in another form (see PlistComparison.h).
        if (!value || fuzz::asFileCarries(*value, wholeSeconds) != fuzz::asFileCarries(it.value(), wholeSeconds))
            __builtin_trap();
    }
    return 0;
}

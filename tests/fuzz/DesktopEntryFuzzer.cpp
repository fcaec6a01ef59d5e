// libFuzzer target: a desktop entry file and its Exec line, read as the switcher and the launcher read them.
#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

#include "platform/x11/DesktopEntryExec.h"
#include "switcher/DesktopEntryFile.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const DesktopEntryFile entry = DesktopEntryFile::parse(bytes);
    (void)entry.localizedName({QStringLiteral("de_DE"), QStringLiteral("de")});
    (void)entry.list(QStringLiteral("Categories"));
    (void)entry.boolean(QStringLiteral("NoDisplay"));

    DesktopEntryExec::Context context;
    context.files = {QStringLiteral("/tmp/a file.txt"), QStringLiteral("/tmp/b")};
    context.icon = entry.value(QStringLiteral("Icon"));
    context.name = entry.value(QStringLiteral("Name"));
    context.entryPath = QStringLiteral("/usr/share/applications/x.desktop");
    // The entry's own Exec, and the whole input as one, unescaped as a value first.
    for (const QString& exec : {entry.value(QStringLiteral("Exec")), QString::fromUtf8(bytes)}) {
        const DesktopEntryExec::Result result = DesktopEntryExec::expand(DesktopEntryExec::unescapeValue(exec), context);
        // A runnable line has a program; a refused one says why and runs nothing.
        if (result.ok() && result.arguments.first().isEmpty())
            __builtin_trap();
        if (!result.error.isEmpty() && result.ok())
            __builtin_trap();
    }
    return 0;
}

// libFuzzer target: the bytes of a defaults file as the defaults domain turns them into settings and back, without
// the file: read (XML or binary), written as the domain writes it, read again. What was read must come back as the
// file carries it. The file round trip itself (watch, atomic write, moving an unreadable file aside) is the defaults
// target's, which is much slower per input.
#include <QByteArray>
#include <QDebug>
#include <cstddef>
#include <cstdint>

#include "PlistComparison.h"
#include "platform/linux/PlistCodec.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto read = PlistCodec::parseDictionary(bytes);
    if (!read)
        return 0;
    const std::optional<QVariantMap> loaded = fuzz::asFileCarries(*read, PlistCodec::xmlCanHold(*read)).toMap();
    const QByteArray written = PlistCodec::forFile(*loaded);
    const auto again = PlistCodec::parseDictionary(written);
    if (!again || fuzz::asFileCarries(*again, false) != fuzz::asFileCarries(*loaded, false)) {
        // Run on one input with TAMSINVALE_FUZZ_EXPLAIN set: which value did not come back.
        if (qEnvironmentVariableIsSet("TAMSINVALE_FUZZ_EXPLAIN")) {
            for (auto it = loaded->cbegin(); it != loaded->cend(); ++it)
                if (!again || again->value(it.key()) != it.value())
                    qWarning() << it.key() << it.value() << "came back as" << (again ? again->value(it.key()) : QVariant());
        }
        __builtin_trap();
    }
    // Writing is stable: what was written once is written the same way again.
    if (PlistCodec::forFile(*again) != written)
        __builtin_trap();
    return 0;
}

// Core Foundation property-list values to the QVariant forms the portable conversions read.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <QString>
#include <QVariant>

namespace tamsinvale::MacCFValues {

// CFBoolean -> bool; CFNumber -> double when it holds a real, else qint64 (invalid when it does not fit);
// CFString -> QString; anything else (or null) -> invalid.
QVariant scalar(CFTypeRef value);
// The text of a CFString; empty for anything else.
QString string(CFTypeRef value);

}  // namespace tamsinvale::MacCFValues

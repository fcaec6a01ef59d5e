// Scalar Core Foundation values as QVariants, with the type checks CFGetTypeID allows.
#include "MacCFValues.h"

namespace tamsinvale::MacCFValues {

QVariant scalar(CFTypeRef value)
{
    if (!value)
        return {};
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFBooleanGetTypeID())
        return bool(CFBooleanGetValue(static_cast<CFBooleanRef>(value)));
    if (type == CFNumberGetTypeID()) {
        const auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double d = 0;
            if (CFNumberGetValue(number, kCFNumberDoubleType, &d))
                return d;
            return {};
        }
        SInt64 n = 0;
        // CFNumberGetValue answers false when the conversion is lossy (an unsigned value beyond 2^63).
        if (CFNumberGetValue(number, kCFNumberSInt64Type, &n))
            return qint64(n);
        return {};
    }
    if (type == CFStringGetTypeID())
        return QString::fromCFString(static_cast<CFStringRef>(value));
    return {};
}

QString string(CFTypeRef value)
{
    if (!value || CFGetTypeID(value) != CFStringGetTypeID())
        return {};
    return QString::fromCFString(static_cast<CFStringRef>(value));
}

}  // namespace tamsinvale::MacCFValues

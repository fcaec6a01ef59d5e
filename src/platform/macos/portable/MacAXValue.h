// Accessibility attribute values between the system's Core Foundation forms and the interface's QVariants.
// The Objective-C++ backend only reads a value into this plain tree (elements already numbered) or writes one from
// it; which QVariant a value becomes, and which QVariants can be written at all, is decided here.
#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QVariant>
#include <optional>

#include "platform/Accessibility.h"

namespace tamsinvale {

struct MacAXValue {
    enum class Kind { none, string, url, boolean, integer, real, point, size, rect, element, array, other };
    Kind kind = Kind::none;
    QString text;             // string, url (its absolute text, percent escapes kept)
    bool boolean = false;
    qint64 integer = 0;
    double real = 0;
    QPointF point;            // accessibility coordinates: top-left of the primary display, y down
    QSizeF size;
    QRectF rect;
    AXElement element;
    QList<MacAXValue> items;  // array
};

// What copyAttribute answers: QString, bool, qint64, double, QPointF, QSizeF, QRectF, AXElement; an array of
// elements (or an empty array) as QList<AXElement>, of strings as QStringList, of anything else as a QVariantList.
// None and kinds the interface does not carry are an invalid QVariant.
QVariant axAttributeVariant(const MacAXValue& value);

// What setAttribute can write: points, sizes, flags, text and elements. Anything else is no value (an illegal
// argument to the caller).
std::optional<MacAXValue> axWritableValue(const QVariant& value);

}  // namespace tamsinvale

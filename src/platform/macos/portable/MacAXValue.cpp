// Attribute values to QVariants and back, with arrays typed by what they hold.
#include "MacAXValue.h"

#include <QStringList>

namespace tamsinvale {

QVariant axAttributeVariant(const MacAXValue& value)
{
    using Kind = MacAXValue::Kind;
    switch (value.kind) {
    case Kind::string:
    case Kind::url:
        return value.text;
    case Kind::boolean:
        return value.boolean;
    case Kind::integer:
        return value.integer;
    case Kind::real:
        return value.real;
    case Kind::point:
        return value.point;
    case Kind::size:
        return value.size;
    case Kind::rect:
        return value.rect;
    case Kind::element:
        return QVariant::fromValue(value.element);
    case Kind::array: {
        bool allElements = true, allStrings = true;
        for (const MacAXValue& item : value.items) {
            allElements = allElements && item.kind == Kind::element;
            allStrings = allStrings && item.kind == Kind::string;
        }
        // An empty array is an empty list of elements: the windows of an application that has none.
        if (allElements) {
            QList<AXElement> elements;
            elements.reserve(value.items.size());
            for (const MacAXValue& item : value.items)
                elements.append(item.element);
            return QVariant::fromValue(elements);
        }
        if (allStrings) {
            QStringList strings;
            strings.reserve(value.items.size());
            for (const MacAXValue& item : value.items)
                strings.append(item.text);
            return strings;
        }
        QVariantList mixed;
        mixed.reserve(value.items.size());
        for (const MacAXValue& item : value.items)
            mixed.append(axAttributeVariant(item));
        return mixed;
    }
    case Kind::none:
    case Kind::other:
        break;
    }
    return {};
}

std::optional<MacAXValue> axWritableValue(const QVariant& value)
{
    MacAXValue out;
    switch (value.typeId()) {
    case QMetaType::QPointF:
    case QMetaType::QPoint:
        out.kind = MacAXValue::Kind::point;
        out.point = value.toPointF();
        return out;
    case QMetaType::QSizeF:
    case QMetaType::QSize:
        out.kind = MacAXValue::Kind::size;
        out.size = value.toSizeF();
        return out;
    case QMetaType::Bool:
        out.kind = MacAXValue::Kind::boolean;
        out.boolean = value.toBool();
        return out;
    case QMetaType::QString:
        out.kind = MacAXValue::Kind::string;
        out.text = value.toString();
        return out;
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<AXElement>()) {
        out.kind = MacAXValue::Kind::element;
        out.element = value.value<AXElement>();
        return out;
    }
    return std::nullopt;
}

}  // namespace tamsinvale

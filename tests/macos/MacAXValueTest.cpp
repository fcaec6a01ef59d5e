// Accessibility attribute values as the interface hands them out and takes them in: each kind to its QVariant,
// arrays typed by their contents, and only the writable kinds accepted for writing.
#include <gtest/gtest.h>

#include "platform/macos/portable/MacAXValue.h"

#include <QStringList>

using namespace tamsinvale;

namespace {

using Kind = MacAXValue::Kind;

MacAXValue element(std::int32_t pid, std::uint64_t ref)
{
    MacAXValue v;
    v.kind = Kind::element;
    v.element = AXElement{pid, ref};
    return v;
}

MacAXValue text(const QString& s, Kind kind = Kind::string)
{
    MacAXValue v;
    v.kind = kind;
    v.text = s;
    return v;
}

MacAXValue array(QList<MacAXValue> items)
{
    MacAXValue v;
    v.kind = Kind::array;
    v.items = std::move(items);
    return v;
}

}  // namespace

TEST(MacAXValue, scalarsKeepTheirOwnTypes)
{
    MacAXValue flag;
    flag.kind = Kind::boolean;
    flag.boolean = true;
    EXPECT_EQ(axAttributeVariant(flag).metaType(), QMetaType::fromType<bool>());
    EXPECT_TRUE(axAttributeVariant(flag).toBool());

    MacAXValue position;
    position.kind = Kind::point;
    position.point = QPointF(12, 38);
    EXPECT_EQ(axAttributeVariant(position).metaType(), QMetaType::fromType<QPointF>());
    EXPECT_EQ(axAttributeVariant(position).toPointF(), QPointF(12, 38));

    MacAXValue size;
    size.kind = Kind::size;
    size.size = QSizeF(1512, 944);
    EXPECT_EQ(axAttributeVariant(size).metaType(), QMetaType::fromType<QSizeF>());
    EXPECT_EQ(axAttributeVariant(size).toSizeF(), QSizeF(1512, 944));

    MacAXValue number;
    number.kind = Kind::integer;
    number.integer = 3;
    EXPECT_EQ(axAttributeVariant(number).metaType(), QMetaType::fromType<qint64>());
    number.kind = Kind::real;
    number.real = 0.5;
    EXPECT_EQ(axAttributeVariant(number).metaType(), QMetaType::fromType<double>());
    EXPECT_EQ(axAttributeVariant(number).toDouble(), 0.5);

    EXPECT_EQ(axAttributeVariant(text(QStringLiteral("report.txt — Editor"))), QStringLiteral("report.txt — Editor"));
    // A document URL reads as its text, percent escapes kept.
    const QVariant document = axAttributeVariant(text(QStringLiteral("file:///Users/x/My%20File.txt"), Kind::url));
    EXPECT_EQ(document.metaType(), QMetaType::fromType<QString>());
    EXPECT_EQ(document.toString(), QStringLiteral("file:///Users/x/My%20File.txt"));

    const QVariant window = axAttributeVariant(element(812, 7));
    ASSERT_EQ(window.metaType(), QMetaType::fromType<AXElement>());
    EXPECT_EQ(window.value<AXElement>(), (AXElement{812, 7}));
}

TEST(MacAXValue, nothingAndUnknownKindsAreNoValue)
{
    EXPECT_FALSE(axAttributeVariant(MacAXValue{}).isValid());
    MacAXValue other;
    other.kind = Kind::other;
    EXPECT_FALSE(axAttributeVariant(other).isValid());
}

TEST(MacAXValue, arraysAreTypedByWhatTheyHold)
{
    const QVariant windows = axAttributeVariant(array({element(812, 1), element(812, 2)}));
    ASSERT_EQ(windows.metaType(), QMetaType::fromType<QList<AXElement>>());
    EXPECT_EQ(windows.value<QList<AXElement>>(), (QList<AXElement>{{812, 1}, {812, 2}}));

    // No windows at all is still a list of windows, so that the caller does not fall back to searching.
    const QVariant none = axAttributeVariant(array({}));
    ASSERT_EQ(none.metaType(), QMetaType::fromType<QList<AXElement>>());
    EXPECT_TRUE(none.value<QList<AXElement>>().isEmpty());

    const QVariant names = axAttributeVariant(array({text("AXRole"), text("AXTitle")}));
    ASSERT_EQ(names.metaType(), QMetaType::fromType<QStringList>());
    EXPECT_EQ(names.toStringList(), (QStringList{"AXRole", "AXTitle"}));

    // Mixed contents are neither: a plain list, each item converted on its own.
    const QVariant mixed = axAttributeVariant(array({element(812, 1), text("AXTitle")}));
    ASSERT_EQ(mixed.metaType(), QMetaType::fromType<QVariantList>());
    const QVariantList items = mixed.toList();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0].value<AXElement>(), (AXElement{812, 1}));
    EXPECT_EQ(items[1].toString(), QStringLiteral("AXTitle"));
}

TEST(MacAXValue, onlyPointsSizesFlagsTextAndElementsCanBeWritten)
{
    const auto point = axWritableValue(QPointF(10.5, 38));
    ASSERT_TRUE(point);
    EXPECT_EQ(point->kind, Kind::point);
    EXPECT_EQ(point->point, QPointF(10.5, 38));
    const auto intPoint = axWritableValue(QPoint(3, 4));
    ASSERT_TRUE(intPoint);
    EXPECT_EQ(intPoint->kind, Kind::point);
    EXPECT_EQ(intPoint->point, QPointF(3, 4));

    const auto size = axWritableValue(QSizeF(800, 600));
    ASSERT_TRUE(size);
    EXPECT_EQ(size->kind, Kind::size);
    EXPECT_EQ(size->size, QSizeF(800, 600));
    const auto intSize = axWritableValue(QSize(7, 9));
    ASSERT_TRUE(intSize);
    EXPECT_EQ(intSize->kind, Kind::size);
    EXPECT_EQ(intSize->size, QSizeF(7, 9));

    for (const bool b : {true, false}) {
        const auto flag = axWritableValue(b);
        ASSERT_TRUE(flag);
        EXPECT_EQ(flag->kind, Kind::boolean);
        EXPECT_EQ(flag->boolean, b);
    }

    const auto title = axWritableValue(QStringLiteral("x"));
    ASSERT_TRUE(title);
    EXPECT_EQ(title->kind, Kind::string);
    EXPECT_EQ(title->text, QStringLiteral("x"));

    const auto window = axWritableValue(QVariant::fromValue(AXElement{812, 5}));
    ASSERT_TRUE(window);
    EXPECT_EQ(window->kind, Kind::element);
    EXPECT_EQ(window->element, (AXElement{812, 5}));

    // A number is not a flag, and rectangles, lists and nothing have no system form here.
    for (const QVariant& bad : {QVariant(1), QVariant(1.0), QVariant(QRectF(0, 0, 1, 1)), QVariant(QStringList{"a"}),
                                QVariant()})
        EXPECT_FALSE(axWritableValue(bad).has_value()) << bad.typeName();
}

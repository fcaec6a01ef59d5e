// NSUserDefaults as our defaults domain. Foundation's property-list objects become the portable values (bool,
// qint64, double, QString, QByteArray, QDateTime, QVariantList, QVariantMap) by the rules of MacDefaultsValue: a
// CFBoolean is a bool, a floating-point CFNumber a double, any other number an integer; dates count from the
// 2001 reference date.
#include "MacDefaultsDomain.h"

#import <Foundation/Foundation.h>

#include <QPointer>
#include <utility>

#include "platform/Logging.h"
#include "platform/macos/portable/MacDefaultsValue.h"

namespace tamsinvale {

namespace V = MacDefaultsValue;

struct MacDefaultsDomain::Native {
    NSUserDefaults* defaults = nil;
    NSString* domainName = nil;  // the bundle identifier; nil when run outside a bundle
    id observer = nil;
    NSDictionary* lastSeen = nil;

    NSDictionary* persistentDomain() const
    {
        if (!domainName)
            return nil;
        return [defaults persistentDomainForName:domainName] ?: @{};
    }
};

namespace {

std::optional<QVariant> toPortable(id object)
{
    if (!object)
        return std::nullopt;
    if ([object isKindOfClass:NSNumber.class]) {
        const CFTypeRef cf = (__bridge CFTypeRef)object;
        const bool isBoolean = CFGetTypeID(cf) == CFBooleanGetTypeID();
        const bool isFloat = !isBoolean && CFNumberIsFloatType(static_cast<CFNumberRef>(cf));
        NSNumber* number = object;
        return V::portableNumber(V::numberKind(isBoolean, isFloat), number.longLongValue, number.doubleValue);
    }
    if ([object isKindOfClass:NSString.class])
        return QVariant(QString::fromNSString(object));
    if ([object isKindOfClass:NSData.class])
        return QVariant(QByteArray::fromNSData(object));
    if ([object isKindOfClass:NSDate.class])
        return QVariant(V::dateFromReferenceSeconds([(NSDate*)object timeIntervalSinceReferenceDate]));
    if ([object isKindOfClass:NSArray.class]) {
        QVariantList list;
        for (id item in (NSArray*)object) {
            std::optional<QVariant> converted = toPortable(item);
            if (!converted)
                return std::nullopt;
            list.append(*converted);
        }
        return QVariant(list);
    }
    if ([object isKindOfClass:NSDictionary.class]) {
        QVariantMap map;
        NSDictionary* dictionary = object;
        for (id key in dictionary) {
            if (![key isKindOfClass:NSString.class])
                return std::nullopt;
            std::optional<QVariant> converted = toPortable(dictionary[key]);
            if (!converted)
                return std::nullopt;
            map.insert(QString::fromNSString(key), *converted);
        }
        return QVariant(map);
    }
    return std::nullopt;  // not a property-list object
}

// Only for values that passed V::isWritable.
id toNative(const QVariant& value)
{
    switch (V::kindOf(value)) {
    case V::Kind::boolean:
        return [NSNumber numberWithBool:value.toBool()];
    case V::Kind::integer:
        return [NSNumber numberWithLongLong:V::integerOf(value)];
    case V::Kind::real:
        return [NSNumber numberWithDouble:value.toDouble()];
    case V::Kind::string:
        return value.toString().toNSString();
    case V::Kind::data:
        return value.toByteArray().toNSData();
    case V::Kind::date:
        return [NSDate dateWithTimeIntervalSinceReferenceDate:V::referenceSecondsFromDate(value.toDateTime())];
    case V::Kind::array: {
        NSMutableArray* array = [NSMutableArray array];
        for (const QVariant& item : value.toList())
            [array addObject:toNative(item)];
        return array;
    }
    case V::Kind::dictionary: {
        NSMutableDictionary* dictionary = [NSMutableDictionary dictionary];
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            dictionary[it.key().toNSString()] = toNative(it.value());
        return dictionary;
    }
    case V::Kind::unsupported:
        break;
    }
    return nil;
}

bool sameValue(const std::optional<QVariant>& stored, const QVariant& value)
{
    // Compared as portable values: NSNumber would call @YES equal to @1 and hide a change of type.
    return stored && stored->metaType() == value.metaType() && *stored == value;
}

}  // namespace

MacDefaultsDomain::MacDefaultsDomain(QObject* parent) : DefaultsDomain(parent), m_native(std::make_unique<Native>())
{
    m_native->defaults = NSUserDefaults.standardUserDefaults;
    m_native->domainName = NSBundle.mainBundle.bundleIdentifier;
    m_native->lastSeen = m_native->persistentDomain();
    // Posted on the thread that made the change, which for us is the main thread.
    QPointer<MacDefaultsDomain> guard(this);
    m_native->observer =
        [NSNotificationCenter.defaultCenter addObserverForName:NSUserDefaultsDidChangeNotification
                                                        object:m_native->defaults
                                                         queue:nil
                                                    usingBlock:^(NSNotification* note) {
                                                        (void)note;
                                                        if (guard)
                                                            guard->changedHere();
                                                    }];
    if (m_native->domainName) {
        m_poll.setInterval(outsideChangePollMs);
        connect(&m_poll, &QTimer::timeout, this, &MacDefaultsDomain::pollOutsideChanges);
        m_poll.start();
    } else {
        qCInfo(lcApp, "defaults: no bundle identifier; changes made by other processes are not noticed");
    }
}

MacDefaultsDomain::~MacDefaultsDomain()
{
    if (m_native->observer)
        [NSNotificationCenter.defaultCenter removeObserver:m_native->observer];
}

std::optional<QVariant> MacDefaultsDomain::value(const QString& key) const
{
    return toPortable([m_native->defaults objectForKey:key.toNSString()]);
}

bool MacDefaultsDomain::store(const QString& key, const QVariant& value)
{
    if (!V::isWritable(value)) {
        qCWarning(lcApp, "defaults: not storing \"%s\": a %s cannot be stored in the defaults domain",
                  qUtf8Printable(key), value.metaType().name() ? value.metaType().name() : "value without type");
        return false;
    }
    id native = toNative(value);
    // Compared in stored form: an int and a qint64 of the same number are the same stored integer.
    const std::optional<QVariant> asStored = toPortable(native);
    if (asStored && sameValue(this->value(key), *asStored))
        return false;
    [m_native->defaults setObject:native forKey:key.toNSString()];
    return true;
}

void MacDefaultsDomain::setValue(const QString& key, const QVariant& value)
{
    ++m_batchDepth;
    store(key, value);
    --m_batchDepth;
    if (m_batchDepth == 0 && std::exchange(m_changedInBatch, false))
        emit changed();
}

void MacDefaultsDomain::setValues(const QVariantMap& values)
{
    // Observers hear once, after every value is in place.
    ++m_batchDepth;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        store(it.key(), it.value());
    --m_batchDepth;
    if (m_batchDepth == 0 && std::exchange(m_changedInBatch, false))
        emit changed();
}

void MacDefaultsDomain::removeValue(const QString& key)
{
    ++m_batchDepth;
    if ([m_native->defaults objectForKey:key.toNSString()])
        [m_native->defaults removeObjectForKey:key.toNSString()];
    --m_batchDepth;
    if (m_batchDepth == 0 && std::exchange(m_changedInBatch, false))
        emit changed();
}

QStringList MacDefaultsDomain::keys() const
{
    NSDictionary* domain = m_native->persistentDomain();
    if (!domain)
        domain = m_native->defaults.dictionaryRepresentation;
    QStringList out;
    for (id key in domain)
        if ([key isKindOfClass:NSString.class])
            out.append(QString::fromNSString(key));
    out.sort();
    return out;
}

bool MacDefaultsDomain::synchronize() { return [m_native->defaults synchronize]; }

void MacDefaultsDomain::changedHere()
{
    // Our own change is no outside change for the poll.
    m_native->lastSeen = m_native->persistentDomain();
    if (m_batchDepth > 0) {
        m_changedInBatch = true;
        return;
    }
    emit changed();
}

void MacDefaultsDomain::pollOutsideChanges()
{
    NSDictionary* now = m_native->persistentDomain();
    if (!now || [now isEqualToDictionary:m_native->lastSeen ?: @{}])
        return;
    m_native->lastSeen = now;
    emit changed();
}

}  // namespace tamsinvale

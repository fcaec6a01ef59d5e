// NSScreen read into ScreenInfo records; the conversions and their edge cases live in portable/MacScreenRecord.
#include "MacScreens.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>

#include <QPointer>

#include "MacCFRef.h"
#include "MacCFValues.h"
#include "portable/MacScreenRecord.h"

namespace tamsinvale {

namespace {

// The display's UUID as text (upper-case 8-4-4-4-12), the key of per-screen wallpapers; empty when it has none.
QString displayUuid(DisplayId displayId)
{
    if (displayId == 0)
        return {};
    const auto uuid = MacCFRef<CFUUIDRef>::adopt(CGDisplayCreateUUIDFromDisplayID(displayId));
    if (!uuid)
        return {};
    const auto text = MacCFRef<CFStringRef>::adopt(CFUUIDCreateString(kCFAllocatorDefault, uuid.get()));
    return text ? QString::fromCFString(text.get()) : QString();
}

ScreenInfo infoFor(NSScreen* screen)
{
    MacScreenRecord record;
    id number = screen.deviceDescription[@"NSScreenNumber"];
    if ([number isKindOfClass:[NSNumber class]])
        record.screenNumber = MacCFValues::scalar((__bridge CFTypeRef)number);
    record.frame = QRectF::fromCGRect(NSRectToCGRect(screen.frame));
    record.visibleFrame = QRectF::fromCGRect(NSRectToCGRect(screen.visibleFrame));
    record.backingScaleFactor = screen.backingScaleFactor;
    record.localizedName = QString::fromNSString(screen.localizedName);
    record.uuid = displayUuid(displayIdFromScreenNumber(record.screenNumber));
    record.safeAreaTop = screen.safeAreaInsets.top;
    return screenInfoFromRecord(record);
}

}  // namespace

struct MacScreens::Observer {
    id token = nil;
};

MacScreens::MacScreens(QObject* parent) : Screens(parent), m_observer(std::make_unique<Observer>())
{
    // Every notification is passed on: the logic compares display sets itself and refreshes even when they match.
    QPointer<MacScreens> weakThis(this);
    m_observer->token = [[NSNotificationCenter defaultCenter]
        addObserverForName:NSApplicationDidChangeScreenParametersNotification
                    object:nil
                     queue:[NSOperationQueue mainQueue]
                usingBlock:^(NSNotification*) {
                    if (weakThis)
                        emit weakThis->screensChanged();
                }];
}

MacScreens::~MacScreens()
{
    if (m_observer->token)
        [[NSNotificationCenter defaultCenter] removeObserver:m_observer->token];
}

QList<ScreenInfo> MacScreens::screens() const
{
    QList<ScreenInfo> out;
    @autoreleasepool {
        for (NSScreen* screen in [NSScreen screens])
            out.append(infoFor(screen));
    }
    return out;
}

std::optional<ScreenInfo> MacScreens::mainScreen() const
{
    @autoreleasepool {
        if (NSScreen* main = [NSScreen mainScreen])
            return infoFor(main);
        NSArray<NSScreen*>* all = [NSScreen screens];
        if (all.count > 0)
            return infoFor(all.firstObject);
    }
    return std::nullopt;
}

}  // namespace tamsinvale

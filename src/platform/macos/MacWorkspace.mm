// NSWorkspace and NSRunningApplication behind the Workspace interface; one RunningApp per NSRunningApplication.
#include "MacWorkspace.h"

#import <AppKit/AppKit.h>

#include <QPointer>
#include <unistd.h>

#include "MacCFRef.h"
#include "portable/MacRunningAppRecord.h"

// The raw policy values portable/MacRunningAppRecord reads are NSApplicationActivationPolicy's.
static_assert(NSApplicationActivationPolicyRegular == 0);
static_assert(NSApplicationActivationPolicyAccessory == 1);
static_assert(NSApplicationActivationPolicyProhibited == 2);
// The values the focus dimmer and activation are written against: left-mouse-down mask 2, all-windows option 1.
static_assert(NSEventMaskLeftMouseDown == 2);
static_assert(NSApplicationActivateAllWindows == 1);

namespace tamsinvale {

namespace {

RunningApp appFrom(NSRunningApplication* app)
{
    MacRunningAppRecord record;
    record.processIdentifier = app.processIdentifier;
    if (NSString* identifier = app.bundleIdentifier)
        record.bundleIdentifier = QString::fromNSString(identifier);
    record.localizedName = QString::fromNSString(app.localizedName);  // empty for nil
    record.activationPolicy = static_cast<long long>(app.activationPolicy);
    if (NSDate* launched = app.launchDate)
        record.launchDate = QDateTime::fromNSDate(launched);
    if (NSURL* bundle = app.bundleURL)
        record.bundlePath = QString::fromNSString(bundle.path);
    record.terminated = app.terminated;
    record.finishedLaunching = app.finishedLaunching;
    return runningAppFromRecord(record);
}

NSRunningApplication* applicationWithPid(std::int32_t pid)
{
    return pid > 0 ? [NSRunningApplication runningApplicationWithProcessIdentifier:pid] : nil;
}

}  // namespace

struct MacWorkspace::Observers {
    NSMutableArray* workspaceTokens = [NSMutableArray array];  // on NSWorkspace's own notification centre
    id mouseMonitor = nil;
};

MacWorkspace::MacWorkspace(QObject* parent) : Workspace(parent), m_observers(std::make_unique<Observers>())
{
    QPointer<MacWorkspace> weakThis(this);
    NSNotificationCenter* center = [NSWorkspace sharedWorkspace].notificationCenter;
    auto observe = [&](NSNotificationName name, void (^block)(NSNotification*)) {
        [m_observers->workspaceTokens addObject:[center addObserverForName:name
                                                                    object:nil
                                                                     queue:[NSOperationQueue mainQueue]
                                                                usingBlock:block]];
    };
    observe(NSWorkspaceDidActivateApplicationNotification, ^(NSNotification* n) {
        NSRunningApplication* app = n.userInfo[NSWorkspaceApplicationKey];
        if (weakThis && [app isKindOfClass:[NSRunningApplication class]])
            emit weakThis->applicationActivated(appFrom(app));
    });
    // Not posted for background applications nor for those marked LSUIElement (the system's own rule).
    observe(NSWorkspaceDidTerminateApplicationNotification, ^(NSNotification* n) {
        NSRunningApplication* app = n.userInfo[NSWorkspaceApplicationKey];
        if (weakThis && [app isKindOfClass:[NSRunningApplication class]])
            emit weakThis->applicationTerminated(app.processIdentifier);
    });
    observe(NSWorkspaceActiveSpaceDidChangeNotification, ^(NSNotification*) {
        if (weakThis)
            emit weakThis->activeSpaceChanged();
    });
    observe(NSWorkspaceScreensDidWakeNotification, ^(NSNotification*) {
        if (weakThis)
            emit weakThis->screensDidWake();
    });
    // Copies of clicks posted to other applications; ours arrive through our own windows. Handlers run on the main thread.
    m_observers->mouseMonitor = [NSEvent addGlobalMonitorForEventsMatchingMask:NSEventMaskLeftMouseDown
                                                                       handler:^(NSEvent*) {
                                                                           if (weakThis)
                                                                               emit weakThis->leftMouseDown();
                                                                       }];
}

MacWorkspace::~MacWorkspace()
{
    NSNotificationCenter* center = [NSWorkspace sharedWorkspace].notificationCenter;
    for (id token in m_observers->workspaceTokens)
        [center removeObserver:token];
    if (m_observers->mouseMonitor)
        [NSEvent removeMonitor:m_observers->mouseMonitor];
}

std::optional<RunningApp> MacWorkspace::frontmostApplication() const
{
    @autoreleasepool {
        if (NSRunningApplication* app = [NSWorkspace sharedWorkspace].frontmostApplication)
            return appFrom(app);
    }
    return std::nullopt;
}

QList<RunningApp> MacWorkspace::runningApplications() const
{
    QList<RunningApp> out;
    @autoreleasepool {
        for (NSRunningApplication* app in [NSWorkspace sharedWorkspace].runningApplications)
            out.append(appFrom(app));
    }
    return out;
}

std::optional<RunningApp> MacWorkspace::runningApplication(std::int32_t pid) const
{
    @autoreleasepool {
        if (NSRunningApplication* app = applicationWithPid(pid))
            return appFrom(app);
    }
    return std::nullopt;
}

bool MacWorkspace::activate(std::int32_t pid, bool allWindows)
{
    @autoreleasepool {
        NSRunningApplication* app = applicationWithPid(pid);
        if (!app)
            return false;
        return [app activateWithOptions:allWindows ? NSApplicationActivateAllWindows : NSApplicationActivationOptions(0)];
    }
}

bool MacWorkspace::requestQuit(std::int32_t pid)
{
    if (pid == ownPid())
        return false;
    @autoreleasepool {
        NSRunningApplication* app = applicationWithPid(pid);
        return app && !app.terminated && [app terminate];
    }
}

std::int32_t MacWorkspace::ownPid() const { return static_cast<std::int32_t>(::getpid()); }

std::optional<QString> MacWorkspace::ownBundleIdentifier() const
{
    @autoreleasepool {
        if (NSString* identifier = [NSBundle mainBundle].bundleIdentifier)
            return QString::fromNSString(identifier);
    }
    return std::nullopt;
}

std::optional<QString> MacWorkspace::urlForApplication(const QString& bundleIdentifier) const
{
    @autoreleasepool {
        NSURL* url = [[NSWorkspace sharedWorkspace] URLForApplicationWithBundleIdentifier:bundleIdentifier.toNSString()];
        if (url && url.fileURL)
            return QString::fromNSString(url.path);
    }
    return std::nullopt;
}

void MacWorkspace::openApplication(const QString& path, bool activates, std::function<void(OpenResult)> done)
{
    auto finish = std::make_shared<std::function<void(OpenResult)>>(std::move(done));
    QPointer<MacWorkspace> weakThis(this);
    @autoreleasepool {
        NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
        configuration.activates = activates;
        [[NSWorkspace sharedWorkspace]
            openApplicationAtURL:[NSURL fileURLWithPath:path.toNSString()]
                   configuration:configuration
               completionHandler:^(NSRunningApplication* app, NSError* error) {
                   OpenResult result;
                   result.ok = app != nil && error == nil;
                   if (!result.ok)
                       result.error = error ? QString::fromNSString(error.localizedDescription)
                                            : QStringLiteral("the application did not start");
                   // AppKit calls this on a concurrent queue; the caller expects the main queue.
                   dispatch_async(dispatch_get_main_queue(), ^{
                       if (weakThis && *finish)
                           (*finish)(result);
                   });
               }];
    }
}

QImage MacWorkspace::iconForFile(const QString& path, int pointSize) const
{
    if (pointSize <= 0)
        return {};
    QImage image(pointSize, pointSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    @autoreleasepool {
        NSImage* icon = [[NSWorkspace sharedWorkspace] iconForFile:path.toNSString()];
        NSRect proposed = NSMakeRect(0, 0, pointSize, pointSize);
        CGImageRef cgImage = [icon CGImageForProposedRect:&proposed context:nil hints:nil];  // not owned
        if (!cgImage)
            return {};
        // Premultiplied ARGB in host order is Qt's Format_ARGB32_Premultiplied byte for byte.
        const auto colorSpace = MacCFRef<CGColorSpaceRef>::adopt(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
        const auto context = MacCFRef<CGContextRef>::adopt(
            CGBitmapContextCreate(image.bits(), size_t(image.width()), size_t(image.height()), 8,
                                  size_t(image.bytesPerLine()), colorSpace.get(),
                                  uint32_t(kCGImageAlphaPremultipliedFirst) | uint32_t(kCGBitmapByteOrder32Host)));
        if (!context)
            return {};
        CGContextSetInterpolationQuality(context.get(), kCGInterpolationHigh);
        CGContextDrawImage(context.get(), CGRectMake(0, 0, pointSize, pointSize), cgImage);
    }
    return image;
}

void MacWorkspace::beep() { NSBeep(); }

}  // namespace tamsinvale

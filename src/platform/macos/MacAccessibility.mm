// AXUIElement and AXObserver calls behind the Accessibility interface. Elements other than an application's own are
// kept in portable/MacElementRegistry, which hands out the stable AXElement::ref numbers.
#include "MacAccessibility.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>
#import <CoreGraphics/CoreGraphics.h>

#include "MacCFRef.h"
#include "MacCFValues.h"
#include "portable/MacAXObservation.h"
#include "portable/MacAXValue.h"
#include "portable/MacElementRegistry.h"

// Our AXError is numbered as the system's: every status is passed on as the number it is.
static_assert(int(tamsinvale::AXError::success) == int(kAXErrorSuccess));
static_assert(int(tamsinvale::AXError::failure) == int(kAXErrorFailure));
static_assert(int(tamsinvale::AXError::illegalArgument) == int(kAXErrorIllegalArgument));
static_assert(int(tamsinvale::AXError::invalidUIElement) == int(kAXErrorInvalidUIElement));
static_assert(int(tamsinvale::AXError::cannotComplete) == int(kAXErrorCannotComplete));
static_assert(int(tamsinvale::AXError::attributeUnsupported) == int(kAXErrorAttributeUnsupported));
static_assert(int(tamsinvale::AXError::actionUnsupported) == int(kAXErrorActionUnsupported));
static_assert(int(tamsinvale::AXError::notificationUnsupported) == int(kAXErrorNotificationUnsupported));
static_assert(int(tamsinvale::AXError::apiDisabled) == int(kAXErrorAPIDisabled));
static_assert(int(tamsinvale::AXError::noValue) == int(kAXErrorNoValue));

namespace tamsinvale {

namespace {

// An unresponsive application would otherwise hold the main thread for the system's default of six seconds per call.
constexpr float messagingTimeoutSeconds = 1.0f;

AXError fromSystem(::AXError status) { return static_cast<AXError>(int(status)); }

MacCFRef<CFStringRef> cfString(const QString& text) { return MacCFRef<CFStringRef>::adopt(text.toCFString()); }

}  // namespace

struct MacAccessibility::Private {
    MacElementRegistry registry{{
        [](MacElementRegistry::Handle h) { return std::size_t(CFHash(h)); },
        [](MacElementRegistry::Handle a, MacElementRegistry::Handle b) { return bool(CFEqual(a, b)); },
        [](MacElementRegistry::Handle h) { CFRetain(h); },
        [](MacElementRegistry::Handle h) { CFRelease(h); },
    }};
    id terminationToken = nil;

    // The system element behind one of ours; null with the status when there is none.
    MacCFRef<AXUIElementRef> resolve(const AXElement& element, AXError* status)
    {
        *status = AXError::success;
        if (element.pid <= 0) {
            *status = AXError::illegalArgument;
            return {};
        }
        if (element.isApplication())
            return MacCFRef<AXUIElementRef>::adopt(AXUIElementCreateApplication(element.pid));
        const auto entry = registry.find(element.ref);
        if (!entry || entry->pid != element.pid) {
            *status = AXError::invalidUIElement;
            return {};
        }
        return MacCFRef<AXUIElementRef>::retain((AXUIElementRef)(entry->handle));
    }

    // A status that says the element is gone drops it from the table.
    AXError settle(const AXElement& element, ::AXError status)
    {
        if (status == kAXErrorInvalidUIElement && !element.isApplication())
            registry.forget(element.ref);
        return fromSystem(status);
    }

    AXElement elementOf(AXUIElementRef element, std::int32_t fallbackPid)
    {
        pid_t pid = 0;
        if (AXUIElementGetPid(element, &pid) != kAXErrorSuccess || pid <= 0)
            pid = fallbackPid;
        const auto application = MacCFRef<AXUIElementRef>::adopt(AXUIElementCreateApplication(pid));
        if (application && CFEqual(application.get(), element))
            return AXElement{pid, 0};
        return AXElement{pid, registry.refFor(element, pid)};
    }

    // An attribute value read into the plain tree; portable/MacAXValue decides what the caller gets.
    MacAXValue read(CFTypeRef value, std::int32_t pid)
    {
        using Kind = MacAXValue::Kind;
        MacAXValue out;
        if (!value)
            return out;
        const CFTypeID type = CFGetTypeID(value);
        if (type == AXUIElementGetTypeID()) {
            out.kind = Kind::element;
            out.element = elementOf((AXUIElementRef)(value), pid);
        } else if (type == AXValueGetTypeID()) {
            const auto axValue = (AXValueRef)(value);
            out.kind = Kind::other;
            switch (AXValueGetType(axValue)) {
            case kAXValueTypeCGPoint: {
                CGPoint p;
                if (AXValueGetValue(axValue, kAXValueTypeCGPoint, &p)) {
                    out.kind = Kind::point;
                    out.point = QPointF::fromCGPoint(p);
                }
                break;
            }
            case kAXValueTypeCGSize: {
                CGSize s;
                if (AXValueGetValue(axValue, kAXValueTypeCGSize, &s)) {
                    out.kind = Kind::size;
                    out.size = QSizeF::fromCGSize(s);
                }
                break;
            }
            case kAXValueTypeCGRect: {
                CGRect r;
                if (AXValueGetValue(axValue, kAXValueTypeCGRect, &r)) {
                    out.kind = Kind::rect;
                    out.rect = QRectF::fromCGRect(r);
                }
                break;
            }
            default:
                break;
            }
        } else if (type == CFArrayGetTypeID()) {
            const auto array = static_cast<CFArrayRef>(value);
            out.kind = Kind::array;
            const CFIndex count = CFArrayGetCount(array);
            for (CFIndex i = 0; i < count; ++i)
                out.items.append(read(CFArrayGetValueAtIndex(array, i), pid));
        } else if (type == CFURLGetTypeID()) {
            out.kind = Kind::url;
            out.text = QString::fromCFString(CFURLGetString(static_cast<CFURLRef>(value)));  // Get rule
        } else if (type == CFStringGetTypeID()) {
            out.kind = Kind::string;
            out.text = QString::fromCFString(static_cast<CFStringRef>(value));
        } else if (type == CFBooleanGetTypeID()) {
            out.kind = Kind::boolean;
            out.boolean = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
        } else if (type == CFNumberGetTypeID()) {
            const QVariant number = MacCFValues::scalar(value);
            out.kind = number.typeId() == QMetaType::Double ? Kind::real
                     : number.typeId() == QMetaType::LongLong ? Kind::integer
                                                              : Kind::other;
            out.real = number.toDouble();
            out.integer = number.toLongLong();
        } else {
            out.kind = Kind::other;
        }
        return out;
    }

    // A value to write in its system form; null when it cannot be made (an element that no longer exists).
    MacCFRef<CFTypeRef> systemValueOf(const MacAXValue& value)
    {
        using Kind = MacAXValue::Kind;
        switch (value.kind) {
        case Kind::point: {
            const CGPoint p = value.point.toCGPoint();
            return MacCFRef<CFTypeRef>::adopt(AXValueCreate(kAXValueTypeCGPoint, &p));
        }
        case Kind::size: {
            const CGSize s = value.size.toCGSize();
            return MacCFRef<CFTypeRef>::adopt(AXValueCreate(kAXValueTypeCGSize, &s));
        }
        case Kind::boolean:
            return MacCFRef<CFTypeRef>::retain(value.boolean ? kCFBooleanTrue : kCFBooleanFalse);
        case Kind::string:
            return MacCFRef<CFTypeRef>::adopt(value.text.toCFString());
        case Kind::element: {
            AXError status;
            const auto element = resolve(value.element, &status);
            return MacCFRef<CFTypeRef>::retain(element.get());
        }
        default:
            return {};
        }
    }
};

namespace {

// What one observer's callback needs; deleted one main-queue turn after its handle, never inside its own callback.
struct ObserverContext {
    std::weak_ptr<MacAccessibility::Private> owner;
    std::int32_t pid = 0;
    AXCallback callback;
    bool alive = true;
};

void observerCallback(AXObserverRef, AXUIElementRef element, CFStringRef notification, void* refcon)
{
    auto* context = static_cast<ObserverContext*>(refcon);
    if (!context || !context->alive || !context->callback)
        return;
    const auto owner = context->owner.lock();
    if (!owner)
        return;
    const AXElement subject = owner->elementOf(element, context->pid);
    // A copy: the callback may drop the handle, and with it the context's callback.
    const AXCallback callback = context->callback;
    callback(QString::fromCFString(notification), subject);
}

class MacObserverHandle : public AXObserverHandle {
public:
    MacObserverHandle(AXObserverRef observer, MacCFRef<AXUIElementRef> application, QStringList notifications,
                      ObserverContext* context)
        : m_observer(observer), m_application(std::move(application)), m_notifications(std::move(notifications)),
          m_context(context)
    {
    }
    ~MacObserverHandle() override
    {
        m_context->alive = false;
        for (const QString& n : std::as_const(m_notifications))
            AXObserverRemoveNotification(m_observer, m_application.get(), cfString(n).get());
        CFRunLoopRemoveSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(m_observer), kCFRunLoopDefaultMode);
        // This may run inside the observer's own callback: the observer and the context go one turn later.
        AXObserverRef observer = m_observer;
        ObserverContext* context = m_context;
        dispatch_async(dispatch_get_main_queue(), ^{
            CFRelease(observer);
            delete context;
        });
    }
    std::int32_t pid() const override { return m_context->pid; }

private:
    AXObserverRef m_observer;  // owned
    MacCFRef<AXUIElementRef> m_application;
    QStringList m_notifications;
    ObserverContext* m_context;  // owned
};

}  // namespace

MacAccessibility::MacAccessibility() : d(std::make_shared<Private>())
{
    const auto systemWide = MacCFRef<AXUIElementRef>::adopt(AXUIElementCreateSystemWide());
    if (systemWide)
        AXUIElementSetMessagingTimeout(systemWide.get(), messagingTimeoutSeconds);
    // Elements of an application that ended can never be used again.
    std::weak_ptr<Private> weak = d;
    d->terminationToken = [[NSWorkspace sharedWorkspace].notificationCenter
        addObserverForName:NSWorkspaceDidTerminateApplicationNotification
                    object:nil
                     queue:[NSOperationQueue mainQueue]
                usingBlock:^(NSNotification* notification) {
                    NSRunningApplication* app = notification.userInfo[NSWorkspaceApplicationKey];
                    const auto owner = weak.lock();
                    if (owner && [app isKindOfClass:[NSRunningApplication class]])
                        owner->registry.forgetProcess(app.processIdentifier);
                }];
}

MacAccessibility::~MacAccessibility()
{
    if (d->terminationToken)
        [[NSWorkspace sharedWorkspace].notificationCenter removeObserver:d->terminationToken];
}

bool MacAccessibility::isProcessTrusted() const { return AXIsProcessTrusted(); }

bool MacAccessibility::requestTrust()
{
    NSDictionary* options = @{(__bridge NSString*)kAXTrustedCheckOptionPrompt : @YES};
    return AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
}

bool MacAccessibility::screenRecordingGranted() const { return CGPreflightScreenCaptureAccess(); }

void MacAccessibility::requestScreenRecording() { CGRequestScreenCaptureAccess(); }

AXResult MacAccessibility::copyAttribute(const AXElement& element, const QString& attribute) const
{
    AXError status;
    const auto target = d->resolve(element, &status);
    if (!target)
        return {status, {}};
    MacCFRef<CFTypeRef> value;
    const ::AXError result = AXUIElementCopyAttributeValue(target.get(), cfString(attribute).get(), value.out());
    if (result != kAXErrorSuccess)
        return {d->settle(element, result), {}};
    return {AXError::success, axAttributeVariant(d->read(value.get(), element.pid))};
}

AXResult MacAccessibility::copyAttributeNames(const AXElement& element) const
{
    AXError status;
    const auto target = d->resolve(element, &status);
    if (!target)
        return {status, {}};
    MacCFRef<CFArrayRef> names;
    const ::AXError result = AXUIElementCopyAttributeNames(target.get(), names.out());
    if (result != kAXErrorSuccess)
        return {d->settle(element, result), {}};
    QStringList out;
    const CFIndex count = names ? CFArrayGetCount(names.get()) : 0;
    for (CFIndex i = 0; i < count; ++i)
        out.append(MacCFValues::string(CFArrayGetValueAtIndex(names.get(), i)));
    return {AXError::success, out};
}

AXError MacAccessibility::setAttribute(const AXElement& element, const QString& attribute, const QVariant& value)
{
    AXError status;
    const auto target = d->resolve(element, &status);
    if (!target)
        return status;
    const auto writable = axWritableValue(value);
    if (!writable)
        return AXError::illegalArgument;
    const auto systemValue = d->systemValueOf(*writable);
    if (!systemValue)
        return AXError::illegalArgument;
    return d->settle(element, AXUIElementSetAttributeValue(target.get(), cfString(attribute).get(), systemValue.get()));
}

AXError MacAccessibility::performAction(const AXElement& element, const QString& action)
{
    AXError status;
    const auto target = d->resolve(element, &status);
    if (!target)
        return status;
    return d->settle(element, AXUIElementPerformAction(target.get(), cfString(action).get()));
}

std::unique_ptr<AXObserverHandle> MacAccessibility::observe(std::int32_t pid, const QStringList& notifications,
                                                            AXCallback callback, AXError* status)
{
    auto report = [status](AXError s) {
        if (status)
            *status = s;
    };
    if (pid <= 0) {
        report(AXError::illegalArgument);
        return nullptr;
    }
    AXObserverRef observer = nullptr;
    const ::AXError created = AXObserverCreate(pid, observerCallback, &observer);
    if (created != kAXErrorSuccess || !observer) {
        report(created != kAXErrorSuccess ? fromSystem(created) : AXError::failure);
        return nullptr;
    }
    auto application = MacCFRef<AXUIElementRef>::adopt(AXUIElementCreateApplication(pid));
    auto* context = new ObserverContext{d, pid, std::move(callback), true};
    QStringList added;
    QList<AXError> statuses;
    for (const QString& n : notifications) {
        const ::AXError r = AXObserverAddNotification(observer, application.get(), cfString(n).get(), context);
        statuses.append(fromSystem(r));
        if (r == kAXErrorSuccess)
            added.append(n);
    }
    const MacAXObservationOutcome outcome = axObservationOutcome(statuses);
    if (!outcome.observed) {
        CFRelease(observer);
        delete context;
        report(outcome.status);
        return nullptr;
    }
    CFRunLoopAddSource(CFRunLoopGetMain(), AXObserverGetRunLoopSource(observer), kCFRunLoopDefaultMode);
    report(AXError::success);
    return std::make_unique<MacObserverHandle>(observer, std::move(application), added, context);
}

}  // namespace tamsinvale

// Key-window capture for the switchers. The key panel is a borderless, non-activating clear point; while it
// is key, AppKit routes the keyboard to this application without activating it, and the local monitor takes each
// key-down before it is dispatched (returning nil, so nothing beeps). Pointer presses anywhere else (global
// monitor) or in another window of ours (local monitor) outside the switcher's area end the session as Escape would.
#include "MacKeyboardCapture.h"

#import <AppKit/AppKit.h>

#include <QString>

#include "platform/Logging.h"
#include "platform/macos/portable/MacKeyTranslation.h"
#include "platform/macos/portable/MacPanelStyle.h"

@interface TamsinvaleKeyCatcherPanel : NSPanel
@end

@implementation TamsinvaleKeyCatcherPanel
// A borderless panel refuses key status unless told otherwise.
- (BOOL)canBecomeKeyWindow
{
    return YES;
}
- (BOOL)canBecomeMainWindow
{
    return NO;
}
@end

namespace tamsinvale {

struct MacKeyboardCapture::State {
    bool capturing = false;
    std::function<void(const CapturedKey&)> onKey;
    std::function<QRect()> panelArea;
    std::function<void()> onPressOutside;
    TamsinvaleKeyCatcherPanel* panel = nil;
    id keyMonitor = nil;
    id localPressMonitor = nil;
    id globalPressMonitor = nil;

    void removeMonitors()
    {
        if (keyMonitor)
            [NSEvent removeMonitor:keyMonitor];
        if (localPressMonitor)
            [NSEvent removeMonitor:localPressMonitor];
        if (globalPressMonitor)
            [NSEvent removeMonitor:globalPressMonitor];
        keyMonitor = nil;
        localPressMonitor = nil;
        globalPressMonitor = nil;
    }
};

namespace {

TamsinvaleKeyCatcherPanel* makeKeyPanel()
{
    TamsinvaleKeyCatcherPanel* panel =
        [[TamsinvaleKeyCatcherPanel alloc] initWithContentRect:NSMakeRect(0, 0, 1, 1)
                                                     styleMask:NSWindowStyleMaskBorderless
                                                               | NSWindowStyleMaskNonactivatingPanel
                                                       backing:NSBackingStoreBuffered
                                                         defer:NO];
    panel.releasedWhenClosed = NO;
    panel.opaque = NO;
    panel.backgroundColor = NSColor.clearColor;
    panel.hasShadow = NO;
    panel.ignoresMouseEvents = YES;
    panel.hidesOnDeactivate = NO;
    panel.becomesKeyOnlyIfNeeded = NO;
    panel.floatingPanel = YES;
    // Keys must reach us on whichever Space the user is, a full-screen one included.
    panel.collectionBehavior = NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorFullScreenAuxiliary;
    return panel;
}

QString qtString(NSString* s) { return s ? QString::fromNSString(s) : QString(); }

// Where a pointer press happened, in screen coordinates (y up).
NSPoint pressLocation(NSEvent* event)
{
    if (event.window)
        return [event.window convertPointToScreen:event.locationInWindow];
    return event.locationInWindow;  // events of other applications carry screen coordinates
}

void pressSeen(const std::weak_ptr<MacKeyboardCapture::State>& weak, NSEvent* event)
{
    const auto state = weak.lock();
    if (!state || !state->capturing || !state->onPressOutside)
        return;
    NSScreen* primary = NSScreen.screens.firstObject;
    if (!primary)
        return;
    const NSPoint at = pressLocation(event);
    const NSRect frame = primary.frame;
    const QPoint topLevel = MacPanelStyle::topLevelPoint(
        QPointF(at.x, at.y), QRectF(frame.origin.x, frame.origin.y, frame.size.width, frame.size.height));
    if (state->panelArea && state->panelArea().contains(topLevel))
        return;
    // A copy: the handler normally ends the capture, and may replace the handler.
    auto onOutside = state->onPressOutside;
    onOutside();
}

}  // namespace

MacKeyboardCapture::MacKeyboardCapture() : m_state(std::make_shared<State>()) {}

MacKeyboardCapture::~MacKeyboardCapture()
{
    end();
    if (m_state->panel)
        [m_state->panel orderOut:nil];
    m_state->panel = nil;
}

bool MacKeyboardCapture::begin(std::function<void(const CapturedKey&)> onKey)
{
    State& s = *m_state;
    if (s.capturing)
        end();
    if (!s.panel)
        s.panel = makeKeyPanel();
    [s.panel orderFrontRegardless];
    [s.panel makeKeyWindow];
    if (!s.panel.isKeyWindow) {
        qCWarning(lcSwitcher, "keyboard capture: our key panel did not become the key window");
        [s.panel orderOut:nil];
        return false;
    }
    s.capturing = true;
    s.onKey = std::move(onKey);

    const std::weak_ptr<State> weak = m_state;
    s.keyMonitor = [NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                          handler:^NSEvent*(NSEvent* event) {
                                                              const auto state = weak.lock();
                                                              if (!state || !state->capturing)
                                                                  return event;
                                                              // The key's own characters, with no modifier applied:
                                                              // ⇧S and ⌥S both type "s" for the switcher.
                                                              const CapturedKey key = MacKeyTranslation::capturedKey(
                                                                  event.keyCode,
                                                                  qtString([event charactersByApplyingModifiers:0]),
                                                                  event.modifierFlags);
                                                              // A copy: the receiver may end the capture.
                                                              auto deliver = state->onKey;
                                                              if (deliver)
                                                                  deliver(key);
                                                              return nil;
                                                          }];
    const NSEventMask presses = NSEventMaskLeftMouseDown | NSEventMaskRightMouseDown | NSEventMaskOtherMouseDown;
    s.localPressMonitor = [NSEvent addLocalMonitorForEventsMatchingMask:presses
                                                                 handler:^NSEvent*(NSEvent* event) {
                                                                     pressSeen(weak, event);
                                                                     return event;  // the press is not taken
                                                                 }];
    s.globalPressMonitor = [NSEvent addGlobalMonitorForEventsMatchingMask:presses
                                                                   handler:^(NSEvent* event) {
                                                                       pressSeen(weak, event);
                                                                   }];
    return true;
}

void MacKeyboardCapture::end()
{
    State& s = *m_state;
    if (!s.capturing)
        return;
    s.capturing = false;
    s.onKey = nullptr;
    s.removeMonitors();
    // Key status goes back to the active application's window.
    [s.panel orderOut:nil];
}

bool MacKeyboardCapture::isCapturing() const { return m_state->capturing; }

void MacKeyboardCapture::setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside)
{
    m_state->panelArea = std::move(panelArea);
    m_state->onPressOutside = std::move(onPressOutside);
}

}  // namespace tamsinvale

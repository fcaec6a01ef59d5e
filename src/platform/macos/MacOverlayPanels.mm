// Overlay panels as AppKit draws them. Each panel is an NSPanel that the window server never constrains, with a
// layer-backed content view holding, bottom to top: the fill (the view's own layer), the picture layer
// (aspect-fill over the whole screen height, the menu bar strip clipped), the darkening layer, and the content
// layer that a rendered card uses instead of the other three.
#include "MacOverlayPanels.h"

#import <AppKit/AppKit.h>
#import <QuartzCore/QuartzCore.h>

#include <algorithm>

#include "platform/macos/portable/MacPanelStyle.h"

// The window server would push a window off the menu bar and into the visible frame; the overlays and strips must
// stay exactly where they are put.
@interface TamsinvaleUnconstrainedPanel : NSPanel
@end

@implementation TamsinvaleUnconstrainedPanel
- (NSRect)constrainFrameRect:(NSRect)frameRect toScreen:(NSScreen*)screen
{
    (void)screen;
    return frameRect;
}
@end

@interface TamsinvaleOverlayView : NSView
@property(nonatomic, readonly) CALayer* pictureLayer;
@property(nonatomic, readonly) CALayer* darkenLayer;
@property(nonatomic, readonly) CALayer* contentLayer;
@property(nonatomic) CGFloat topInset;
- (void)layoutLayers;
@end

namespace {
CGRect cgRect(const QRectF& r) { return CGRectMake(r.x(), r.y(), r.width(), r.height()); }
QSizeF qtSize(NSSize s) { return QSizeF(s.width, s.height); }
}  // namespace

@implementation TamsinvaleOverlayView

- (instancetype)initWithFrame:(NSRect)frame
{
    self = [super initWithFrame:frame];
    if (!self)
        return nil;
    self.wantsLayer = YES;
    self.layer.masksToBounds = YES;
    const CGFloat scale = NSScreen.mainScreen ? NSScreen.mainScreen.backingScaleFactor : 1.0;
    _pictureLayer = [CALayer layer];
    _pictureLayer.contentsGravity = kCAGravityResizeAspectFill;
    _pictureLayer.contentsScale = scale;
    _darkenLayer = [CALayer layer];
    _contentLayer = [CALayer layer];
    _contentLayer.contentsGravity = kCAGravityResize;
    _contentLayer.contentsScale = scale;
    _contentLayer.hidden = YES;
    // Added in this order: the darkening lies above the picture, the card above both.
    [self.layer addSublayer:_pictureLayer];
    [self.layer addSublayer:_darkenLayer];
    [self.layer addSublayer:_contentLayer];
    [self layoutLayers];
    return self;
}

- (void)layoutLayers
{
    [CATransaction begin];
    [CATransaction setDisableActions:YES];
    const QSizeF bounds = qtSize(self.bounds.size);
    _pictureLayer.frame = cgRect(tamsinvale::MacPanelStyle::pictureLayerFrame(bounds, _topInset));
    _darkenLayer.frame = cgRect(tamsinvale::MacPanelStyle::fillLayerFrame(bounds));
    _contentLayer.frame = cgRect(tamsinvale::MacPanelStyle::fillLayerFrame(bounds));
    [CATransaction commit];
}

- (void)layout
{
    [super layout];
    [self layoutLayers];
}

@end

namespace tamsinvale {

namespace {

// A CGColor for a Qt colour, owned by the caller.
CGColorRef createColor(const QColor& c)
{
    const QColor rgb = c.toRgb();
    return CGColorCreateSRGB(rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF());
}

// A CGImage of the picture, owned by the caller; null for an empty picture.
CGImageRef createImage(const QImage& image)
{
    if (image.isNull())
        return nullptr;
    CGImageRef cg = image.toCGImage();
    if (!cg)  // a format Core Graphics cannot take as it is
        cg = image.convertToFormat(QImage::Format_ARGB32_Premultiplied).toCGImage();
    return cg;
}

void setContents(CALayer* layer, const std::optional<QImage>& image)
{
    CGImageRef cg = image ? createImage(*image) : nullptr;
    layer.contents = (__bridge id)cg;  // the layer retains it
    if (cg)
        CGImageRelease(cg);
}

void setBackground(CALayer* layer, const std::optional<QColor>& color)
{
    if (!color) {
        layer.backgroundColor = nullptr;
        return;
    }
    CGColorRef cg = createColor(*color);
    layer.backgroundColor = cg;  // retained by the layer
    CGColorRelease(cg);
}

class MacOverlayPanel : public OverlayPanel {
public:
    MacOverlayPanel(const QRectF& frame, int level) : m_level(level)
    {
        m_panel = [[TamsinvaleUnconstrainedPanel alloc] initWithContentRect:cgRect(frame)
                                                                   styleMask:NSWindowStyleMaskBorderless
                                                                     backing:NSBackingStoreBuffered
                                                                       defer:NO];
        m_panel.releasedWhenClosed = NO;
        m_panel.backgroundColor = NSColor.clearColor;
        m_panel.opaque = NO;
        m_panel.hasShadow = NO;
        m_panel.ignoresMouseEvents = YES;
        m_panel.hidesOnDeactivate = NO;
        m_panel.collectionBehavior = NSWindowCollectionBehavior(MacPanelStyle::collectionBehavior(level));
        m_panel.level = level;
        m_view = [[TamsinvaleOverlayView alloc] initWithFrame:NSMakeRect(0, 0, frame.width(), frame.height())];
        m_view.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
        m_panel.contentView = m_view;
    }

    ~MacOverlayPanel() override
    {
        [m_panel orderOut:nil];
        m_panel.contentView = nil;
        m_view = nil;
        m_panel = nil;
    }

    WindowNumber windowNumber() const override { return WindowNumber(m_panel.windowNumber); }
    int level() const override { return m_level; }

    QRectF frame() const override
    {
        const NSRect f = m_panel.frame;
        return QRectF(f.origin.x, f.origin.y, f.size.width, f.size.height);
    }

    void setFrame(const QRectF& frame) override
    {
        [m_panel setFrame:cgRect(frame) display:YES];
        m_view.frame = NSMakeRect(0, 0, frame.width(), frame.height());
        [m_view layoutLayers];
    }

    void setAppearance(const OverlayAppearance& appearance) override
    {
        [CATransaction begin];
        [CATransaction setDisableActions:YES];
        m_view.topInset = appearance.topInset;
        const bool card = appearance.content.has_value();
        m_view.contentLayer.hidden = !card;
        m_view.pictureLayer.hidden = card;
        m_view.darkenLayer.hidden = card;
        if (card) {
            setBackground(m_view.layer, std::nullopt);
            setContents(m_view.contentLayer, appearance.content);
            setContents(m_view.pictureLayer, std::nullopt);
        } else {
            setBackground(m_view.layer, appearance.fill);
            setContents(m_view.contentLayer, std::nullopt);
            setContents(m_view.pictureLayer, appearance.picture);
            const double alpha = MacPanelStyle::darkeningAlpha(appearance.darkening);
            setBackground(m_view.darkenLayer, alpha > 0 ? std::optional<QColor>(QColor::fromRgbF(0, 0, 0, float(alpha)))
                                                        : std::nullopt);
        }
        [CATransaction commit];
        [m_view layoutLayers];
        m_view.needsLayout = YES;
    }

    void setAlpha(double alpha) override { m_panel.alphaValue = std::clamp(alpha, 0.0, 1.0); }
    void setHasShadow(bool shadow) override { m_panel.hasShadow = shadow; }

    void orderBelow(WindowNumber window) override
    {
        // 0 would mean "below every window of the level", which is not what was asked.
        if (window == 0)
            return;
        [m_panel orderWindow:NSWindowBelow relativeTo:NSInteger(window)];
    }

    void orderFrontRegardless() override { [m_panel orderFrontRegardless]; }
    void orderOut() override { [m_panel orderOut:nil]; }
    bool isVisible() const override { return m_panel.isVisible; }

private:
    TamsinvaleUnconstrainedPanel* m_panel = nil;
    TamsinvaleOverlayView* m_view = nil;
    int m_level;
};

}  // namespace

std::unique_ptr<OverlayPanel> MacOverlayPanels::createPanel(const QRectF& frame, int level)
{
    return std::make_unique<MacOverlayPanel>(frame, level);
}

}  // namespace tamsinvale

// The simulated window server: windows front to back with layers and accessibility attributes, plus our panels.
#pragma once

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <functional>
#include <memory>

#include "platform/Accessibility.h"
#include "platform/OverlayPanels.h"
#include "platform/WindowList.h"

namespace tamsinvale {

class FakeScreens;
class FakeOverlayPanel;

struct FakeWindow {
    WindowNumber number = 0;   // 0: assigned on add
    std::int32_t pid = 0;
    int layer = WindowLevel::normal;
    QRectF bounds;             // window-server coordinates (top-left origin, y down)
    bool onScreen = true;
    bool reportsLayer = true;  // false: the list entry has no layer
    QString title;
    QString ownerName;
    bool isMenuBar = false;
    // Accessibility
    QString role = QStringLiteral("AXWindow");
    QString subrole = QStringLiteral("AXStandardWindow");
    bool fullScreen = false;
    bool minimized = false;
    QString document;
    QString filename;
    QString titleElementValue;
    bool accessible = true;    // false: the application does not expose it through accessibility
};

class FakeWindowServer : public WindowList, public Accessibility, public OverlayPanels {
public:
    FakeWindowServer(FakeScreens& screens, std::int32_t ownPid);
    ~FakeWindowServer() override;

    // Windows
    WindowNumber addWindow(FakeWindow window);   // in front of every window of its layer or lower
    void removeWindow(WindowNumber number);
    FakeWindow* window(WindowNumber number);
    void raise(WindowNumber number);             // to the front of its layer
    QList<WindowNumber> stackingOrder() const;   // front to back, panels included
    void setListReadable(bool readable) { m_listReadable = readable; }
    int snapshotCount() const { return m_snapshots; }

    // Accessibility
    void setTrusted(bool trusted) { m_trusted = trusted; }
    void setScreenRecordingGranted(bool granted) { m_screenRecording = granted; }
    int trustRequests() const { return m_trustRequests; }
    int screenRecordingRequests() const { return m_screenRecordingRequests; }
    void setFocusedWindow(std::int32_t pid, std::optional<WindowNumber> number);
    void setEnhancedUserInterface(std::int32_t pid, std::optional<bool> value);
    std::optional<bool> enhancedUserInterface(std::int32_t pid) const;
    void setObserverFailure(std::optional<AXError> failure) { m_observerFailure = failure; }
    // An application without a window list ("AXWindows" unsupported): its windows are children of `levels` nested
    // group elements below the application element (0: its direct children). Nothing restores the list.
    void hideWindowListBehindGroups(std::int32_t pid, int levels) { m_windowsNesting.insert(pid, levels); }
    // Delivers a notification to the observers of `pid`, as the platform would on the main queue.
    void postNotification(std::int32_t pid, const QString& notification, const AXElement& element);
    int observerCount(std::int32_t pid) const;
    // Every attribute write, in order, as "attribute=value" (for checking write sequences).
    QStringList attributeWrites() const { return m_writes; }
    void clearAttributeWrites() { m_writes.clear(); }

    // Panels
    QList<FakeOverlayPanel*> panels() const { return m_panels; }
    // A compositor starting or stopping: observers hear of it at once, as the platform tells them on the main queue.
    void setTranslucencyAvailable(bool available);

    // WindowList
    std::optional<WindowSnapshot> onScreenWindows() const override;

    // Accessibility
    bool isProcessTrusted() const override { return m_trusted; }
    bool requestTrust() override;
    bool screenRecordingGranted() const override { return m_screenRecording; }
    void requestScreenRecording() override { ++m_screenRecordingRequests; }
    AXResult copyAttribute(const AXElement& element, const QString& attribute) const override;
    AXResult copyAttributeNames(const AXElement& element) const override;
    AXError setAttribute(const AXElement& element, const QString& attribute, const QVariant& value) override;
    AXError performAction(const AXElement& element, const QString& action) override;
    std::unique_ptr<AXObserverHandle> observe(std::int32_t pid, const QStringList& notifications,
                                              AXCallback callback, AXError* status) override;

    // OverlayPanels
    std::unique_ptr<OverlayPanel> createPanel(const QRectF& frame, int level) override;
    bool translucencyAvailable() const override { return m_translucency; }

private:
    friend class FakeOverlayPanel;
    struct Observer;
    struct ObserverHandle;

    int indexOf(WindowNumber number) const;
    qsizetype frontIndexForLayer(int layer) const;
    WindowNumber allocateNumber() { return m_nextNumber++; }
    QRectF toWindowServer(const QRectF& screenRect) const;
    std::optional<WindowNumber> focusedWindowOf(std::int32_t pid) const;
    void panelDestroyed(FakeOverlayPanel* panel);
    void insertPanel(FakeOverlayPanel* panel, qsizetype index);
    void removeFromStack(WindowNumber number);

    FakeScreens& m_screens;
    std::int32_t m_ownPid;
    // Stacking order front to back; panels live here too while visible.
    QList<WindowNumber> m_stack;
    QMap<WindowNumber, FakeWindow> m_windows;
    QList<FakeOverlayPanel*> m_panels;
    WindowNumber m_nextNumber = 100;
    bool m_listReadable = true;
    mutable int m_snapshots = 0;
    bool m_trusted = true;
    bool m_screenRecording = true;
    int m_trustRequests = 0;
    int m_screenRecordingRequests = 0;
    QHash<std::int32_t, WindowNumber> m_focusOverride;
    QHash<std::int32_t, bool> m_enhancedUI;
    QHash<std::int32_t, int> m_windowsNesting;
    std::optional<AXError> m_observerFailure;
    QList<std::shared_ptr<Observer>> m_observers;
    QStringList m_writes;
    bool m_translucency = true;
};

// A panel of ours in the simulated server; listed as a window of our own process while visible.
class FakeOverlayPanel : public OverlayPanel {
public:
    FakeOverlayPanel(FakeWindowServer& server, WindowNumber number, const QRectF& frame, int level);
    ~FakeOverlayPanel() override;

    WindowNumber windowNumber() const override { return m_number; }
    int level() const override { return m_level; }
    QRectF frame() const override { return m_frame; }
    void setFrame(const QRectF& frame) override;
    void setAppearance(const OverlayAppearance& appearance) override;
    void setAlpha(double alpha) override { m_alpha = alpha; }
    void setHasShadow(bool shadow) override { m_shadow = shadow; }
    void orderBelow(WindowNumber window) override;
    void orderFrontRegardless() override;
    void orderOut() override;
    bool isVisible() const override { return m_visible; }

    const OverlayAppearance& appearance() const { return m_appearance; }
    double alpha() const { return m_alpha; }
    int frameChanges() const { return m_frameChanges; }
    int appearanceChanges() const { return m_appearanceChanges; }
    // The window this panel was last ordered directly below; nothing after orderFrontRegardless/orderOut.
    std::optional<WindowNumber> orderedBelow() const { return m_orderedBelow; }
    // Whether the server could show it see-through when it was made.
    bool madeTranslucent() const { return m_madeTranslucent; }

private:
    friend class FakeWindowServer;
    FakeWindowServer* m_server;
    WindowNumber m_number;
    QRectF m_frame;
    int m_level;
    OverlayAppearance m_appearance;
    double m_alpha = 1.0;
    bool m_shadow = false;
    bool m_visible = false;
    int m_frameChanges = 0;
    int m_appearanceChanges = 0;
    std::optional<WindowNumber> m_orderedBelow;
    bool m_madeTranslucent = true;
};

}  // namespace tamsinvale

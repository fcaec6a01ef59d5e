// Accessibility on X11: an application is a pid, its windows are client windows read from EWMH/ICCCM properties.
#pragma once

#include <QHash>
#include <QObject>
#include <QRect>
#include <memory>

#include "platform/Accessibility.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;
class X11Screens;
class X11WindowActions;
class X11WindowReader;
class X11Workspace;
struct X11Window;

class X11Accessibility : public QObject, public Accessibility {
    Q_OBJECT
public:
    X11Accessibility(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                     X11Workspace& workspace, QObject* parent = nullptr);
    ~X11Accessibility() override;

    bool isProcessTrusted() const override { return true; }  // X lets every client read every window
    bool requestTrust() override { return true; }
    bool screenRecordingGranted() const override { return true; }
    void requestScreenRecording() override {}

    AXResult copyAttribute(const AXElement& element, const QString& attribute) const override;
    AXResult copyAttributeNames(const AXElement& element) const override;
    AXError setAttribute(const AXElement& element, const QString& attribute, const QVariant& value) override;
    AXError performAction(const AXElement& element, const QString& action) override;
    std::unique_ptr<AXObserverHandle> observe(std::int32_t pid, const QStringList& notifications, AXCallback callback,
                                              AXError* status) override;

    // Writes (AXPosition, AXSize, AXMain, AXFocused, AXFocusedWindow) and AXRaise go through these.
    void setActions(X11WindowActions* actions) { m_actions = actions; }

    struct Observer;
    struct Registry;

private:
    AXResult applicationAttribute(std::int32_t pid, const QString& attribute) const;
    AXResult windowAttribute(const X11Window& window, const QString& attribute) const;
    QList<xcb_window_t> windowsOf(std::int32_t pid) const;  // front to back
    void deliver(std::int32_t pid, const QString& notification, xcb_window_t window);
    void onConfigured(xcb_window_t window);

    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    const X11Screens& m_screens;
    const X11Workspace& m_workspace;
    std::shared_ptr<Registry> m_registry;
    X11WindowActions* m_actions = nullptr;
    // Last known frames of the observed applications' windows, to tell moves from resizes.
    QHash<xcb_window_t, std::pair<std::int32_t, QRect>> m_frames;
};

}  // namespace tamsinvale

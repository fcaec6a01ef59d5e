// Reading and acting on other applications' windows through accessibility elements.
#pragma once

#include <QList>
#include <QMetaType>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace tamsinvale {

// Accessibility error codes, numbered as on macOS so that log lines read the same on both desktops.
enum class AXError : int {
    success = 0,
    failure = -25200,
    illegalArgument = -25201,
    invalidUIElement = -25202,
    cannotComplete = -25204,
    attributeUnsupported = -25205,
    actionUnsupported = -25206,
    notificationUnsupported = -25207,
    apiDisabled = -25211,
    noValue = -25212,
};

// A handle to an application or one of its windows. `ref` is unique per element for the backend's lifetime.
struct AXElement {
    std::int32_t pid = 0;
    std::uint64_t ref = 0;       // 0 is the application element itself
    bool isApplication() const { return ref == 0; }
    bool operator==(const AXElement&) const = default;
};

// Attribute and action names, spelled as the platform spells them.
namespace AXAttr {
inline const QString focusedWindow = QStringLiteral("AXFocusedWindow");
inline const QString windows = QStringLiteral("AXWindows");
inline const QString children = QStringLiteral("AXChildren");
inline const QString role = QStringLiteral("AXRole");
inline const QString subrole = QStringLiteral("AXSubrole");
inline const QString title = QStringLiteral("AXTitle");
inline const QString titleUIElement = QStringLiteral("AXTitleUIElement");
inline const QString value = QStringLiteral("AXValue");
inline const QString document = QStringLiteral("AXDocument");
inline const QString filename = QStringLiteral("AXFilename");
inline const QString position = QStringLiteral("AXPosition");
inline const QString size = QStringLiteral("AXSize");
inline const QString fullScreen = QStringLiteral("AXFullScreen");
inline const QString minimized = QStringLiteral("AXMinimized");
inline const QString main = QStringLiteral("AXMain");
inline const QString focused = QStringLiteral("AXFocused");
inline const QString enhancedUserInterface = QStringLiteral("AXEnhancedUserInterface");
inline const QString raiseAction = QStringLiteral("AXRaise");
}  // namespace AXAttr

namespace AXNotification {
inline const QString focusedWindowChanged = QStringLiteral("AXFocusedWindowChanged");
inline const QString windowCreated = QStringLiteral("AXWindowCreated");
inline const QString windowMoved = QStringLiteral("AXWindowMoved");
inline const QString windowResized = QStringLiteral("AXWindowResized");
}  // namespace AXNotification

struct AXResult {
    AXError status = AXError::failure;
    QVariant value;  // QString, bool, QPointF (accessibility coordinates), QSizeF, AXElement, QList<AXElement>, QStringList
    bool ok() const { return status == AXError::success && value.isValid(); }
};

// Delivers notifications for one application until destroyed.
class AXObserverHandle {
public:
    virtual ~AXObserverHandle() = default;
    virtual std::int32_t pid() const = 0;
};

using AXCallback = std::function<void(const QString& notification, const AXElement& element)>;

class Accessibility {
public:
    virtual ~Accessibility() = default;

    virtual bool isProcessTrusted() const = 0;
    // Shows the platform's permission request when not trusted; returns the trust state now.
    virtual bool requestTrust() = 0;
    virtual bool screenRecordingGranted() const = 0;
    virtual void requestScreenRecording() = 0;

    AXElement applicationElement(std::int32_t pid) const { return AXElement{pid, 0}; }
    virtual AXResult copyAttribute(const AXElement& element, const QString& attribute) const = 0;
    virtual AXResult copyAttributeNames(const AXElement& element) const = 0;
    virtual AXError setAttribute(const AXElement& element, const QString& attribute, const QVariant& value) = 0;
    virtual AXError performAction(const AXElement& element, const QString& action) = 0;

    // Observes the named notifications of an application; the callback runs on the main queue.
    virtual std::unique_ptr<AXObserverHandle> observe(std::int32_t pid, const QStringList& notifications,
                                                      AXCallback callback, AXError* status) = 0;

    // Typed conveniences over copyAttribute.
    std::optional<AXElement> elementAttribute(const AXElement& e, const QString& a) const;
    std::optional<QString> stringAttribute(const AXElement& e, const QString& a) const;
    std::optional<bool> boolAttribute(const AXElement& e, const QString& a) const;
    std::optional<QPointF> position(const AXElement& e) const;
    std::optional<QSizeF> size(const AXElement& e) const;
};

}  // namespace tamsinvale

Q_DECLARE_METATYPE(tamsinvale::AXElement)

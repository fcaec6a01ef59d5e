// Accessibility reads and observers over X: positions and sizes are the manager's frame, as in the window list.
#include "X11Accessibility.h"

#include "X11Connection.h"
#include "X11Screens.h"
#include "X11WindowActions.h"
#include "X11Window.h"
#include "X11WindowReader.h"
#include "X11Workspace.h"

#include <QDir>
#include <QPointer>
#include <QSet>
#include <QTimer>

namespace tamsinvale {

struct X11Accessibility::Observer {
    std::int32_t pid = 0;
    QSet<QString> notifications;
    AXCallback callback;
    bool alive = true;
};

struct X11Accessibility::Registry {
    QList<std::shared_ptr<Observer>> observers;
};

namespace {

class Handle : public AXObserverHandle {
public:
    Handle(std::shared_ptr<X11Accessibility::Observer> observer, std::weak_ptr<X11Accessibility::Registry> registry)
        : m_observer(std::move(observer)), m_registry(std::move(registry))
    {
    }
    ~Handle() override
    {
        m_observer->alive = false;
        if (auto registry = m_registry.lock())
            registry->observers.removeAll(m_observer);
    }
    std::int32_t pid() const override { return m_observer->pid; }

private:
    std::shared_ptr<X11Accessibility::Observer> m_observer;
    std::weak_ptr<X11Accessibility::Registry> m_registry;
};

const QStringList windowAttributeNames = {AXAttr::role, AXAttr::subrole, AXAttr::title, AXAttr::position,
                                          AXAttr::size, AXAttr::fullScreen, AXAttr::minimized, AXAttr::main,
                                          AXAttr::focused};
const QStringList applicationAttributeNames = {AXAttr::role, AXAttr::title, AXAttr::focusedWindow, AXAttr::windows};

bool processExists(std::int32_t pid)
{
    return pid > 0 && QDir(QStringLiteral("/proc/%1").arg(pid)).exists();
}

}  // namespace

X11Accessibility::X11Accessibility(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                                   X11Workspace& workspace, QObject* parent)
    : QObject(parent), m_connection(connection), m_reader(reader), m_screens(screens), m_workspace(workspace),
      m_registry(std::make_shared<Registry>())
{
    connect(&workspace, &X11Workspace::activeWindowChanged, this, [this](xcb_window_t window, std::int32_t pid) {
        deliver(pid, AXNotification::focusedWindowChanged, window);
    });
    connect(&workspace, &X11Workspace::clientAdded, this, [this](xcb_window_t window, std::int32_t pid) {
        bool watched = false;
        for (const auto& o : std::as_const(m_registry->observers))
            watched = watched || o->pid == pid;
        if (watched) {
            const X11Window w = m_reader.read(window);
            if (w.exists)
                m_frames.insert(window, {pid, w.frameRect});
        }
        deliver(pid, AXNotification::windowCreated, window);
    });
    connect(&workspace, &X11Workspace::clientRemoved, this, [this](xcb_window_t window, std::int32_t) {
        m_frames.remove(window);
    });
    connect(&m_connection, &X11Connection::windowConfigured, this, &X11Accessibility::onConfigured);
}

X11Accessibility::~X11Accessibility() = default;

QList<xcb_window_t> X11Accessibility::windowsOf(std::int32_t pid) const
{
    QList<xcb_window_t> out;
    const auto stacking = m_reader.clientListStacking();
    if (!stacking)
        return out;
    QList<xcb_window_t> frontToBack(stacking->crbegin(), stacking->crend());
    for (const X11Window& w : m_reader.read(frontToBack))
        if (w.exists && w.pid == pid && w.type != X11WindowType::desktop && w.type != X11WindowType::dock)
            out.append(w.id);
    return out;
}

AXResult X11Accessibility::copyAttribute(const AXElement& element, const QString& attribute) const
{
    if (element.pid <= 0)
        return {AXError::illegalArgument, {}};
    if (element.isApplication())
        return applicationAttribute(element.pid, attribute);
    if (element.ref > 0xFFFFFFFFull)
        return {AXError::invalidUIElement, {}};
    const X11Window window = m_reader.read(static_cast<xcb_window_t>(element.ref));
    // A window that closed, or one that is not this application's, is an element that no longer exists.
    if (!window.exists || (window.pid > 0 && window.pid != element.pid))
        return {AXError::invalidUIElement, {}};
    return windowAttribute(window, attribute);
}

AXResult X11Accessibility::applicationAttribute(std::int32_t pid, const QString& attribute) const
{
    if (attribute == AXAttr::role)
        return {AXError::success, QStringLiteral("AXApplication")};
    if (attribute != AXAttr::focusedWindow && attribute != AXAttr::windows && attribute != AXAttr::title)
        return {AXError::attributeUnsupported, {}};
    const QList<xcb_window_t> windows = windowsOf(pid);
    if (windows.isEmpty() && !processExists(pid))
        return {AXError::cannotComplete, {}};
    if (attribute == AXAttr::windows) {
        QList<AXElement> elements;
        for (const xcb_window_t w : windows)
            elements.append(AXElement{pid, w});
        return {AXError::success, QVariant::fromValue(elements)};
    }
    if (attribute == AXAttr::title) {
        const auto app = m_workspace.runningApplication(pid);
        if (!app)
            return {AXError::noValue, {}};
        return {AXError::success, app->localizedName};
    }
    // The focused window: the active one when it is this application's, else its frontmost one that is not minimised.
    const xcb_window_t active = m_reader.activeWindow();
    if (windows.contains(active))
        return {AXError::success, QVariant::fromValue(AXElement{pid, active})};
    for (const X11Window& w : m_reader.read(windows))
        if (w.exists && !w.hidden)
            return {AXError::success, QVariant::fromValue(AXElement{pid, w.id})};
    return {AXError::noValue, {}};
}

AXResult X11Accessibility::windowAttribute(const X11Window& window, const QString& attribute) const
{
    if (attribute == AXAttr::role)
        return {AXError::success, QStringLiteral("AXWindow")};
    if (attribute == AXAttr::subrole) {
        QString subrole = QStringLiteral("AXStandardWindow");
        if (window.type == X11WindowType::dialog)
            subrole = QStringLiteral("AXDialog");
        else if (window.type == X11WindowType::utility || window.type == X11WindowType::toolbar
                 || window.type == X11WindowType::menu)
            subrole = QStringLiteral("AXFloatingWindow");
        else if (window.transient)
            subrole = QStringLiteral("AXDialog");
        return {AXError::success, subrole};
    }
    if (attribute == AXAttr::title)
        return {AXError::success, window.name};
    if (attribute == AXAttr::position)
        return {AXError::success, QPointF(window.frameRect.topLeft() - m_screens.origin())};
    if (attribute == AXAttr::size)
        return {AXError::success, QSizeF(window.frameRect.size())};
    if (attribute == AXAttr::fullScreen)
        return {AXError::success, window.fullScreen};
    if (attribute == AXAttr::minimized)
        return {AXError::success, window.hidden};
    if (attribute == AXAttr::main || attribute == AXAttr::focused)
        return {AXError::success, m_reader.activeWindow() == window.id};
    return {AXError::attributeUnsupported, {}};
}

AXResult X11Accessibility::copyAttributeNames(const AXElement& element) const
{
    if (element.pid <= 0)
        return {AXError::illegalArgument, {}};
    if (element.isApplication())
        return {AXError::success, applicationAttributeNames};
    if (element.ref > 0xFFFFFFFFull || !m_reader.read(static_cast<xcb_window_t>(element.ref)).exists)
        return {AXError::invalidUIElement, {}};
    return {AXError::success, windowAttributeNames};
}

AXError X11Accessibility::setAttribute(const AXElement& element, const QString& attribute, const QVariant& value)
{
    if (element.pid <= 0)
        return AXError::illegalArgument;
    if (!m_actions)
        return AXError::cannotComplete;
    if (element.isApplication()) {
        if (attribute != AXAttr::focusedWindow)
            return AXError::attributeUnsupported;  // AXEnhancedUserInterface has no meaning on X
        if (!value.canConvert<AXElement>())
            return AXError::illegalArgument;
        const AXElement window = value.value<AXElement>();
        if (window.pid != element.pid || window.isApplication() || window.ref > 0xFFFFFFFFull)
            return AXError::illegalArgument;
        return m_actions->focus(static_cast<xcb_window_t>(window.ref)) ? AXError::success : AXError::cannotComplete;
    }
    if (element.ref > 0xFFFFFFFFull)
        return AXError::invalidUIElement;
    const auto window = static_cast<xcb_window_t>(element.ref);
    const X11Window w = m_reader.read(window);
    if (!w.exists || (w.pid > 0 && w.pid != element.pid))
        return AXError::invalidUIElement;
    if (attribute == AXAttr::position) {
        if (value.typeId() != QMetaType::QPointF && value.typeId() != QMetaType::QPoint)
            return AXError::illegalArgument;
        return m_actions->setPosition(window, value.toPointF()) ? AXError::success : AXError::invalidUIElement;
    }
    if (attribute == AXAttr::size) {
        if (value.typeId() != QMetaType::QSizeF && value.typeId() != QMetaType::QSize)
            return AXError::illegalArgument;
        return m_actions->setSize(window, value.toSizeF()) ? AXError::success : AXError::invalidUIElement;
    }
    if (attribute == AXAttr::main || attribute == AXAttr::focused) {
        if (value.typeId() != QMetaType::Bool)
            return AXError::illegalArgument;
        // There is no unfocusing a window on X without focusing another: false is accepted and changes nothing.
        if (!value.toBool())
            return AXError::success;
        return m_actions->focus(window) ? AXError::success : AXError::cannotComplete;
    }
    return AXError::attributeUnsupported;
}

AXError X11Accessibility::performAction(const AXElement& element, const QString& action)
{
    if (element.pid <= 0)
        return AXError::illegalArgument;
    if (action != AXAttr::raiseAction || element.isApplication())
        return AXError::actionUnsupported;
    if (!m_actions)
        return AXError::cannotComplete;
    if (element.ref > 0xFFFFFFFFull)
        return AXError::invalidUIElement;
    return m_actions->raise(static_cast<xcb_window_t>(element.ref)) ? AXError::success : AXError::invalidUIElement;
}

std::unique_ptr<AXObserverHandle> X11Accessibility::observe(std::int32_t pid, const QStringList& notifications,
                                                            AXCallback callback, AXError* status)
{
    static const QSet<QString> supported = {AXNotification::focusedWindowChanged, AXNotification::windowCreated,
                                            AXNotification::windowMoved, AXNotification::windowResized};
    auto observer = std::make_shared<Observer>();
    observer->pid = pid;
    observer->callback = std::move(callback);
    for (const QString& n : notifications)
        if (supported.contains(n))
            observer->notifications.insert(n);
    if (pid <= 0 || !processExists(pid)) {
        if (status)
            *status = AXError::cannotComplete;
        return nullptr;
    }
    if (observer->notifications.isEmpty() && !notifications.isEmpty()) {
        if (status)
            *status = AXError::notificationUnsupported;
        return nullptr;
    }
    // Moves and resizes are told apart by comparing with the frame last seen.
    for (const X11Window& w : m_reader.read(windowsOf(pid)))
        if (w.exists)
            m_frames.insert(w.id, {pid, w.frameRect});
    m_registry->observers.append(observer);
    if (status)
        *status = AXError::success;
    return std::make_unique<Handle>(observer, m_registry);
}

void X11Accessibility::deliver(std::int32_t pid, const QString& notification, xcb_window_t window)
{
    for (const auto& observer : std::as_const(m_registry->observers)) {
        if (observer->pid != pid || !observer->notifications.contains(notification))
            continue;
        // Delivered from the main loop, never from inside X event dispatch: a callback may drop its own observer.
        std::weak_ptr<Observer> weak = observer;
        QTimer::singleShot(0, this, [this, weak, notification, pid, window] {
            const auto o = weak.lock();
            if (!o || !o->alive || !o->callback)
                return;
            const X11WindowReader::Batch batch(m_reader);
            o->callback(notification, AXElement{pid, window});
        });
    }
}

void X11Accessibility::onConfigured(xcb_window_t window)
{
    const auto it = m_frames.find(window);
    if (it == m_frames.end())
        return;
    const X11Window w = m_reader.read(window);
    if (!w.exists) {
        m_frames.erase(it);
        return;
    }
    const auto [pid, before] = *it;
    *it = {pid, w.frameRect};
    if (w.frameRect.topLeft() != before.topLeft())
        deliver(pid, AXNotification::windowMoved, window);
    if (w.frameRect.size() != before.size())
        deliver(pid, AXNotification::windowResized, window);
}

}  // namespace tamsinvale

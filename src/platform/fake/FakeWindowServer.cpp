// Stacking, accessibility attributes and panel ordering of the simulated window server.
#include "FakeWindowServer.h"

#include "platform/ScreenCoordinates.h"

#include "FakeScreens.h"

namespace tamsinvale {

struct FakeWindowServer::Observer {
    std::int32_t pid = 0;
    QStringList notifications;
    AXCallback callback;
    bool alive = true;
};

struct FakeWindowServer::ObserverHandle : AXObserverHandle {
    std::shared_ptr<Observer> observer;
    std::int32_t pid() const override { return observer->pid; }
    ~ObserverHandle() override { observer->alive = false; }
};

FakeWindowServer::FakeWindowServer(FakeScreens& screens, std::int32_t ownPid) : m_screens(screens), m_ownPid(ownPid)
{
}

FakeWindowServer::~FakeWindowServer()
{
    for (FakeOverlayPanel* panel : m_panels)
        panel->m_server = nullptr;
}

int FakeWindowServer::indexOf(WindowNumber number) const { return static_cast<int>(m_stack.indexOf(number)); }

// Where a window of `layer` goes when brought to the front: before the first entry of its layer or lower.
qsizetype FakeWindowServer::frontIndexForLayer(int layer) const
{
    for (qsizetype i = 0; i < m_stack.size(); ++i) {
        const WindowNumber n = m_stack[i];
        int other = WindowLevel::normal;
        if (m_windows.contains(n))
            other = m_windows[n].layer;
        else
            for (const FakeOverlayPanel* p : m_panels)
                if (p->m_number == n)
                    other = p->m_level;
        if (other <= layer)
            return i;
    }
    return m_stack.size();
}

WindowNumber FakeWindowServer::addWindow(FakeWindow window)
{
    if (window.number == 0)
        window.number = allocateNumber();
    const WindowNumber number = window.number;
    m_windows.insert(number, window);
    m_stack.insert(frontIndexForLayer(window.layer), number);
    return number;
}

void FakeWindowServer::removeWindow(WindowNumber number)
{
    m_windows.remove(number);
    m_stack.removeAll(number);
    for (auto it = m_focusOverride.begin(); it != m_focusOverride.end();)
        it = it.value() == number ? m_focusOverride.erase(it) : std::next(it);
}

FakeWindow* FakeWindowServer::window(WindowNumber number)
{
    auto it = m_windows.find(number);
    return it == m_windows.end() ? nullptr : &it.value();
}

void FakeWindowServer::raise(WindowNumber number)
{
    if (!m_windows.contains(number))
        return;
    m_stack.removeAll(number);
    m_stack.insert(frontIndexForLayer(m_windows[number].layer), number);
}

QList<WindowNumber> FakeWindowServer::stackingOrder() const { return m_stack; }

QRectF FakeWindowServer::toWindowServer(const QRectF& r) const
{
    return ScreenCoordinates::of(m_screens).toWindowServer(r);
}

std::optional<WindowSnapshot> FakeWindowServer::onScreenWindows() const
{
    ++m_snapshots;
    if (!m_listReadable)
        return std::nullopt;
    WindowSnapshot out;
    for (const WindowNumber n : m_stack) {
        WindowSnapshotEntry e;
        e.number = n;
        if (m_windows.contains(n)) {
            const FakeWindow& w = m_windows[n];
            if (!w.onScreen || w.minimized)
                continue;
            e.ownerPid = w.pid;
            if (w.reportsLayer)
                e.layer = w.layer;
            e.onScreen = true;
            e.bounds = w.bounds;
            e.name = w.title;
            e.ownerName = w.ownerName;
            e.isMenuBar = w.isMenuBar;
        } else {
            const FakeOverlayPanel* panel = nullptr;
            for (const FakeOverlayPanel* p : m_panels)
                if (p->m_number == n)
                    panel = p;
            if (!panel)
                continue;
            e.ownerPid = m_ownPid;
            e.layer = panel->m_level;
            e.onScreen = true;
            e.bounds = toWindowServer(panel->m_frame);
            e.ownerName = QStringLiteral("Tamsinvale");
        }
        out.append(e);
    }
    return out;
}

bool FakeWindowServer::requestTrust()
{
    ++m_trustRequests;
    return m_trusted;
}

void FakeWindowServer::setFocusedWindow(std::int32_t pid, std::optional<WindowNumber> number)
{
    if (number)
        m_focusOverride.insert(pid, *number);
    else
        m_focusOverride.remove(pid);
}

void FakeWindowServer::setEnhancedUserInterface(std::int32_t pid, std::optional<bool> value)
{
    if (value)
        m_enhancedUI.insert(pid, *value);
    else
        m_enhancedUI.remove(pid);
}

std::optional<bool> FakeWindowServer::enhancedUserInterface(std::int32_t pid) const
{
    if (!m_enhancedUI.contains(pid))
        return std::nullopt;
    return m_enhancedUI.value(pid);
}

std::optional<WindowNumber> FakeWindowServer::focusedWindowOf(std::int32_t pid) const
{
    if (m_focusOverride.contains(pid))
        return m_focusOverride.value(pid);
    for (const WindowNumber n : m_stack)
        if (m_windows.contains(n)) {
            const FakeWindow& w = m_windows[n];
            if (w.pid == pid && w.accessible && !w.minimized)
                return n;
        }
    return std::nullopt;
}

namespace {
// Title elements are separate accessibility elements; keep their references apart from window numbers.
constexpr std::uint64_t titleElementFlag = 1ull << 40;
// Group elements between an application and its windows, for applications without a window list.
constexpr std::uint64_t groupElementFlag = 1ull << 41;

AXResult found(const QVariant& v) { return AXResult{AXError::success, v}; }
AXResult missing(AXError e = AXError::noValue) { return AXResult{e, {}}; }
}  // namespace

AXResult FakeWindowServer::copyAttribute(const AXElement& element, const QString& attribute) const
{
    if (!m_trusted)
        return missing(AXError::apiDisabled);
    if (const auto nesting = m_windowsNesting.constFind(element.pid); nesting != m_windowsNesting.cend()) {
        // No window list: the windows hang below `*nesting` levels of groups under the application element.
        const bool group = element.ref & groupElementFlag;
        if (element.isApplication() || group) {
            const int level = group ? int(element.ref & 0xff) + 1 : 0;
            if (attribute == AXAttr::role)
                return found(group ? QStringLiteral("AXGroup") : QStringLiteral("AXApplication"));
            if (element.isApplication() && attribute == AXAttr::windows)
                return missing(AXError::attributeUnsupported);
            if (attribute == AXAttr::children) {
                if (level < *nesting)
                    return found(QVariant::fromValue(QList<AXElement>{{element.pid, groupElementFlag | quint64(level)}}));
                QList<AXElement> list;
                for (const WindowNumber n : m_stack)
                    if (m_windows.contains(n) && m_windows[n].pid == element.pid && m_windows[n].accessible)
                        list.append(AXElement{element.pid, n});
                return found(QVariant::fromValue(list));
            }
            if (group)
                return missing(AXError::attributeUnsupported);
        }
    }
    if (element.isApplication()) {
        if (attribute == AXAttr::focusedWindow) {
            const auto focused = focusedWindowOf(element.pid);
            if (!focused)
                return missing();
            return found(QVariant::fromValue(AXElement{element.pid, *focused}));
        }
        if (attribute == AXAttr::windows) {
            QList<AXElement> list;
            for (const WindowNumber n : m_stack)
                if (m_windows.contains(n) && m_windows[n].pid == element.pid && m_windows[n].accessible)
                    list.append(AXElement{element.pid, n});
            // Minimised windows are off the stack's visible part but still belong to the application.
            return found(QVariant::fromValue(list));
        }
        if (attribute == AXAttr::enhancedUserInterface) {
            const auto v = enhancedUserInterface(element.pid);
            return v ? found(*v) : missing(AXError::attributeUnsupported);
        }
        return missing(AXError::attributeUnsupported);
    }
    if (element.ref & titleElementFlag) {
        const WindowNumber n = static_cast<WindowNumber>(element.ref & ~titleElementFlag);
        if (!m_windows.contains(n))
            return missing(AXError::invalidUIElement);
        if (attribute == AXAttr::value)
            return found(m_windows[n].titleElementValue);
        return missing(AXError::attributeUnsupported);
    }
    const WindowNumber n = static_cast<WindowNumber>(element.ref);
    if (!m_windows.contains(n) || !m_windows[n].accessible)
        return missing(AXError::invalidUIElement);
    const FakeWindow& w = m_windows[n];
    if (attribute == AXAttr::role)
        return found(w.role);
    if (attribute == AXAttr::subrole)
        return found(w.subrole);
    if (attribute == AXAttr::title)
        return found(w.title);
    if (attribute == AXAttr::position)
        return found(w.bounds.topLeft());
    if (attribute == AXAttr::size)
        return found(w.bounds.size());
    if (attribute == AXAttr::fullScreen)
        return found(w.fullScreen);
    if (attribute == AXAttr::minimized)
        return found(w.minimized);
    if (attribute == AXAttr::document)
        return w.document.isEmpty() ? missing() : found(w.document);
    if (attribute == AXAttr::filename)
        return w.filename.isEmpty() ? missing() : found(w.filename);
    if (attribute == AXAttr::titleUIElement)
        return w.titleElementValue.isEmpty() ? missing()
                                             : found(QVariant::fromValue(AXElement{w.pid, n | titleElementFlag}));
    if (attribute == AXAttr::children)
        return found(QVariant::fromValue(QList<AXElement>{}));
    return missing(AXError::attributeUnsupported);
}

AXResult FakeWindowServer::copyAttributeNames(const AXElement& element) const
{
    if (!m_trusted)
        return missing(AXError::apiDisabled);
    if (element.isApplication())
        return found(QStringList{AXAttr::focusedWindow, AXAttr::windows});
    return found(QStringList{AXAttr::role, AXAttr::subrole, AXAttr::title, AXAttr::position, AXAttr::size});
}

AXError FakeWindowServer::setAttribute(const AXElement& element, const QString& attribute, const QVariant& value)
{
    if (!m_trusted)
        return AXError::apiDisabled;
    if (element.isApplication()) {
        if (attribute == AXAttr::enhancedUserInterface) {
            m_writes << QStringLiteral("%1=%2").arg(attribute, value.toBool() ? "true" : "false");
            m_enhancedUI.insert(element.pid, value.toBool());
            return AXError::success;
        }
        if (attribute == AXAttr::focusedWindow) {
            const auto target = value.value<AXElement>();
            m_writes << QStringLiteral("%1=%2").arg(attribute).arg(target.ref);
            m_focusOverride.insert(element.pid, static_cast<WindowNumber>(target.ref));
            return AXError::success;
        }
        return AXError::attributeUnsupported;
    }
    const WindowNumber n = static_cast<WindowNumber>(element.ref);
    if (!m_windows.contains(n))
        return AXError::invalidUIElement;
    FakeWindow& w = m_windows[n];
    if (attribute == AXAttr::position) {
        const QPointF p = value.toPointF();
        m_writes << QStringLiteral("%1=%2,%3").arg(attribute).arg(p.x()).arg(p.y());
        w.bounds.moveTopLeft(p);
        return AXError::success;
    }
    if (attribute == AXAttr::size) {
        const QSizeF s = value.toSizeF();
        m_writes << QStringLiteral("%1=%2x%3").arg(attribute).arg(s.width()).arg(s.height());
        w.bounds.setSize(s);
        return AXError::success;
    }
    if (attribute == AXAttr::main || attribute == AXAttr::focused) {
        m_writes << QStringLiteral("%1=%2").arg(attribute, value.toBool() ? "true" : "false");
        if (value.toBool())
            m_focusOverride.insert(w.pid, n);
        return AXError::success;
    }
    return AXError::attributeUnsupported;
}

AXError FakeWindowServer::performAction(const AXElement& element, const QString& action)
{
    if (!m_trusted)
        return AXError::apiDisabled;
    if (action != AXAttr::raiseAction)
        return AXError::actionUnsupported;
    const WindowNumber n = static_cast<WindowNumber>(element.ref);
    if (!m_windows.contains(n))
        return AXError::invalidUIElement;
    m_writes << action;
    raise(n);
    return AXError::success;
}

std::unique_ptr<AXObserverHandle> FakeWindowServer::observe(std::int32_t pid, const QStringList& notifications,
                                                            AXCallback callback, AXError* status)
{
    const AXError result = !m_trusted ? AXError::apiDisabled : m_observerFailure.value_or(AXError::success);
    if (status)
        *status = result;
    if (result != AXError::success)
        return nullptr;
    auto observer = std::make_shared<Observer>();
    observer->pid = pid;
    observer->notifications = notifications;
    observer->callback = std::move(callback);
    m_observers.append(observer);
    auto handle = std::make_unique<ObserverHandle>();
    handle->observer = observer;
    return handle;
}

void FakeWindowServer::postNotification(std::int32_t pid, const QString& notification, const AXElement& element)
{
    m_observers.removeIf([](const std::shared_ptr<Observer>& o) { return !o->alive; });
    const auto observers = m_observers;  // a callback may add or drop observers
    for (const auto& o : observers)
        if (o->alive && o->pid == pid && o->notifications.contains(notification))
            o->callback(notification, element);
}

int FakeWindowServer::observerCount(std::int32_t pid) const
{
    int n = 0;
    for (const auto& o : m_observers)
        if (o->alive && o->pid == pid)
            ++n;
    return n;
}

std::unique_ptr<OverlayPanel> FakeWindowServer::createPanel(const QRectF& frame, int level)
{
    auto panel = std::make_unique<FakeOverlayPanel>(*this, allocateNumber(), frame, level);
    panel->m_madeTranslucent = m_translucency;
    m_panels.append(panel.get());
    return panel;
}

void FakeWindowServer::setTranslucencyAvailable(bool available)
{
    if (available == m_translucency)
        return;
    m_translucency = available;
    translucencyChanged();
}

void FakeWindowServer::panelDestroyed(FakeOverlayPanel* panel)
{
    m_panels.removeAll(panel);
    m_stack.removeAll(panel->m_number);
}

void FakeWindowServer::removeFromStack(WindowNumber number) { m_stack.removeAll(number); }

void FakeWindowServer::insertPanel(FakeOverlayPanel* panel, qsizetype index)
{
    m_stack.removeAll(panel->m_number);
    m_stack.insert(std::clamp<qsizetype>(index, 0, m_stack.size()), panel->m_number);
}

FakeOverlayPanel::FakeOverlayPanel(FakeWindowServer& server, WindowNumber number, const QRectF& frame, int level)
    : m_server(&server), m_number(number), m_frame(frame), m_level(level)
{
}

FakeOverlayPanel::~FakeOverlayPanel()
{
    if (m_server)
        m_server->panelDestroyed(this);
}

void FakeOverlayPanel::setFrame(const QRectF& frame)
{
    if (frame != m_frame)
        ++m_frameChanges;
    m_frame = frame;
}

void FakeOverlayPanel::setAppearance(const OverlayAppearance& appearance)
{
    ++m_appearanceChanges;
    m_appearance = appearance;
}

void FakeOverlayPanel::orderBelow(WindowNumber window)
{
    if (!m_server)
        return;
    const int index = m_server->indexOf(window);
    if (index < 0 || window == m_number)
        return;  // the window has gone: stay where we are
    m_server->removeFromStack(m_number);
    m_server->insertPanel(this, m_server->indexOf(window) + 1);
    m_visible = true;
    m_orderedBelow = window;
}

void FakeOverlayPanel::orderFrontRegardless()
{
    if (!m_server)
        return;
    m_server->removeFromStack(m_number);
    m_server->insertPanel(this, m_server->frontIndexForLayer(m_level));
    m_visible = true;
    m_orderedBelow.reset();
}

void FakeOverlayPanel::orderOut()
{
    if (m_server)
        m_server->removeFromStack(m_number);
    m_visible = false;
    m_orderedBelow.reset();
}

}  // namespace tamsinvale

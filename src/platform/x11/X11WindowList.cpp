// Builds the front-to-back window snapshot from one batch of X requests.
#include "X11WindowList.h"

#include "X11Connection.h"
#include "X11Screens.h"
#include "X11WindowReader.h"

#include <QCoreApplication>
#include <algorithm>
#include <unistd.h>

namespace tamsinvale {

namespace {

// macOS levels that the X11 kinds map onto (the dock level and pop-up menus have no constant of their own).
constexpr int dockLevel = 20;
constexpr int popUpMenuLevel = 101;

}  // namespace

X11WindowList::X11WindowList(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                             OwnerNameResolver ownerName)
    : m_connection(connection), m_reader(reader), m_screens(screens), m_ownerName(std::move(ownerName))
{
}

void X11WindowList::registerOwnPanel(xcb_window_t window, int level) { m_ownPanels.insert(window, level); }

void X11WindowList::unregisterOwnPanel(xcb_window_t window) { m_ownPanels.remove(window); }

int X11WindowList::layerFor(const X11Window& window, const QList<X11Monitor>& monitors, bool* isMenuBar)
{
    if (isMenuBar)
        *isMenuBar = false;
    switch (window.type) {
    case X11WindowType::dock:
        // A panel spanning a monitor's top edge plays the part of the menu bar there.
        for (const X11Monitor& m : monitors) {
            const QRect& r = window.frameRect;
            if (qAbs(r.top() - m.rect.top()) <= 1 && r.left() <= m.rect.left() + 1 && r.right() >= m.rect.right() - 1) {
                if (isMenuBar)
                    *isMenuBar = true;
                return WindowLevel::mainMenu;
            }
        }
        return dockLevel;
    case X11WindowType::notification:
        return WindowLevel::status;
    case X11WindowType::popup:
        return popUpMenuLevel;
    case X11WindowType::utility:
    case X11WindowType::toolbar:
    case X11WindowType::menu:
        return WindowLevel::floating;
    default:
        break;
    }
    // Full-screen windows sit at the normal level, as they do on macOS; the logic recognises them by their state.
    if (window.above && !window.fullScreen)
        return WindowLevel::floating;
    return WindowLevel::normal;
}

std::optional<WindowSnapshot> X11WindowList::onScreenWindows() const
{
    const auto all = allWindows();
    if (!all)
        return std::nullopt;
    WindowSnapshot out;
    out.reserve(all->size());
    for (const X11ListedWindow& w : *all)
        if (w.entry.onScreen.value_or(true))
            out.append(w.entry);
    return out;
}

std::optional<QList<X11ListedWindow>> X11WindowList::allWindows() const
{
    const auto [stacking, desktop] = m_reader.stackingAndDesktop();
    if (!stacking)
        return std::nullopt;

    // Bottom to top; our panels are root children the manager does not list, so they are placed by the root's
    // own stacking against the clients' frames.
    QList<xcb_window_t> order = *stacking;
    QList<bool> isPanel(order.size(), false);
    if (!m_ownPanels.isEmpty()) {
        const QList<xcb_window_t> children = m_reader.rootChildren();
        QHash<xcb_window_t, int> rootIndex;
        for (int i = 0; i < children.size(); ++i)
            rootIndex.insert(children[i], i);
        const QList<xcb_window_t> frames = m_reader.topLevelAncestors(*stacking);
        struct Keyed {
            double key;
            xcb_window_t window;
            bool panel;
        };
        QList<Keyed> keyed;
        double last = -1;
        for (qsizetype i = 0; i < stacking->size(); ++i) {
            const auto it = rootIndex.constFind(frames[i]);
            if (it != rootIndex.cend())
                last = *it;
            keyed.append({last, stacking->at(i), false});
        }
        for (auto it = m_ownPanels.cbegin(); it != m_ownPanels.cend(); ++it) {
            const auto found = rootIndex.constFind(it.key());
            if (found != rootIndex.cend())
                keyed.append({*found + 0.5, it.key(), true});
        }
        std::stable_sort(keyed.begin(), keyed.end(), [](const Keyed& a, const Keyed& b) { return a.key < b.key; });
        order.clear();
        isPanel.clear();
        for (const Keyed& k : keyed) {
            order.append(k.window);
            isPanel.append(k.panel);
        }
    }

    const QList<X11Window> windows = m_reader.read(order);
    const QList<X11Monitor> monitors = m_screens.monitors();
    const QPoint origin = m_screens.origin();
    const std::int32_t ownPid = static_cast<std::int32_t>(::getpid());

    QList<X11ListedWindow> out;
    out.reserve(windows.size());
    for (qsizetype i = windows.size() - 1; i >= 0; --i) {
        const X11Window& w = windows[i];
        if (!w.exists || w.type == X11WindowType::desktop)
            continue;
        X11ListedWindow row;
        row.window = w;
        row.ownPanel = isPanel[i];
        WindowSnapshotEntry& e = row.entry;
        e.number = w.id;
        e.name = w.name;
        e.bounds = QRectF(w.frameRect.translated(-origin));
        if (row.ownPanel) {
            e.ownerPid = ownPid;
            e.layer = m_ownPanels.value(w.id);
            e.onScreen = w.viewable;
            e.ownerName = QCoreApplication::applicationName();
        } else {
            e.ownerPid = w.pid;
            e.layer = layerFor(w, monitors, &e.isMenuBar);
            const bool onDesktop = w.sticky || w.desktop == 0xFFFFFFFFu || !desktop || w.desktop == *desktop;
            e.onScreen = w.viewable && !w.hidden && onDesktop;
            e.ownerName = m_ownerName ? m_ownerName(w) : w.wmClass;
        }
        out.append(row);
    }
    return out;
}

void X11WindowList::beginReadBatch() const { m_reader.beginBatch(); }

void X11WindowList::endReadBatch() const { m_reader.endBatch(); }

}  // namespace tamsinvale

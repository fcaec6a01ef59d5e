// The app switcher's content as logic: the view state, the row list, and the key handler that decides what
// every key does. The panel widget only draws this and forwards keys and clicks.
#pragma once

#include <QList>
#include <QObject>
#include <QSet>
#include <QUuid>
#include <functional>
#include <optional>

#include "ShortcutInputState.h"
#include "platform/Scheduler.h"
#include "SwitcherKeyEvent.h"
#include "SwitcherRow.h"

namespace tamsinvale {

class AppDiscoveryStore;
class Scheduler;
class ShortcutStore;
class SwitcherKeyRouter;

class SwitcherView : public QObject {
    Q_OBJECT
public:
    inline static const QString footerHint = QStringLiteral("Type to filter, press key to switch, Esc to close");
    inline static const QString secondKeyHint = QStringLiteral("Press second key");
    // Right after start the installed applications are not known yet; keys typed then wait this long at most for
    // the first scan, so that a discovered binding is not answered with a beep.
    static constexpr double firstScanWaitSeconds = 3.0;

    SwitcherView(ShortcutStore& store, AppDiscoveryStore& discovery, SwitcherKeyRouter& router, Scheduler& scheduler,
                 QObject* parent = nullptr);

    // Closes the panel; set by the controller.
    std::function<void()> onClose;
    // Opens the settings window; set by the controller.
    std::function<void()> onOpenSettings;

    // A closed session's view: it no longer follows the stores (its list is not shown again).
    void stopFollowingStores();
    // The appear action: claims the switcher for this session, refreshes discovery, registers the handler.
    void appear();
    std::optional<SwitcherKeyEvent> handleKey(const SwitcherKeyEvent& event);
    // A key the handler passed on, offered to the filter field while it has focus; false when nobody takes it.
    bool editFilter(const SwitcherKeyEvent& event);
    // A click on a row: the same as Return on it.
    void choose(int index);

    // The current row list, kept up to date as the filter, the input state and the stores change.
    const QList<SwitcherRow>& rows() const { return m_rows; }
    // What the last change of the row list touched: rows whose content changed (by index in the new list), and
    // whether rows came, went or moved.
    struct RowChange {
        QSet<int> changedRows;
        bool reordered = false;
        bool isEmpty() const { return changedRows.isEmpty() && !reordered; }
    };
    const RowChange& lastRowChange() const { return m_lastChange; }
    // How many times the row list was computed; a refresh that changes nothing computes none.
    int rowListBuilds() const { return m_rowListBuilds; }
    QString headerHint() const;
    // The file whose icon a row shows (discovered: the app; custom: its resolved path or the installed app).
    std::optional<QString> iconPath(const SwitcherRow& row) const;

    const QString& filter() const { return m_filter; }
    bool searchFocused() const { return m_searchFocused; }
    std::optional<int> selectedIndex() const { return m_selectedIndex; }
    const QUuid& sessionId() const { return m_sessionId; }
    const ShortcutInputState& inputState() const { return m_inputState; }

    void setFilter(const QString& filter);
    void setSearchFocused(bool focused);

signals:
    void changed();
    // The row list changed as `lastRowChange` says (emitted before `changed`).
    void rowsChanged();

private:
    QList<SwitcherRow> computeRows() const;
    // Recomputes the list; `keepSelection`: the selected row stays selected where it went.
    void updateRows(bool keepSelection);
    void selectFirstOrNone();
    void closeAndActivate(const SwitcherRow& row);
    QStringList keysOf(const DiscoveredApp& app) const;
    void registerKeyHandler();

    ShortcutStore& m_store;
    AppDiscoveryStore& m_discovery;
    SwitcherKeyRouter& m_router;
    Scheduler& m_scheduler;
    QString m_filter;
    bool m_searchFocused = false;
    std::optional<int> m_selectedIndex;
    QUuid m_sessionId = QUuid::createUuid();
    ShortcutInputState m_inputState;
    QList<SwitcherRow> m_rows;
    RowChange m_lastChange;
    int m_rowListBuilds = 0;
    bool m_appeared = false;
    TaskHandle m_firstScanWait;
    QMetaObject::Connection m_firstScanDone;
};

}  // namespace tamsinvale

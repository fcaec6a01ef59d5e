// The switcher's key handling on the simulated desktop: one- and two-key sequences, precedence, the filter,
// navigation, the session guard and the buffer that keeps keys typed before the handler exists.
#include <gtest/gtest.h>

#include "SwitcherTestSupport.h"
#include "switcher/SwitcherActivity.h"
#include "switcher/SwitcherKeyRouter.h"
#include "switcher/SwitcherView.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

SwitcherKeyEvent key(const QString& text) { return SwitcherKeyEvent{0, text, 0}; }
const SwitcherKeyEvent escape{SwitcherKeyEvent::escape, QStringLiteral("\x1b"), 0};
const SwitcherKeyEvent up{SwitcherKeyEvent::upArrow, {}, 0};
const SwitcherKeyEvent down{SwitcherKeyEvent::downArrow, {}, 0};
const SwitcherKeyEvent enter{SwitcherKeyEvent::returnKey, QStringLiteral("\r"), 0};

struct Session : SwitcherRig {
    Session(std::initializer_list<Installed> installed) : SwitcherRig(installed) {}

    void open()
    {
        router = std::make_unique<SwitcherKeyRouter>();
        view = std::make_unique<SwitcherView>(store, discovery, *router, desktop.scheduler);
        view->onClose = [this] {
            ++closes;
            SwitcherActivity::shared().setMode(std::nullopt);
        };
        view->onOpenSettings = [this] { ++settingsOpened; };
        view->appear();
        desktop.scheduler.runPending();  // the refresh started by appearing
    }
    std::optional<SwitcherKeyEvent> type(const SwitcherKeyEvent& e) { return router->route(e); }
    // Running instances so that activation is observable as an activation of a pid.
    void run(std::int32_t pid, const QString& id)
    {
        desktop.workspace.addApplication(desktop.makeApp(pid, id, id));
    }
    QList<std::int32_t> activatedPids() const
    {
        QList<std::int32_t> out;
        for (const auto& a : desktop.workspace.activations())
            out.append(a.first);
        return out;
    }
    QStringList rowIds() const
    {
        QStringList out;
        for (const SwitcherRow& r : view->rows())
            out.append(r.identity());
        return out;
    }

    std::unique_ptr<SwitcherKeyRouter> router;
    std::unique_ptr<SwitcherView> view;
    int closes = 0;
    int settingsOpened = 0;
};

}  // namespace

TEST(SwitcherKeys, twoKeySequenceSharesItsFirstKeyWithASingleKeyShortcut)
{
    Session s({{"org.mail", "Mail"}, {"org.music", "Music"}});
    s.run(101, "org.mail");
    s.run(102, "org.music");
    s.store.setDiscoveredKey(QString("m"), s.app("org.mail"));
    s.store.setDiscoveredSecondKey(QString("a"), s.app("org.mail"));
    const QUuid music = *s.store.addShortcut(s.applications() + "/org.music.desktop");
    s.store.setKey(music, QString("m"));
    s.open();

    EXPECT_FALSE(s.type(key("M")));
    EXPECT_EQ(s.view->inputState(), ShortcutInputState::waitingForSecondKey("m"));
    EXPECT_EQ(s.view->headerHint(), "Press second key");
    EXPECT_EQ(s.rowIds(), QStringList({"disc:org.mail", "cust:" + music.toString(QUuid::WithoutBraces).toUpper()}));
    EXPECT_EQ(s.view->selectedIndex(), 0);

    EXPECT_FALSE(s.type(key("x")));  // no such second key: keep waiting
    EXPECT_FALSE(s.view->inputState().isIdle());
    EXPECT_FALSE(s.type(escape));
    EXPECT_TRUE(s.view->inputState().isIdle());
    EXPECT_EQ(s.closes, 0);

    // The first key again reaches the single-key shortcut, one main-queue turn after closing.
    s.type(key("m"));
    s.type(key("m"));
    EXPECT_EQ(s.closes, 1);
    EXPECT_TRUE(s.activatedPids().isEmpty());
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.activatedPids(), QList<std::int32_t>({102}));

    // In a new session the second key reaches the discovered app.
    s.open();
    s.type(key("m"));
    s.type(key("a"));
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.activatedPids(), QList<std::int32_t>({102, 101}));
    EXPECT_EQ(s.desktop.workspace.activations().last().second, true);  // all windows
}

TEST(SwitcherKeys, customShortcutWinsOverADiscoveredBindingAndUnboundKeysPassThrough)
{
    Session s({{"org.kate", "Kate"}, {"org.krita", "Krita"}});
    s.run(201, "org.kate");
    s.run(202, "org.krita");
    s.store.setDiscoveredKey(QString("k"), s.app("org.kate"));
    s.store.setKey(*s.store.addShortcut(s.applications() + "/org.krita.desktop"), QString("k"));
    s.open();
    EXPECT_FALSE(s.type(key("K")));
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.activatedPids(), QList<std::int32_t>({202}));

    s.open();
    const auto passed = s.type(key("q"));
    ASSERT_TRUE(passed);
    EXPECT_EQ(passed->characters, "q");
    EXPECT_EQ(s.closes, 1);  // only the earlier activation closed the panel
    // Keys that type nothing or more than one character are passed on too.
    EXPECT_TRUE(s.type(SwitcherKeyEvent{122, {}, 0}));
    EXPECT_TRUE(s.type(key("ab")));
}

TEST(SwitcherKeys, fOpensTheFilterAndTheFieldThenTakesTheTyping)
{
    Session s({{"org.firefox", "Firefox"}, {"org.files", "Files"}, {"org.gimp", "GIMP"}});
    s.store.setDiscoveredKey(QString("f"), s.app("org.firefox"));
    s.store.setDiscoveredKey(QString("g"), s.app("org.gimp"));
    s.open();
    EXPECT_EQ(s.view->rows().size(), 4);  // every app, bound or not, and the settings row

    EXPECT_FALSE(s.type(key("f")));
    EXPECT_TRUE(s.view->searchFocused());
    EXPECT_EQ(s.closes, 0);
    const auto passed = s.type(key("g"));
    ASSERT_TRUE(passed);  // the handler leaves it to the field
    EXPECT_TRUE(s.view->editFilter(*passed));
    // One character matches by first key as well as by name.
    EXPECT_EQ(s.rowIds(), QStringList({"disc:org.gimp", "settings"}));
    s.view->editFilter(key("i"));
    EXPECT_EQ(s.rowIds(), QStringList({"disc:org.gimp"}));
    s.view->editFilter(SwitcherKeyEvent{SwitcherKeyEvent::deleteKey, {}, 0});
    s.view->editFilter(SwitcherKeyEvent{SwitcherKeyEvent::deleteKey, {}, 0});
    s.view->editFilter(key("f"));
    s.view->editFilter(key("I"));
    EXPECT_EQ(s.rowIds(), QStringList({"disc:org.files", "disc:org.firefox"}));
    // Return takes the selected row even while the field has focus.
    s.type(down);
    s.type(enter);
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.desktop.workspace.openRequests(), QStringList({s.applications() + "/org.firefox.desktop"}));

    // After Tab the keys reach the bindings again; f is still usable as a second key.
    s.open();
    s.type(key("f"));
    s.view->editFilter(SwitcherKeyEvent{SwitcherKeyEvent::tab, {}, 0});
    EXPECT_FALSE(s.view->searchFocused());
    s.store.setDiscoveredSecondKey(QString("f"), s.app("org.gimp"));
    s.type(key("g"));
    s.type(key("f"));
    EXPECT_EQ(s.closes, 2);
}

TEST(SwitcherKeys, arrowsStayWithinTheRowsAndReturnOpensSettings)
{
    Session s{{"org.a", "Alpha"}};
    s.open();
    ASSERT_EQ(s.view->rows().size(), 2);
    s.type(up);
    EXPECT_EQ(s.view->selectedIndex(), 0);
    s.type(down);
    s.type(down);
    s.type(down);
    EXPECT_EQ(s.view->selectedIndex(), 1);
    s.type(enter);
    EXPECT_EQ(s.closes, 1);
    EXPECT_EQ(s.settingsOpened, 0);
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.settingsOpened, 1);

    // A click is Return on that row.
    s.open();
    s.view->choose(0);
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.desktop.workspace.openRequests().size(), 1);
}

TEST(SwitcherKeys, anOldSessionPassesKeysOnAndEscapeClosesWhenIdle)
{
    Session s{{"org.a", "Alpha"}};
    s.store.setDiscoveredKey(QString("a"), s.app("org.a"));
    s.open();
    SwitcherView* old = s.view.get();
    SwitcherActivity::shared().setMode(SwitcherActivity::Kind::windows(QUuid::createUuid()));
    EXPECT_TRUE(old->handleKey(key("a")));
    EXPECT_EQ(s.closes, 0);

    SwitcherActivity::shared().setMode(SwitcherActivity::Kind::app(old->sessionId()));
    EXPECT_FALSE(s.type(escape));
    EXPECT_EQ(s.closes, 1);
}

TEST(SwitcherKeys, keysBeforeTheHandlerAreBufferedAndReplayedInOrder)
{
    Session s({{"org.a", "Alpha"}, {"org.b", "Beta"}});
    s.run(301, "org.b");
    s.store.setDiscoveredKey(QString("b"), s.app("org.b"));
    s.store.setDiscoveredSecondKey(QString("e"), s.app("org.b"));
    SwitcherKeyRouter router;
    // Typed before the view appeared: an unbound key, then the sequence.
    EXPECT_FALSE(router.route(key("z")));
    EXPECT_FALSE(router.route(key("b")));
    EXPECT_FALSE(router.route(key("e")));
    EXPECT_EQ(router.pending().size(), 3);

    SwitcherView view(s.store, s.discovery, router, s.desktop.scheduler);
    int closes = 0;
    view.onClose = [&] { ++closes; };
    view.appear();
    EXPECT_TRUE(router.pending().isEmpty());
    EXPECT_EQ(closes, 1);
    s.desktop.scheduler.runPending();
    EXPECT_EQ(s.activatedPids(), QList<std::int32_t>({301}));
    EXPECT_EQ(s.desktop.workspace.beeps(), 0);  // the passed-through z was dropped, not beeped
}

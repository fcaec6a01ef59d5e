// Activating targets on the simulated desktop: running instance, stored path, bundle identifier fallback,
// scripts with the interpreter search, one process per shortcut, and the window search after a launch.
#include <gtest/gtest.h>

#include "SwitcherTestSupport.h"
#include "services/LaunchOverlayController.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

struct Activation {
    Activation()
    {
        store.setLaunchOverlay(&overlay);
        store.setAlertPresenter([this](const QString& title, const QString& message) {
            alerts.append(title + " | " + message);
        });
    }
    AppShortcut shortcutFor(const QString& path, const std::optional<QString>& bundleIdentifier = std::nullopt)
    {
        desktop.bookmarks.addFile(path);
        AppShortcut s;
        s.id = QUuid::createUuid();
        s.name = QFileInfo(path).completeBaseName();
        s.bundleIdentifier = bundleIdentifier;
        s.appBookmarkData = desktop.bookmarks.create(path);
        s.key = "k";
        return s;
    }
    RunningApp app(std::int32_t pid, const QString& id, ActivationPolicy policy = ActivationPolicy::regular)
    {
        RunningApp a = desktop.makeApp(pid, id, id);
        a.activationPolicy = policy;
        return a;
    }
    bool overlayUp() const { return overlay.isVisible() && !overlay.isFadingOut(); }

    FakeDesktop desktop;
    LaunchOverlayController overlay{desktop.platform()};
    ShortcutStore store{desktop.platform()};
    QStringList alerts;
};

const QString python = QStringLiteral("/opt/homebrew/bin/python3");

}  // namespace

TEST(Activation, runningRegularInstanceFirstThenTheStoredPathWithTheOverlay)
{
    Activation a;
    const AppShortcut editor = a.shortcutFor("/usr/share/applications/editor.desktop", QString("editor"));
    a.desktop.workspace.addApplication(a.app(40, "editor"));
    a.store.activate(editor);
    EXPECT_EQ(a.desktop.workspace.activations(), (QList<std::pair<std::int32_t, bool>>{{40, true}}));
    EXPECT_TRUE(a.desktop.workspace.openRequests().isEmpty());
    EXPECT_FALSE(a.overlay.isVisible());

    // An accessory instance is not an app window to bring forward: open from the stored path instead.
    a.desktop.workspace.terminate(40);
    a.desktop.workspace.addApplication(a.app(41, "editor", ActivationPolicy::accessory));
    a.desktop.workspace.scriptOpen(editor.appBookmarkData.mid(9), true, a.app(42, "editor"), 1.0);
    a.store.activate(editor);
    EXPECT_EQ(a.desktop.workspace.openRequests(), QStringList({"/usr/share/applications/editor.desktop"}));
    EXPECT_TRUE(a.overlayUp());
    EXPECT_EQ(a.overlay.model().message(), QString("editor") + QChar(0x2026));
    EXPECT_TRUE(a.overlay.model().icon());
    a.desktop.scheduler.advance(1.0);
    EXPECT_TRUE(a.overlay.isFadingOut());
    a.desktop.scheduler.advance(0.5);
    EXPECT_FALSE(a.overlay.isVisible());
    EXPECT_EQ(a.desktop.bookmarks.openAccesses(), 0);
}

TEST(Activation, aBookmarkThatNoLongerResolvesFallsBackToTheIdentifier)
{
    Activation a;
    const AppShortcut moved = a.shortcutFor("/old/place/term.desktop", QString("term"));
    a.desktop.bookmarks.removeFile("/old/place/term.desktop");
    a.desktop.workspace.installApplication("term", "/usr/share/applications/term.desktop");
    a.store.activate(moved);
    EXPECT_EQ(a.desktop.workspace.openRequests(), QStringList({"/usr/share/applications/term.desktop"}));
    EXPECT_FALSE(a.overlay.isVisible());  // no overlay on this path

    const AppShortcut gone = a.shortcutFor("/old/gone.desktop");
    a.desktop.bookmarks.removeFile("/old/gone.desktop");
    a.store.activate(gone);
    EXPECT_EQ(a.desktop.workspace.openRequests().size(), 1);
    EXPECT_TRUE(a.alerts.isEmpty());
}

TEST(Activation, discoveredAppActivatesARunningInstanceOrOpensItsEntry)
{
    Activation a;
    const DiscoveredApp calc{"calc", "Calculator", QString("calc"), "/usr/share/applications/calc.desktop", {}};
    a.desktop.workspace.scriptOpen(calc.url, true, a.app(60, "calc"), 0.3);
    a.store.activate(calc);
    EXPECT_TRUE(a.overlayUp());
    a.desktop.scheduler.advance(0.3);
    EXPECT_EQ(a.desktop.workspace.activations().last(), (std::pair<std::int32_t, bool>{60, true}));
    a.desktop.scheduler.advance(1);
    a.store.activate(calc);
    EXPECT_EQ(a.desktop.workspace.openRequests().size(), 1);
    EXPECT_EQ(a.desktop.workspace.activations().size(), 2);
}

TEST(Activation, interpreterSearchAsksLoginShellsFirstThenFixedPaths)
{
    Activation a;
    // No SHELL, python3 only under Homebrew's prefix: no shell answers, the fixed list finds it.
    a.desktop.processes.setExecutable(python);
    EXPECT_EQ(a.store.resolvePythonInterpreter(), python);
    const QList<QStringList> tried = a.desktop.processes.runs();
    ASSERT_EQ(tried.size(), 3);
    EXPECT_EQ(tried[0], QStringList({"/bin/zsh", "-l", "-c", "which python3"}));
    EXPECT_EQ(tried[1], QStringList({"/bin/bash", "-l", "-c", "which python3"}));
    EXPECT_EQ(tried[2], QStringList({"/usr/bin/env", "which", "python3"}));

    // The user's shell wins when it answers with an executable path; junk output and failures do not count.
    Activation b;
    b.desktop.processes.setEnvironment({{"SHELL", "/usr/bin/fish"}});
    b.desktop.processes.scriptRun("/usr/bin/fish", {"-l", "-c", "which python3"}, {true, 0, "/home/u/.pyenv/python3\n", {}});
    b.desktop.processes.scriptRun("/bin/zsh", {"-l", "-c", "which python3"}, {true, 0, "\xff\xfe/bin/python3", {}});
    b.desktop.processes.scriptRun("/bin/bash", {"-l", "-c", "which python3"}, {true, 1, "/usr/bin/python3", {}});
    b.desktop.processes.setExecutable("/usr/bin/python3");
    b.desktop.processes.setExecutable("/bin/python3");
    EXPECT_EQ(b.store.resolvePythonInterpreter(), "/usr/bin/python3");  // fish's path is not executable
    b.desktop.processes.setExecutable("/home/u/.pyenv/python3");
    EXPECT_EQ(b.store.resolvePythonInterpreter(), "/home/u/.pyenv/python3");

    Activation none;
    const AppShortcut script = none.shortcutFor("/home/u/tool.py");
    none.store.activate(script);
    EXPECT_EQ(none.alerts, QStringList({"Unable to Run Python Script | Tamsinvale could not locate a python3 "
                                        "interpreter. Install Python 3 or ensure it is available in your login "
                                        "shell PATH."}));
    EXPECT_TRUE(none.desktop.processes.started().isEmpty());
}

TEST(Activation, oneScriptProcessPerShortcutWhileItRuns)
{
    Activation a;
    a.desktop.processes.setExecutable(python);
    a.desktop.processes.setEnvironment({{"SHELL", "/bin/bash"}, {"PATH", "/usr/bin"}});
    const char rawEnv[] = "PATH=/opt/homebrew/bin:/usr/bin\0LANG=en_US.UTF-8\0MULTI=a\nb\0";
    const QByteArray env(rawEnv, sizeof rawEnv - 1);
    a.desktop.processes.scriptRun("/bin/bash", {"-l", "-c", "env -0"}, {true, 0, env, {}});
    const AppShortcut script = a.shortcutFor("/home/u/scripts/board.py");

    a.store.activate(script);
    ASSERT_EQ(a.desktop.processes.started().size(), 1);
    const FakeProcesses::Started started = a.desktop.processes.started()[0];
    EXPECT_EQ(started.program, python);
    EXPECT_EQ(started.arguments, QStringList({"/home/u/scripts/board.py"}));
    EXPECT_EQ(started.workingDirectory, "/home/u/scripts");
    ASSERT_TRUE(started.environment);
    EXPECT_EQ(started.environment->value("PATH"), "/opt/homebrew/bin:/usr/bin");
    EXPECT_EQ(started.environment->value("MULTI"), "a\nb");
    EXPECT_TRUE(a.overlayUp());
    EXPECT_EQ(a.store.launchedScripts().value(script.id).pid, started.pid);

    // Its window turns up 1.1 s after launch: found by the 0.2 s search, brought forward.
    a.desktop.scheduler.advance(1.0);
    a.desktop.workspace.addApplication(a.app(started.pid, "python3"));
    a.desktop.scheduler.advance(0.2);
    EXPECT_EQ(a.desktop.workspace.activations().last(), (std::pair<std::int32_t, bool>{started.pid, true}));

    // Pressed again while it runs: the same process comes forward, nothing new starts.
    a.store.activate(script);
    EXPECT_EQ(a.desktop.processes.started().size(), 1);
    EXPECT_EQ(a.desktop.workspace.activations().size(), 2);

    // After it exits a press starts a new one; the login environment was captured only once.
    a.desktop.workspace.terminate(started.pid);
    a.desktop.processes.finish(started.pid);
    EXPECT_FALSE(a.store.launchedScripts().contains(script.id));
    a.store.activate(script);
    EXPECT_EQ(a.desktop.processes.started().size(), 2);
    int envRuns = 0;
    for (const QStringList& run : a.desktop.processes.runs())
        envRuns += run.contains("env -0");
    EXPECT_EQ(envRuns, 1);
}

TEST(Activation, aWindowlessScriptIsLeftRunningAndTheSearchEndsAfterTwentySeconds)
{
    Activation a;
    a.desktop.processes.setExecutable(python);
    const AppShortcut script = a.shortcutFor("/home/u/cli.py");
    a.store.activate(script);
    a.desktop.scheduler.advance(19.0);
    EXPECT_GT(a.desktop.scheduler.pendingCount(), 0u);
    a.desktop.scheduler.advance(1.5);
    EXPECT_EQ(a.desktop.scheduler.pendingCount(), 0u);
    EXPECT_TRUE(a.desktop.workspace.activations().isEmpty());
    EXPECT_TRUE(a.store.launchedScripts().contains(script.id));

    // Still running without a window: a second press starts another copy (nothing to bring forward).
    a.store.activate(script);
    EXPECT_EQ(a.desktop.processes.started().size(), 2);

    Activation failing;
    failing.desktop.processes.setExecutable(python);
    failing.desktop.processes.failStarts("Permission denied");
    failing.store.activate(failing.shortcutFor("/home/u/locked.py"));
    EXPECT_EQ(failing.alerts, QStringList({"Unable to Run Python Script | Failed to launch locked: Permission denied"}));
    EXPECT_FALSE(failing.overlayUp());
}

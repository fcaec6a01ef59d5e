// The hotkey recorder field as people use it (click, press a combination; Delete or Escape clear), and the
// hotkey manager's suspension while a field records.
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include "TestSupport.h"
#include "hotkeys/HotKeyManager.h"
#include "hotkeys/HotkeyCaptureTextField.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/macos/portable/MacKeyTranslation.h"
#include "settings/SettingsStore.h"
#include "windows/FocusTracker.h"

using namespace tamsinvale;

namespace {

// A window with the field and a second focusable widget to click away to.
struct Recorder {
    QWidget window;
    HotkeyCaptureTextField* field = nullptr;
    QLineEdit* other = nullptr;
    QList<HotKeyConfig> captured;
    int clears = 0;
    int starts = 0;
    int ends = 0;

    Recorder()
    {
        auto* layout = new QVBoxLayout(&window);
        field = new HotkeyCaptureTextField(&window);
        other = new QLineEdit(&window);
        layout->addWidget(field);
        layout->addWidget(other);
        field->onCapture = [this](const HotKeyConfig& c) { captured << c; };
        field->onClear = [this] { ++clears; };
        field->onStartCapture = [this] { ++starts; };
        field->onEndCapture = [this] { ++ends; };
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        other->setFocus();
        // Counted from here: the window may have given the field the focus first.
        starts = ends = 0;
    }
    void click() { QTest::mouseClick(field, Qt::LeftButton); }
};

}  // namespace

TEST(HotkeyCaptureTextField, recordsWhatIsPressedAndShowsItInGlyphOrder)
{
    Recorder r;
    EXPECT_EQ(r.field->placeholderText(), "Record hotkey…");
    EXPECT_TRUE(r.field->text().isEmpty());
    r.click();
    ASSERT_TRUE(r.field->isRecording());
    EXPECT_EQ(r.starts, 1);

    // Modifiers alone are not a combination: recording goes on until a key comes with them.
    QTest::keyPress(r.field, Qt::Key_Control, Qt::ControlModifier);
    QTest::keyPress(r.field, Qt::Key_Alt, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_TRUE(r.captured.isEmpty());
    QTest::keyClick(r.field, Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier);
    ASSERT_EQ(r.captured.size(), 1);
    EXPECT_EQ(r.captured[0], (HotKeyConfig{124, 6144}));
    EXPECT_EQ(r.field->text(), "⌥ ⌃ →");
    // One combination per click: recording ended, the field gave up the focus.
    EXPECT_FALSE(r.field->isRecording());
    EXPECT_FALSE(r.field->hasFocus());
    EXPECT_EQ(r.ends, 1);

    // A bare letter is a combination too, with no modifiers; Super is the command key.
    r.click();
    QTest::keyClick(r.field, Qt::Key_J);
    ASSERT_EQ(r.captured.size(), 2);
    EXPECT_EQ(r.captured[1], (HotKeyConfig{38, 0}));
    EXPECT_EQ(r.field->text(), "J");
    r.click();
    QTest::keyClick(r.field, Qt::Key_Space, Qt::MetaModifier | Qt::ShiftModifier);
    ASSERT_EQ(r.captured.size(), 3);
    EXPECT_EQ(r.captured[2], (HotKeyConfig{49, 256 | 512}));
    EXPECT_EQ(r.field->text(), "⌘ ⇧ Space");

    // Tab is a key like any other while recording, not a move to the next field.
    r.click();
    QTest::keyClick(r.field, Qt::Key_Tab, Qt::AltModifier);
    ASSERT_EQ(r.captured.size(), 4);
    EXPECT_EQ(r.captured[3], (HotKeyConfig{48, 2048}));

    // Not recording (the focus is elsewhere): keys sent to it record nothing.
    QTest::keyClick(r.field, Qt::Key_K, Qt::MetaModifier);
    EXPECT_EQ(r.captured.size(), 4);
}

TEST(HotkeyCaptureTextField, deleteAndEscapeClearAndNeverCapture)
{
    Recorder r;
    r.field->setHotKey(HotKeyConfig{49, 256});
    EXPECT_EQ(r.field->text(), "⌘ Space");
    for (Qt::Key key : {Qt::Key_Escape, Qt::Key_Backspace}) {
        r.field->setHotKey(HotKeyConfig{49, 256});
        r.click();
        QTest::keyClick(r.field, key, Qt::ShiftModifier);
        EXPECT_TRUE(r.field->text().isEmpty());
        EXPECT_FALSE(r.field->isRecording());
    }
    EXPECT_EQ(r.clears, 2);
    EXPECT_TRUE(r.captured.isEmpty());
}

TEST(HotkeyCaptureTextField, theDesktopsKeyTranslationWinsAndUnknownKeysAreIgnored)
{
    Recorder r;
    // As on X11: the native key names the physical key, whatever Shift made of it ("!" is the 1 key).
    r.field->setKeyCodeTranslator([](std::uint32_t scanCode, std::uint32_t) -> std::optional<std::uint32_t> {
        if (scanCode == 10)
            return 18;  // the 1 key
        return std::nullopt;
    });
    r.click();
    QKeyEvent shifted(QEvent::KeyPress, Qt::Key_Exclam, Qt::ShiftModifier | Qt::ControlModifier, 10, 0x21, 0,
                      QStringLiteral("!"));
    QApplication::sendEvent(r.field, &shifted);
    ASSERT_EQ(r.captured.size(), 1);
    EXPECT_EQ(r.captured[0], (HotKeyConfig{18, 512 | 4096}));
    EXPECT_EQ(r.field->text(), "⇧ ⌃ 1");

    // A key the stored format has no name for keeps the field listening.
    r.click();
    QTest::keyClick(r.field, Qt::Key_F20);
    QTest::keyClick(r.field, Qt::Key_VolumeUp);
    EXPECT_EQ(r.captured.size(), 1);
    EXPECT_TRUE(r.field->isRecording());
    // Leaving the field ends recording without a capture.
    r.other->setFocus();
    EXPECT_FALSE(r.field->isRecording());
    EXPECT_EQ(r.ends, 2);
}

TEST(HotkeyCaptureTextField, theDesktopsModifierFlagsDecideWhichModifiersWereHeld)
{
    Recorder r;
    // As on macOS: Qt calls the command key Control and the control key Meta; the native flags tell the truth.
    r.field->setModifierTranslator([](std::uint32_t native) -> std::optional<std::uint32_t> {
        return MacKeyTranslation::carbonModifiers(native);
    });
    r.click();
    const auto commandOption = std::uint32_t(MacKeyTranslation::flagCommand | MacKeyTranslation::flagOption);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier, 0, 124, commandOption);
    QApplication::sendEvent(r.field, &press);
    ASSERT_EQ(r.captured.size(), 1);
    EXPECT_EQ(r.captured[0], (HotKeyConfig{124, 256 | 2048}));
    EXPECT_EQ(r.field->text(), "⌘ ⌥ →");

    // A desktop that leaves it to Qt (nothing from the translator): Qt's modifiers count.
    r.field->setModifierTranslator([](std::uint32_t) { return std::optional<std::uint32_t>(); });
    r.click();
    QTest::keyClick(r.field, Qt::Key_Right, Qt::ControlModifier | Qt::AltModifier);
    ASSERT_EQ(r.captured.size(), 2);
    EXPECT_EQ(r.captured[1], (HotKeyConfig{124, 4096 | 2048}));
}

TEST(HotkeyCaptureTextField, aFieldGoingAwayMidRecordingStillEndsIt)
{
    int ends = 0;
    {
        Recorder r;
        r.field->onEndCapture = [&ends] { ++ends; };
        r.click();
        ASSERT_TRUE(r.field->isRecording());
    }
    EXPECT_EQ(ends, 1);
}

TEST(HotKeyManager, suspensionLetsEveryCombinationThroughAndResumeRegistersTheLatestSettings)
{
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    FocusTracker tracker{desktop.workspace};
    HotKeyManager manager{desktop.hotkeys, desktop.workspace, tracker, desktop.scheduler};
    manager.applyHotKeys(settings);
    ASSERT_EQ(desktop.hotkeys.registrations().size(), 4);

    manager.suspend();
    EXPECT_TRUE(desktop.hotkeys.registrations().isEmpty());
    // Nested suspensions (one field handing over to the next) hold until the last one ends.
    manager.suspend();
    // A settings change while suspended registers nothing …
    settings.set(&Settings::appSwitcherHotKey, std::optional<HotKeyConfig>(HotKeyConfig{49, 4096}));
    manager.applyHotKeys(settings);
    EXPECT_TRUE(desktop.hotkeys.registrations().isEmpty());
    manager.resume();
    EXPECT_TRUE(desktop.hotkeys.registrations().isEmpty());
    // … and the last resume registers what the settings say now.
    QSignalSpy failures(&manager, &HotKeyManager::failedRegistrationsChanged);
    manager.resume();
    const auto regs = desktop.hotkeys.registrations();
    ASSERT_EQ(regs.size(), 4);
    EXPECT_EQ(regs[0].keyCode, 49u);
    EXPECT_EQ(regs[0].modifiers, 4096u);
    EXPECT_EQ(failures.count(), 0);
    // An unmatched resume does nothing.
    manager.resume();
    EXPECT_EQ(desktop.hotkeys.registrations().size(), 4);
}

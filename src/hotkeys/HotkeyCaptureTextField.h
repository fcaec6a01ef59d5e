// The field that records a global hotkey: click it (or tab to it) and press a combination; Delete or Escape clears.
#pragma once

#include <QLineEdit>
#include <cstdint>
#include <functional>
#include <optional>

#include "settings/HotKeyConfig.h"

class QKeyEvent;

namespace tamsinvale {

class HotkeyCaptureTextField : public QLineEdit {
    Q_OBJECT
public:
    static const QString placeholder;  // "Record hotkey…"
    static const QString helpText;     // shown beside the fields of a page
    static constexpr std::uint32_t deleteKeyCode = 51;
    static constexpr std::uint32_t escapeKeyCode = 53;

    // The stored key code of a press as the window system reported it; empty or nothing: the portable Qt key.
    using KeyCodeTranslator = std::function<std::optional<std::uint32_t>(std::uint32_t nativeScanCode,
                                                                         std::uint32_t nativeVirtualKey)>;
    // The Carbon mask of a press's modifiers as the window system reported them; nothing: Qt's modifiers. On macOS
    // Qt names the command key Control and the control key Meta, so only the native flags say which was held.
    using ModifierTranslator = std::function<std::optional<std::uint32_t>(std::uint32_t nativeModifiers)>;

    explicit HotkeyCaptureTextField(QWidget* parent = nullptr);
    ~HotkeyCaptureTextField() override;

    std::function<void(const HotKeyConfig&)> onCapture;
    std::function<void()> onClear;
    // Recording starts when the field takes the keyboard focus and ends when it loses it, after a capture or a
    // clear, or when the field goes away.
    std::function<void()> onStartCapture;
    std::function<void()> onEndCapture;

    void setKeyCodeTranslator(KeyCodeTranslator translator) { m_translator = std::move(translator); }
    void setModifierTranslator(ModifierTranslator translator) { m_modifierTranslator = std::move(translator); }
    // Shows the combination's display text, or the placeholder when there is none.
    void setHotKey(const std::optional<HotKeyConfig>& hotKey);
    bool isRecording() const { return m_recording; }

    // The Carbon mask of the held modifiers: Meta (Super on X11, the command key) 256, Shift 512, Alt 2048,
    // Control 4096; everything else is ignored.
    static std::uint32_t carbonModifiers(Qt::KeyboardModifiers modifiers);
    // The stored key code of a Qt key; nothing for keys the key table does not name and for bare modifiers.
    static std::optional<std::uint32_t> keyCodeForQtKey(int qtKey);
    static bool isModifierKey(int qtKey);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void startRecording();
    void endRecording();
    void finishAndLeave();
    void showRecordingStyle(bool recording);

    KeyCodeTranslator m_translator;
    ModifierTranslator m_modifierTranslator;
    bool m_recording = false;
};

}  // namespace tamsinvale

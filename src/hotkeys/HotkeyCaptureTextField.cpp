// Recording a hotkey from key presses, and suspending nothing itself: the owner's start and end callbacks do that.
#include "HotkeyCaptureTextField.h"

#include <QKeyEvent>
#include <QStyle>

namespace tamsinvale {

const QString HotkeyCaptureTextField::placeholder = QStringLiteral("Record hotkey…");
const QString HotkeyCaptureTextField::helpText = QStringLiteral(
    "Click a field and press a key combination. Delete or Escape clears it while recording; a cleared hotkey uses "
    "its default.");

HotkeyCaptureTextField::HotkeyCaptureTextField(QWidget* parent) : QLineEdit(parent)
{
    setReadOnly(true);
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::NoContextMenu);
    setPlaceholderText(placeholder);
    setAlignment(Qt::AlignCenter);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    setMinimumWidth(150);
}

HotkeyCaptureTextField::~HotkeyCaptureTextField()
{
    // A field torn down mid-recording (its window or row went away) must still hand the hotkeys back.
    if (m_recording) {
        m_recording = false;
        if (onEndCapture)
            onEndCapture();
    }
}

void HotkeyCaptureTextField::setHotKey(const std::optional<HotKeyConfig>& hotKey)
{
    setText(hotKey ? hotKey->displayString() : QString());
}

std::uint32_t HotkeyCaptureTextField::carbonModifiers(Qt::KeyboardModifiers modifiers)
{
    std::uint32_t mask = 0;
    if (modifiers & Qt::MetaModifier)
        mask |= CarbonModifier::command;
    if (modifiers & Qt::ShiftModifier)
        mask |= CarbonModifier::shift;
    if (modifiers & Qt::AltModifier)
        mask |= CarbonModifier::option;
    if (modifiers & Qt::ControlModifier)
        mask |= CarbonModifier::control;
    return mask;
}

bool HotkeyCaptureTextField::isModifierKey(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_Mode_switch:
    case Qt::Key_unknown: return true;
    default: return false;
    }
}

std::optional<std::uint32_t> HotkeyCaptureTextField::keyCodeForQtKey(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Space: return 49;
    case Qt::Key_Return: return 36;
    case Qt::Key_Tab:
    case Qt::Key_Backtab: return 48;
    case Qt::Key_Backspace: return 51;
    case Qt::Key_Delete: return 117;
    case Qt::Key_Escape: return 53;
    case Qt::Key_Home: return 115;
    case Qt::Key_End: return 119;
    case Qt::Key_PageUp: return 116;
    case Qt::Key_PageDown: return 121;
    case Qt::Key_Left: return 123;
    case Qt::Key_Right: return 124;
    case Qt::Key_Up: return 126;
    case Qt::Key_Down: return 125;
    case Qt::Key_Enter: return 76;
    case Qt::Key_section: return 10;
    default: break;
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12) {
        const QString name = QStringLiteral("F%1").arg(qtKey - Qt::Key_F1 + 1);
        for (const auto& [code, keyName] : HotKeyConfig::keyNameTable())
            if (name == QLatin1String(keyName))
                return code;
        return std::nullopt;
    }
    // Letters, digits and punctuation: Qt's key is the upper-case character, which is the table's name.
    if (qtKey > 0x20 && qtKey < 0x7f) {
        const QString name{QChar(char16_t(qtKey))};
        for (const auto& [code, keyName] : HotKeyConfig::keyNameTable())
            if (name == QString::fromUtf8(keyName))
                return code;
    }
    return std::nullopt;
}

bool HotkeyCaptureTextField::event(QEvent* e)
{
    if (m_recording && e->type() == QEvent::ShortcutOverride) {
        // Every combination is ours while recording: no window shortcut or action may take it.
        e->accept();
        return true;
    }
    if (m_recording && e->type() == QEvent::KeyPress) {
        // Tab and Shift+Tab would move the focus before `keyPressEvent` saw them; they are combinations too.
        keyPressEvent(static_cast<QKeyEvent*>(e));
        return true;
    }
    return QLineEdit::event(e);
}

void HotkeyCaptureTextField::keyPressEvent(QKeyEvent* e)
{
    e->accept();
    if (!m_recording || isModifierKey(e->key()))
        return;
    std::optional<std::uint32_t> keyCode;
    if (m_translator)
        keyCode = m_translator(e->nativeScanCode(), e->nativeVirtualKey());
    if (!keyCode)
        keyCode = keyCodeForQtKey(e->key());
    if (!keyCode)
        return;  // a key the stored format cannot name: keep listening
    if (*keyCode == deleteKeyCode || *keyCode == escapeKeyCode) {
        setHotKey(std::nullopt);
        if (onClear)
            onClear();
        finishAndLeave();
        return;
    }
    std::optional<std::uint32_t> modifiers;
    if (m_modifierTranslator)
        modifiers = m_modifierTranslator(e->nativeModifiers());
    const HotKeyConfig config{*keyCode, modifiers.value_or(carbonModifiers(e->modifiers()))};
    setText(config.displayString());
    if (onCapture)
        onCapture(config);
    finishAndLeave();
}

void HotkeyCaptureTextField::focusInEvent(QFocusEvent* e)
{
    QLineEdit::focusInEvent(e);
    startRecording();
}

void HotkeyCaptureTextField::focusOutEvent(QFocusEvent* e)
{
    QLineEdit::focusOutEvent(e);
    endRecording();
}

void HotkeyCaptureTextField::startRecording()
{
    if (m_recording)
        return;
    m_recording = true;
    showRecordingStyle(true);
    if (onStartCapture)
        onStartCapture();
}

void HotkeyCaptureTextField::endRecording()
{
    if (!m_recording)
        return;
    m_recording = false;
    showRecordingStyle(false);
    if (onEndCapture)
        onEndCapture();
}

void HotkeyCaptureTextField::finishAndLeave()
{
    // One combination per click: recording ends, so the hotkeys (the new one included) work again at once.
    endRecording();
    clearFocus();
}

void HotkeyCaptureTextField::showRecordingStyle(bool recording)
{
    setProperty("recording", recording);
    setPlaceholderText(recording ? QStringLiteral("Press a combination…") : placeholder);
    style()->unpolish(this);
    style()->polish(this);
}

}  // namespace tamsinvale

// The Hotkeys page: a recorder per global hotkey with its default, and the live warning about refused ones.
#pragma once

#include <QList>
#include <QWidget>

#include "SettingsWindowContext.h"
#include "settings/HotKeyKind.h"

class QLabel;

namespace tamsinvale {

class HotkeysPage : public QWidget {
    Q_OBJECT
public:
    explicit HotkeysPage(const SettingsWindowContext& context, QWidget* parent = nullptr);

    HotkeyCaptureTextField* recorder(HotKeyKind kind) const;
    QLabel* warning() const { return m_warning; }

private:
    void refresh();

    const SettingsWindowContext& m_context;
    QList<std::pair<HotKeyKind, HotkeyCaptureTextField*>> m_recorders;
    QLabel* m_warning = nullptr;
};

}  // namespace tamsinvale

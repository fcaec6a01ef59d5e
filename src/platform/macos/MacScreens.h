// Run loop: main thread only (NSScreen is AppKit); screensChanged is emitted from NSApplicationDidChangeScreenParametersNotification on the main queue.
// Displays on macOS from NSScreen, in its order (primary first), with display IDs, UUIDs and safe areas.
#pragma once

#include <memory>

#include "platform/Screens.h"

namespace tamsinvale {

class MacScreens : public Screens {
    Q_OBJECT
public:
    explicit MacScreens(QObject* parent = nullptr);
    ~MacScreens() override;

    QList<ScreenInfo> screens() const override;
    // NSScreen.mainScreen (the screen of the key window); the primary display when there is none.
    std::optional<ScreenInfo> mainScreen() const override;

private:
    struct Observer;
    std::unique_ptr<Observer> m_observer;
};

}  // namespace tamsinvale

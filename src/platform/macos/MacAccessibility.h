// Run loop: main thread only; observers put their sources on the main run loop (default mode) and call back there.
// Accessibility on macOS: AXUIElement reads, writes and actions, AXObserver notifications, and the Accessibility and
// Screen Recording trusts. Status codes are the system's own AXError numbers, passed through unchanged.
#pragma once

#include <memory>

#include "platform/Accessibility.h"

namespace tamsinvale {

class MacAccessibility : public Accessibility {
public:
    MacAccessibility();
    ~MacAccessibility() override;

    bool isProcessTrusted() const override;
    bool requestTrust() override;
    bool screenRecordingGranted() const override;
    void requestScreenRecording() override;

    AXResult copyAttribute(const AXElement& element, const QString& attribute) const override;
    AXResult copyAttributeNames(const AXElement& element) const override;
    AXError setAttribute(const AXElement& element, const QString& attribute, const QVariant& value) override;
    AXError performAction(const AXElement& element, const QString& action) override;
    std::unique_ptr<AXObserverHandle> observe(std::int32_t pid, const QStringList& notifications, AXCallback callback,
                                              AXError* status) override;

    struct Private;

private:
    std::shared_ptr<Private> d;
};

}  // namespace tamsinvale

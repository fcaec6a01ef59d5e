// Any thread that may post events; the wiring calls it on the main thread. Posting needs the Accessibility
// permission: without it the system drops the events and typeScalar answers false.
// Text typed into the frontmost application on macOS: keyboard events carrying a Unicode string.
#pragma once

#include "platform/SyntheticInput.h"

namespace tamsinvale {

class MacSyntheticInput : public SyntheticInput {
public:
    MacSyntheticInput() = default;
    bool typeScalar(char32_t scalar) override;
};

}  // namespace tamsinvale

// Whether observing an application worked, from the status of each notification the observer was asked to add.
#pragma once

#include <QList>
#include <optional>

#include "platform/Accessibility.h"

namespace tamsinvale {

struct MacAXObservationOutcome {
    bool observed = false;
    AXError status = AXError::failure;
};

// Observed when at least one notification was added (the ones the application refused are never delivered), or
// when none was asked for; otherwise not observed, with the first refusal as the status.
MacAXObservationOutcome axObservationOutcome(const QList<AXError>& addStatuses);

}  // namespace tamsinvale

// The outcome of adding an observer's notifications one by one.
#include "MacAXObservation.h"

namespace tamsinvale {

MacAXObservationOutcome axObservationOutcome(const QList<AXError>& addStatuses)
{
    std::optional<AXError> firstRefusal;
    for (const AXError status : addStatuses) {
        if (status == AXError::success)
            return {true, AXError::success};
        if (!firstRefusal)
            firstRefusal = status;
    }
    if (!firstRefusal)
        return {true, AXError::success};
    return {false, *firstRefusal};
}

}  // namespace tamsinvale

// The process-wide switcher activity.
#include "SwitcherActivity.h"

namespace tamsinvale {

SwitcherActivity& SwitcherActivity::shared()
{
    static SwitcherActivity activity;
    return activity;
}

}  // namespace tamsinvale

#include "autodj/schedule.h"

namespace tw::autodj {

bool checkRotationSchedule(core::Console& c) {
    // With no schedule in place nothing is ever switched.
    (void)c;
    return false;
}

}  // namespace tw::autodj

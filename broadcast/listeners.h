#pragma once
// The listener figures on the console and the charge of a listener change to the track on the
// air: lblListerners (now), lblPeakListeners (the highest seen, kept as "lastPeak").
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::broadcast {

// The poll wrote lblListerners: when its text really changed, the tune-out step runs.
void lblListerners_Change(core::Console& c);
// The peak caption changed: it is stored as "lastPeak".
void lblPeakListeners_Change(core::Console& c);
// The operator's reset of the peak.
void lblPeakListeners_DblClick(core::Console& c);

}  // namespace tw::broadcast

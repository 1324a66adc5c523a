#pragma once
// One row of a running list, or of the playlist builder.

#include <cstdint>
#include <string>

#include "core/dates.h"

namespace tw::core {

class clsTrackListing {
  public:
    bool trackIsURL = false;
    std::string trackArtist;
    float trackLengthInSeconds = 0;
    std::string trackPath;
    bool sweeperChecked = false;
    core::DateValue trackLastPlayed = 0;
    std::string trackLength;
    std::string trackName;
    std::string trackCatagory;
    core::DateValue timeOn = 0;

    // Setting the collection id writes it, as a date, over trackLastPlayed; reading it gives a
    // field that nothing fills. Kept because the builder sets it and the rest must not notice.
    void setMyTrackIDInCollection(std::int32_t id) { trackLastPlayed = static_cast<double>(id); }
    std::int32_t myTrackIDInCollection() const { return unusedTrackId_; }

    // Whether the track is in the queue at a date: never answered, always false.
    bool amIInQue(core::DateValue) const { return false; }

  private:
    std::int32_t unusedTrackId_ = 0;
};

}  // namespace tw::core

// The record of one item of a list, with its members that do nothing useful.

#include "core/track_listing.h"

#include <gtest/gtest.h>

#include "core/dates.h"

namespace tw::test {
namespace {

TEST(TrackListingTest, CollectionIdIsWrittenOverLastPlayedAndReadsBackAsZero) {
    core::clsTrackListing t;
    t.trackLastPlayed = core::dateSerial(2026, 11, 1);
    t.setMyTrackIDInCollection(46000);
    EXPECT_EQ(t.trackLastPlayed, 46000.0);  // the number taken as a date
    EXPECT_EQ(core::generalDate(t.trackLastPlayed), "12/9/2025");
    EXPECT_EQ(t.myTrackIDInCollection(), 0);
}

TEST(TrackListingTest, AmIInQueIsAlwaysFalse) {
    core::clsTrackListing t;
    t.trackPath = "/Music/Rock/a.mp3";
    t.timeOn = core::dateSerial(2026, 11, 22);
    EXPECT_FALSE(t.amIInQue(t.timeOn));
    EXPECT_FALSE(t.amIInQue(0));
}

TEST(TrackListingTest, StartsEmpty) {
    const core::clsTrackListing t;
    EXPECT_FALSE(t.trackIsURL);
    EXPECT_FALSE(t.sweeperChecked);
    EXPECT_EQ(t.trackLengthInSeconds, 0.0f);
    EXPECT_TRUE(t.trackName.empty());
    EXPECT_TRUE(t.trackCatagory.empty());
    EXPECT_EQ(t.timeOn, 0.0);
}

}  // namespace
}  // namespace tw::test

#pragma once
// A category "Rock" of two tracks by two artists that the picker chooses between by their
// history: "A - Song 0" (t00) played an hour ago, "B - Song 1" (t01) two days ago, so that the
// older, t01, is the pick until a change says otherwise.

#include <memory>
#include <string>

#include "autodj/picker.h"
#include "autodj/tag_cache.h"
#include "core/dates.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {

class TwoTrackStation : public StationFixture {
  protected:
    void SetUp() override {
        t00 = addTrack("Rock", "t00.mp3", "A", "Song 0");
        t01 = addTrack("Rock", "t01.mp3", "B", "Song 1");
        open();
        setHistory("A - Song 0", "LastPlayed", dateText(-1.0 / 24));
        setHistory("B - Song 1", "LastPlayed", dateText(-2.0));
    }
    std::string dateText(double daysFromNow) {
        return core::generalDate(core::wholeSeconds(clock.now() + daysFromNow));
    }
    // A pick from Rock for the present moment.
    std::string pick() {
        core::DateValue previous = 0;
        return autodj::pickSongForCatagory(*console, "Rock", clock.now(), previous);
    }
    // The same pick at the same instant by a console without the tag cache.
    std::string pickWithoutCache() {
        auto cache = std::move(console->library->tagCache);
        const std::string path = pick();
        console->library->tagCache = std::move(cache);
        return path;
    }

    std::string t00;
    std::string t01;
};

// A second category, Jazz: j00 ("C - Song 2") three days old, j01 ("D - Song 3") half an hour.
class TwoCategoryStation : public TwoTrackStation {
  protected:
    void SetUp() override {
        j00 = addTrack("Jazz", "j00.mp3", "C", "Song 2");
        j01 = addTrack("Jazz", "j01.mp3", "D", "Song 3");
        TwoTrackStation::SetUp();
        setHistory("C - Song 2", "LastPlayed", dateText(-3.0));
        setHistory("D - Song 3", "LastPlayed", dateText(-1.0 / 48));
    }

    std::string j00;
    std::string j01;
};

}  // namespace tw::test

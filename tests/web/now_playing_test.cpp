#include "web/now_playing.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <tuple>

#include "autodj/planner.h"
#include "autodj/rotations.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_state.h"
#include "core/dates.h"
#include "desk/actions.h"
#include "playout/player_start.h"
#include "playout/position_monitor.h"
#include "playout/stream_title.h"
#include "tests/autodj/station_fixture.h"
#include "tests/testlib/time_zone.h"
#include "tests/web/three_track_station.h"

namespace tw::web {
namespace {

using core::Console;

class NowPlayingTest : public ThreeTrackStation {};

TEST_F(NowPlayingTest, AnEmptyStationHasNothingOnTheAirAndNoHistory) {
    const QJsonObject j = snapshot();
    EXPECT_EQ(s(j["station"]), "Station Name");
    EXPECT_EQ(s(j["mode"]), "Automated");
    EXPECT_EQ(s(j["list"]), "");
    EXPECT_FALSE(j["on_air"].toBool(true));
    const QJsonObject now = j["now"].toObject();
    EXPECT_EQ(s(now["title"]), "");
    EXPECT_EQ(s(now["artist"]), "");
    EXPECT_EQ(s(now["album"]), "");
    EXPECT_TRUE(now["started"].isNull());
    EXPECT_EQ(now["duration"].toDouble(-1), 0);
    EXPECT_EQ(now["elapsed"].toDouble(-1), 0);
    EXPECT_EQ(s(j["next"].toObject()["title"]), "");
    EXPECT_TRUE(j["history"].isArray());
    EXPECT_TRUE(j["history"].toArray().isEmpty());
    const QJsonObject listeners = j["listeners"].toObject();
    EXPECT_EQ(listeners["current"].toInt(-1), 0);
    EXPECT_EQ(listeners["peak"].toInt(-1), 0);
    // Encoder 1 is enabled on a new station; it is not connected.
    const QJsonArray encoders = listeners["encoders"].toArray();
    ASSERT_EQ(encoders.size(), 1);
    EXPECT_EQ(encoders[0].toObject()["number"].toInt(), 1);
    EXPECT_EQ(s(encoders[0].toObject()["type"]), "None");
    EXPECT_FALSE(encoders[0].toObject()["connected"].toBool(true));
}

TEST_F(NowPlayingTest, AStartPutsItsTagOnTheAirAndTheWaitingTrackNext) {
    chooseRotation();
    ASSERT_EQ(c().nextSong1, paths[0]);
    {
        const QJsonObject before = snapshot();
        EXPECT_EQ(s(before["list"]), "day.rot");
        EXPECT_EQ(s(before["now"].toObject()["title"]), "");
        EXPECT_EQ(s(before["next"].toObject()["title"]), "Alpha") << "player 1 waits";
        EXPECT_EQ(s(before["next"].toObject()["artist"]), "Ann Arbor");
    }
    playout::startNExt(c());
    autodj::loadNextSong(c(), 0);
    clock.advanceSeconds(42);
    engine.setPositionSeconds(c().player1Stream, 42);
    const QJsonObject j = snapshot();
    const QJsonObject now = j["now"].toObject();
    EXPECT_EQ(s(now["title"]), "Alpha");
    EXPECT_EQ(s(now["artist"]), "Ann Arbor");
    EXPECT_EQ(s(now["started"]), iso(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)));
    EXPECT_DOUBLE_EQ(now["duration"].toDouble(), 200);
    EXPECT_DOUBLE_EQ(now["elapsed"].toDouble(), 42);
    EXPECT_EQ(s(j["next"].toObject()["title"]), "Beta");
    EXPECT_EQ(s(j["next"].toObject()["artist"]), "Bob Brown");
    const QJsonArray history = j["history"].toArray();
    ASSERT_EQ(history.size(), 1);
    EXPECT_EQ(s(history[0].toObject()["title"]), "Alpha");
    EXPECT_EQ(s(history[0].toObject()["artist"]), "Ann Arbor");
    EXPECT_EQ(s(history[0].toObject()["started"]), s(now["started"]));
}

TEST_F(NowPlayingTest, ThroughACrossfadeTheIncomingTrackIsOnTheAirAndNextWaitsForTheReload) {
    chooseRotation();
    playout::startNExt(c());
    autodj::loadNextSong(c(), 0);
    const audio::Handle outgoing = c().player1Stream;
    clock.advanceSeconds(198.5);
    engine.setPositionSeconds(outgoing, 198.5);
    playout::startNExt(c());  // as the tick does it one crossfade before the end
    const QJsonObject during = snapshot();
    EXPECT_EQ(s(during["now"].toObject()["title"]), "Beta");
    EXPECT_EQ(s(during["now"].toObject()["started"]),
              iso(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 3, 18)));
    EXPECT_EQ(s(during["next"].toObject()["title"]), "")
        << "the fading track is still on player 1: nothing waits yet";
    // The outgoing stream ends; its free sync has fadeTimer load player 1 with the next row.
    engine.finish(outgoing);
    loop.advance(1);
    ASSERT_EQ(c().nextSong1, paths[2]);
    const QJsonObject after = snapshot();
    EXPECT_EQ(s(after["now"].toObject()["title"]), "Beta");
    EXPECT_EQ(s(after["next"].toObject()["title"]), "Gam\xc3\xa9");
    EXPECT_EQ(s(after["next"].toObject()["artist"]), "Cy Coleman");
    // The history is Played.log's, newest first.
    const auto lines = playedLogLines();
    ASSERT_EQ(lines.size(), 2u);
    const QJsonArray history = after["history"].toArray();
    ASSERT_EQ(history.size(), 2);
    EXPECT_EQ(lines[1], "Bob Brown - Beta,11/22/2026 10:03:18 AM");
    EXPECT_EQ(s(history[0].toObject()["title"]), "Beta");
    EXPECT_EQ(s(history[1].toObject()["title"]), "Alpha");
}

TEST_F(NowPlayingTest, AManualStartIsOnTheAirAsThePressMadeIt) {
    chooseRotation();
    desk::press(c(), "cmdAutoManual");
    ASSERT_FALSE(c().automated());
    desk::press(c(), "cmdSkipNow");
    const QJsonObject j = snapshot();
    EXPECT_EQ(s(j["mode"]), "Manual");
    EXPECT_EQ(s(j["now"].toObject()["title"]), "Alpha");
    EXPECT_EQ(s(j["now"].toObject()["artist"]), "Ann Arbor");
    ASSERT_EQ(j["history"].toArray().size(), 1);
    EXPECT_EQ(playedLogLines().size(), 1u);
}

TEST_F(NowPlayingTest, AStreamAddressHasNoArtistAndItsAnnouncedTitle) {
    const std::string address = "http://127.0.0.1:8000/live";
    core::GridRow row;
    row.cells = {"", address};
    c().form().lstPlaylist.rows.push_back(row);  // a start needs a list to start from
    c().nextSong1 = address;
    c().player1Stream = engine.addStream(0);
    playout::startNExt(c());
    engine.titles[c().player1Stream] = "Band - Song of the Hour";
    playout::showStreamTitle(c());
    const QJsonObject now = snapshot()["now"].toObject();
    EXPECT_EQ(s(now["title"]), "Band - Song of the Hour");
    EXPECT_EQ(s(now["artist"]), "");
    EXPECT_EQ(s(now["album"]), "");
    EXPECT_TRUE(now["duration"].isNull());
    EXPECT_FALSE(now["started"].isNull());
    EXPECT_EQ(nowPlayingLine(c()), "Band - Song of the Hour");
}

TEST_F(NowPlayingTest, TheHistoryIsTheLastTwentyStartsOfPlayedLog) {
    chooseRotation();
    for (int i = 0; i < 25; ++i) {
        playout::startNExt(c());
        autodj::loadNextSong(c(), 0);
        clock.advanceSeconds(60);
    }
    const auto lines = playedLogLines();
    ASSERT_EQ(lines.size(), 25u);
    const QJsonArray history = snapshot()["history"].toArray();
    ASSERT_EQ(history.size(), 20);
    for (int i = 0; i < 20; ++i) {
        const QJsonObject h = history[i].toObject();
        const std::string& line = lines[static_cast<std::size_t>(24 - i)];
        EXPECT_EQ(s(h["artist"]) + " - " + s(h["title"]), line.substr(0, line.rfind(','))) << i;
        core::DateValue d = 0;
        ASSERT_TRUE(core::parseDate(line.substr(line.rfind(',') + 1), d));
        EXPECT_EQ(s(h["started"]), iso(d)) << i;
    }
}

TEST_F(NowPlayingTest, ListenersComeFromEachConnectedEncodersPoll) {
    test::writeFile(dir / "appSettings.ini",
                    "[Shoutcast]\nName=Radio Tarn\nseverType=5\n[Shoutcast2]\nEnabled=1\n"
                    "severType=1\n[tarnWave]\nlastPeak=40\n");
    broadcast::loadEncoderDataFromIni(c());
    c().form().lblPeakListeners.caption = "40";
    c().encoderHandles[0] = engine.encodeStart(c().mixerStream, "lame", 0);
    c().encoderHandles[2] = engine.encodeStart(c().mixerStream, "lame", 0);
    auto calls = std::make_unique<test::RecordingTickCalls>();
    calls->encoderEnabled[0] = calls->encoderEnabled[2] = true;
    calls->answers[0] = calls->answers[2] = "<stats/>";
    calls->listeners[0] = 12;
    calls->listeners[2] = 31;
    c().tickCalls = std::move(calls);
    c().tmrCheckPositionBool = true;
    c().statsTicks = 99;
    playout::tmrCheckPosition_Timer(c());
    const QJsonObject j = snapshot();
    EXPECT_EQ(s(j["station"]), "Radio Tarn");
    EXPECT_TRUE(j["on_air"].toBool());
    const QJsonObject listeners = j["listeners"].toObject();
    EXPECT_EQ(listeners["current"].toInt(), 43);
    EXPECT_EQ(listeners["peak"].toInt(), 43);
    const QJsonArray encoders = listeners["encoders"].toArray();
    ASSERT_EQ(encoders.size(), 2);
    EXPECT_EQ(encoders[0].toObject()["number"].toInt(), 1);
    EXPECT_EQ(s(encoders[0].toObject()["type"]), "Icecast 2");
    EXPECT_TRUE(encoders[0].toObject()["connected"].toBool());
    EXPECT_EQ(encoders[0].toObject()["listeners"].toInt(), 12);
    EXPECT_EQ(encoders[1].toObject()["number"].toInt(), 3);
    EXPECT_EQ(s(encoders[1].toObject()["type"]), "Shoutcast 1");
    EXPECT_EQ(encoders[1].toObject()["listeners"].toInt(), 31);
    // Encoder 1 stops: it is no longer on the air and counts no listeners.
    engine.encodeStop(c().encoderHandles[0]);
    const QJsonObject stopped =
        snapshot()["listeners"].toObject()["encoders"].toArray()[0].toObject();
    EXPECT_FALSE(stopped["connected"].toBool(true));
    EXPECT_EQ(stopped["listeners"].toInt(-1), 0);
}

// The zone is the process's: each case sets one and puts the old one back.
class IsoDateTimeTest : public ::testing::TestWithParam<std::tuple<const char*, int, const char*>> {
  protected:
    test::ScopedTimeZone zone_{std::get<0>(GetParam())};
};

TEST_P(IsoDateTimeTest, LocalTimeCarriesTheOffsetOfItsZoneOnThatDay) {
    const auto& [zone, month, expected] = GetParam();
    const core::DateValue d = core::dateSerial(2026, month, 1) + core::timeSerial(9, 5, 7);
    EXPECT_EQ(core::isoDateTime(d), expected) << zone;
}

INSTANTIATE_TEST_SUITE_P(
    Zones, IsoDateTimeTest,
    ::testing::Values(std::make_tuple("UTC", 7, "2026-07-01T09:05:07+00:00"),
                      std::make_tuple("Europe/Berlin", 1, "2026-01-01T09:05:07+01:00"),
                      std::make_tuple("Europe/Berlin", 7, "2026-07-01T09:05:07+02:00"),
                      std::make_tuple("America/St_Johns", 1, "2026-01-01T09:05:07-03:30"),
                      std::make_tuple("America/St_Johns", 7, "2026-07-01T09:05:07-02:30")));

}  // namespace
}  // namespace tw::web

// A stream address on a player: the planner asks for it off the console thread and takes the
// stream when it comes; a start that reaches the player first waits for it with the track on the
// air still playing; an address that cannot be opened is logged, shown, and the next row takes
// its place.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "autodj/planner.h"
#include "core/console_ops.h"
#include "playout/player_start.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kUrl = "http://127.0.0.1:9/live";

// An answer of the engine's stand-in that the test holds back until it lets it go (or two
// seconds pass), noting the thread that asked.
class HeldAnswer {
  public:
    audio::Handle operator()(audio::Handle stream) {
        std::unique_lock lock(mutex_);
        askedOn_ = std::this_thread::get_id();
        asked_ = true;
        cv_.wait_for(lock, std::chrono::seconds(2), [this] { return released_; });
        return stream;
    }
    void release() {
        std::lock_guard lock(mutex_);
        released_ = true;
        cv_.notify_all();
    }
    bool askedOn(std::thread::id& id) {
        std::lock_guard lock(mutex_);
        id = askedOn_;
        return asked_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable cv_;
    bool released_ = false;
    bool asked_ = false;
    std::thread::id askedOn_;
};

class AddressLoadTest : public test::StationFixture {
  protected:
    AddressLoadTest() {
        file = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        engine.fileSeconds[file] = 200;
    }
    ~AddressLoadTest() override { held.release(); }

    core::Console& c() { return *console; }

    // A running playlist of the address and then the file, as flPlaylists_Click leaves it.
    void playlist() {
        open();
        c().mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        c().listMode = -1;
        c().trackList.assign(3, {});
        c().trackList[0].trackPath = kUrl;
        c().trackList[0].trackName = kUrl;
        c().trackList[0].trackIsURL = true;
        c().trackList[1].trackPath = file;
        c().form().lstPlaylist.rows.assign(2, {});
    }
    // An address that opens as a live stream once the test lets the answer go.
    audio::Handle liveAnswer() {
        const audio::Handle stream = engine.addStream(0);
        engine.channel(stream).length = -1;
        engine.urlAnswer = [this, stream](const std::string&) { return held(stream); };
        return stream;
    }
    // Lets the console thread take the events posted to it, until `done` or five seconds.
    template <typename Pred>
    bool settle(Pred done) {
        const auto until = Clock::now() + std::chrono::seconds(5);
        while (!done() && Clock::now() < until) {
            loop.processPending();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return done();
    }
    bool shown(const std::string& text) {
        for (const auto& t : c().form().frmTarnDesk.drawing.texts) {
            if (t.text.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    std::string file;
    HeldAnswer held;
};

TEST_F(AddressLoadTest, AnAddressIsOpenedOffTheConsoleThreadAndTheLoadReturnsAtOnce) {
    playlist();
    const audio::Handle live = liveAnswer();
    const auto start = Clock::now();
    loadNextSong(c(), 0);
    const auto took = Clock::now() - start;
    EXPECT_LT(took, std::chrono::milliseconds(200)) << "the load waited for the network";
    EXPECT_EQ(c().nextSong1, kUrl);
    std::thread::id askedOn;
    ASSERT_TRUE(settle([&] { return held.askedOn(askedOn); }));
    EXPECT_NE(askedOn, std::this_thread::get_id())
        << "the address was opened on the console thread";
    held.release();
    ASSERT_TRUE(settle([&] { return c().player1Stream == live; }));
    EXPECT_EQ(c().form().lblTimeLeft1.caption, "00:00.0");
    EXPECT_EQ(c().form().lblTimeLeft1.foreColor, 0u);
}

TEST_F(AddressLoadTest, AnAddressThatCannotBeOpenedIsLoggedShownAndTheNextRowTakesItsPlace) {
    playlist();
    loadNextSong(c(), 0);  // no answer: the stand-in refuses every address
    ASSERT_TRUE(settle([&] { return c().nextSong1 == file; }))
        << "the row after the address is on the player: " << c().nextSong1;
    EXPECT_NE(c().player1Stream, 0u);
    bool logged = false;
    for (const auto& line : logTexts()) {
        logged = logged || (line.find("could not be opened") != std::string::npos &&
                            line.find(kUrl) != std::string::npos);
    }
    EXPECT_TRUE(logged) << test::readFile(dir / "app.log");
    EXPECT_TRUE(shown(kUrl));
}

TEST_F(AddressLoadTest, AStartWaitsForTheAddressWithTheTrackOnTheAirPlayingOn) {
    playlist();
    // The file on player 1 is on the air; the address goes onto player 2.
    c().player1Stream = engine.addStream(200);
    engine.mixerAddChannel(c().mixerStream, c().player1Stream, audio::kStreamAutoFree);
    c().activePlayer = 1;
    const audio::Handle onAir = c().player1Stream;
    const audio::Handle live = liveAnswer();
    loadNextSong(c(), 0);
    EXPECT_EQ(c().nextSong2, kUrl);
    playout::startNExt(c());
    EXPECT_EQ(engine.count("channelSlideAttribute " + std::to_string(onAir) + " "), 0)
        << "the track on the air was faded before the address answered";
    EXPECT_EQ(engine.count("mixerAddChannel"), 1);
    held.release();
    ASSERT_TRUE(settle([&] { return engine.channel(live).mixer == c().mixerStream; }))
        << "the address went on the air when it answered";
    EXPECT_EQ(c().activePlayer, 2);
    EXPECT_EQ(engine.count("channelSlideAttribute " + std::to_string(onAir) + " "), 1);
}

TEST_F(AddressLoadTest, TheFirstStartWaitsForTheAddressAndLeavesTheNextRowAsLoaded) {
    playlist();
    const audio::Handle live = liveAnswer();
    // Nothing on the air yet: the address goes onto player 1 and is started, and the next row
    // is loaded on player 2 before the address answers.
    loadNextSong(c(), 0);
    playout::startNExt(c());
    EXPECT_EQ(c().activePlayer, 1);
    loadNextSong(c(), 0);
    ASSERT_EQ(c().nextSong2, file);
    const audio::Handle next = c().player2Stream;
    ASSERT_NE(next, 0u);
    held.release();
    ASSERT_TRUE(settle([&] { return engine.channel(live).mixer == c().mixerStream; }));
    EXPECT_EQ(engine.count("channelSlideAttribute " + std::to_string(next) + " "), 0)
        << "the row waiting on player 2 was faded before it ever played";
    EXPECT_EQ(engine.channel(next).mixer, 0u);
    EXPECT_EQ(c().player2Stream, next);
}

TEST_F(AddressLoadTest, AnOpenOverTakenByAnotherLoadHasItsLateStreamFreed) {
    playlist();
    const audio::Handle live = liveAnswer();
    loadNextSong(c(), 0);  // the address, on player 1
    loadNextSong(c(), 0);  // the file, on the same player: nothing is on the air yet
    EXPECT_EQ(c().nextSong1, file);
    const audio::Handle loaded = c().player1Stream;
    EXPECT_NE(loaded, 0u);
    held.release();
    ASSERT_TRUE(settle([&] { return !engine.has(live); })) << "the late stream is freed";
    EXPECT_EQ(c().player1Stream, loaded);
    EXPECT_EQ(c().nextSong1, file);
}

}  // namespace
}  // namespace tw::autodj

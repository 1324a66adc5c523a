#include "web/status_feed.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "autodj/planner.h"
#include "core/program_runner.h"
#include "desk/actions.h"
#include "playout/player_start.h"
#include "playout/position_monitor.h"
#include "station/web_control.h"
#include "tests/web/http_probe.h"
#include "tests/web/three_track_station.h"
#include "web/now_playing_outputs.h"
#include "web/status_settings.h"

namespace tw::web {
namespace {

using namespace std::chrono_literals;
using test::bodyOf;
using test::HttpProbe;
using test::roundTrip;
using test::statusOf;

constexpr const char* kFeedToken = "feed-Token-9f2c";

std::string get(const std::string& path) {
    return "GET " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
}

std::string post(const std::string& path, const std::string& body, const std::string& token) {
    return "POST " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\nAuthorization: Bearer " +
           token + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class StatusFeedTest : public ThreeTrackStation {
  protected:
    ~StatusFeedTest() override { stopStatusFeed(c()); }
    void setting(const std::string& section, const std::string& key, const std::string& value) {
        core::writeIniValue(c(), c().appSettingsPath(), section, key, value);
    }
    // The feed on a port of its own, with the token when asked.
    void startService(bool token = false) {
        port = test::freeLoopbackPort();
        setting("WebStatus", "Port", std::to_string(port));
        if (token) {
            setting("WebStatus", "Token", kFeedToken);
        }
        station::startWebStatus(c());
        ASSERT_EQ(statusFeedUrl(c()), "http://127.0.0.1:" + std::to_string(port) + "/");
    }
    // A start as the tick makes it, then the tick after it.
    void startAndTick() {
        playout::startNExt(c());
        autodj::loadNextSong(c(), 0);
        tick();
    }
    void tick(double seconds = 0.06) {
        clock.advanceSeconds(seconds);
        playout::onPositionTimer(c());
    }
    std::string file(const char* name) { return test::readFile(dir / name); }
    QJsonObject parse(const std::string& text) {
        return QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
    }
    // Runs what the console's event loop was handed until `done` or two seconds.
    template <class Done>
    void runLoopUntil(Done done) {
        const auto until = std::chrono::steady_clock::now() + 2s;
        while (!done() && std::chrono::steady_clock::now() < until) {
            loop.processPending();
            std::this_thread::sleep_for(5ms);
        }
    }
    std::uint16_t port = 0;
};

TEST_F(StatusFeedTest, WithoutAPortThereIsNoServiceButEveryStartWritesBothFiles) {
    chooseRotation();
    station::startWebStatus(c());
    EXPECT_EQ(statusFeedUrl(c()), "");
    EXPECT_FALSE(std::filesystem::exists(dir / kNowPlayingText));
    playout::startNExt(c());
    autodj::loadNextSong(c(), 0);
    EXPECT_FALSE(std::filesystem::exists(dir / kNowPlayingText))
        << "the start is told at the tick after it, with what comes next";
    tick();
    EXPECT_EQ(file(kNowPlayingText), "Ann Arbor - Alpha\n");
    const QJsonObject j = parse(file(kNowPlayingJson));
    EXPECT_EQ(s(j["now"].toObject()["title"]), "Alpha");
    EXPECT_EQ(s(j["next"].toObject()["title"]), "Beta");
    EXPECT_EQ(j["history"].toArray().size(), 1);
    tick(200);
    startAndTick();
    EXPECT_EQ(file(kNowPlayingText), "Bob Brown - Beta\n");
    // Nothing of the replacing is left beside them.
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        EXPECT_EQ(entry.path().filename().string().rfind(".nowplaying", 0), std::string::npos)
            << entry.path();
    }
}

TEST_F(StatusFeedTest, APortThatIsNoNumberIsOneLogLineAndNoService) {
    setting("WebStatus", "Port", "80a");
    station::startWebStatus(c());
    EXPECT_EQ(statusFeedUrl(c()), "");
    EXPECT_NE(statusFeedProblem(c()).find("\"80a\" is no port number"), std::string::npos);
    int lines = 0;
    for (const auto& line : logTexts()) {
        lines += line.find("Web status is off") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(lines, 1);
}

TEST_F(StatusFeedTest, APortThatIsTakenIsOneLogLineAndTheFilesStillCome) {
    chooseRotation();
    startService();
    const std::uint16_t taken = port;
    // A second console of the same station cannot have the port.
    auto first = std::move(c().statusFeed);
    station::startWebStatus(c());
    EXPECT_EQ(statusFeedUrl(c()), "");
    EXPECT_NE(statusFeedProblem(c()).find(std::to_string(taken)), std::string::npos);
    startAndTick();
    EXPECT_EQ(file(kNowPlayingText), "Ann Arbor - Alpha\n");
    first.reset();
}

TEST_F(StatusFeedTest, TheServiceAnswersWhatIsOnTheAirAndItsElapsedTimeMovesOn) {
    chooseRotation();
    startService();
    startAndTick();
    engine.setPositionSeconds(c().player1Stream, 10);
    tick(1.0);
    const std::string answer = roundTrip(port, get("/api/nowplaying"));
    ASSERT_EQ(statusOf(answer), 200) << answer;
    const QJsonObject j = parse(bodyOf(answer));
    EXPECT_EQ(s(j["now"].toObject()["title"]), "Alpha");
    EXPECT_EQ(s(j["now"].toObject()["artist"]), "Ann Arbor");
    EXPECT_DOUBLE_EQ(j["now"].toObject()["elapsed"].toDouble(), 10);
    EXPECT_EQ(s(j["next"].toObject()["title"]), "Beta");
}

TEST_F(StatusFeedTest, StartsAndTheModeComeAsEventsInOrder) {
    chooseRotation();
    startService();
    HttpProbe events(port);
    ASSERT_TRUE(events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    events.readUntil("event: snapshot\n", 2s);
    startAndTick();
    events.readUntil("\"Alpha\"", 2s);
    desk::press(c(), "cmdAutoManual");
    tick(0.3);
    const std::string& got = events.readUntil("event: mode\n", 2s);
    const auto start = got.find("event: start\ndata: ");
    const auto mode = got.find("event: mode\ndata: ");
    ASSERT_NE(start, std::string::npos) << got;
    ASSERT_NE(mode, std::string::npos) << got;
    EXPECT_LT(start, mode);
    const auto data = got.find("data: ", mode) + 6;
    const QJsonObject j = parse(got.substr(data, got.find('\n', data) - data));
    EXPECT_EQ(s(j["mode"]), "Manual");
    EXPECT_EQ(s(j["now"].toObject()["title"]), "Alpha");
}

TEST_F(StatusFeedTest, ControlRequestsWaitForTheConsolesLoopAndPressItsButtons) {
    chooseRotation();
    startService(true);
    ASSERT_TRUE(c().automated());
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual", kFeedToken))), 202);
    EXPECT_TRUE(c().automated()) << "nothing happens off the console thread";
    runLoopUntil([&] { return !c().automated(); });
    EXPECT_FALSE(c().automated());
    // Asked again, the mode stays: the button is pressed only to change it.
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual", kFeedToken))), 202);
    loop.processPending();
    std::this_thread::sleep_for(50ms);
    loop.processPending();
    EXPECT_FALSE(c().automated());
    // NEXT in manual mode starts the waiting track, as the button does.
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/next", "", kFeedToken))), 202);
    runLoopUntil([&] { return !c().lastStart.path.empty(); });
    EXPECT_EQ(c().lastStart.title, "Alpha");
    // The message goes to encoder 1 with the operator's own text kept in the box.
    c().encoderHandles[0] = engine.encodeStart(c().mixerStream, "lame -", 0);
    c().form().txtSendText.text = "operator's draft";
    engine.calls.clear();
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "Live from the roof", kFeedToken))),
              202);
    runLoopUntil([&] { return !engine.calls.empty(); });
    ASSERT_FALSE(engine.calls.empty());
    EXPECT_NE(engine.calls.back().find("castSetTitle"), std::string::npos);
    EXPECT_NE(engine.calls.back().find("Live from the roof"), std::string::npos);
    EXPECT_EQ(c().form().txtSendText.text, "operator's draft");
}

TEST_F(StatusFeedTest, ARequestQueuedWhenTheFeedStopsIsDropped) {
    chooseRotation();
    startService(true);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual", kFeedToken))), 202);
    stopStatusFeed(c());
    loop.processPending();
    EXPECT_TRUE(c().automated());
}

TEST_F(StatusFeedTest, ANewCommandKeepsTheEventStreamsAndANewTokenStartsTheServiceAgain) {
    startService(true);
    HttpProbe events(port);
    ASSERT_TRUE(events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    events.readUntil("event: snapshot\n", 2s);
    ASSERT_EQ(statusFeedClients(c()), 1u);
    c().ui.settings.txtNowPlayingCommand.text = "/bin/true";
    ASSERT_TRUE(webStatusBox_Enter(c(), "txtNowPlayingCommand"));
    EXPECT_EQ(statusFeedClients(c()), 1u) << "the command is no reason to drop the listeners";
    c().ui.settings.txtWebToken.text = "another-token";
    ASSERT_TRUE(webStatusBox_Enter(c(), "txtWebToken"));
    EXPECT_TRUE(events.readToClose(2s)) << "the service started again with the new token";
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual", kFeedToken))), 401);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual", "another-token"))), 202);
    EXPECT_EQ(c().ui.settings.lblWebStatusUrl.caption,
              "Open http://127.0.0.1:" + std::to_string(port) + "/");
}

TEST_F(StatusFeedTest, TheTokenIsNeverWrittenToAppLog) {
    startService(true);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/next", "", "wrong"))), 401);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "auto", kFeedToken))), 202);
    runLoopUntil([&] { return c().automated(); });
    stopStatusFeed(c());
    const std::string log = test::readFile(dir / "app.log");
    EXPECT_NE(log.find("Web status on"), std::string::npos);
    EXPECT_EQ(log.find(kFeedToken), std::string::npos);
}

// The command, as a script that writes its arguments one a line.
class NowPlayingCommandTest : public StatusFeedTest {
  protected:
    std::string script(const std::string& body) {
        const auto path = dir / "hook.sh";
        test::writeFile(path, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path.string();
    }
    // Waits up to `limit` for the commands to end by themselves, then ends them.
    void finishPrograms(std::chrono::milliseconds limit = 5s) {
        if (c().programs) {
            c().programs->finish(limit);
        }
    }
};

TEST_F(NowPlayingCommandTest, EveryStartRunsItWithArtistTitleAndWholeSecondsAsArguments) {
    chooseRotation();
    const std::string hook =
        script("for a in \"$@\"; do printf '%s\\n' \"$a\" >> \"$(dirname \"$0\")/args\"; done");
    setting("NowPlaying", "Command", hook + " \"first arg\"");
    station::startWebStatus(c());
    startAndTick();
    finishPrograms();
    EXPECT_EQ(file("args"), "first arg\nAnn Arbor\nAlpha\n200\n")
        << test::readFile(dir / "app.log");
}

TEST_F(NowPlayingCommandTest, AFailingCommandIsOneLogLineWithItsStatusAndLastLine) {
    chooseRotation();
    setting("NowPlaying", "Command", script("echo 'no RDS encoder on /dev/ttyS0' >&2; exit 3"));
    station::startWebStatus(c());
    startAndTick();
    finishPrograms();
    int lines = 0;
    for (const auto& line : logTexts()) {
        if (line.find("Now playing:") != std::string::npos) {
            ++lines;
            EXPECT_NE(line.find("exit status 3"), std::string::npos) << line;
            EXPECT_NE(line.find("no RDS encoder on /dev/ttyS0"), std::string::npos) << line;
        }
    }
    EXPECT_EQ(lines, 1);
}

TEST_F(NowPlayingCommandTest, ACommandThatHangsHoldsNothingAndLaterStartsWaitForIt) {
    chooseRotation();
    const std::string hook = script("echo run >> \"$(dirname \"$0\")/runs\"; exec sleep 30");
    setting("NowPlaying", "Command", hook);
    station::startWebStatus(c());
    const auto before = std::chrono::steady_clock::now();
    startAndTick();
    tick(200);
    startAndTick();
    tick(200);
    startAndTick();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s) << "the console never waits";
    EXPECT_EQ(file(kNowPlayingText), "Cy Coleman - Gam\xc3\xa9\n");
    int busy = 0;
    for (const auto& line : logTexts()) {
        busy += line.find("is still running") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(busy, 1) << "one line while it hangs, not one per start";
    finishPrograms(100ms);
    EXPECT_EQ(file("runs"), "run\n");
}

TEST_F(NowPlayingCommandTest, AProgramThatIsNotThereIsOneLogLine) {
    chooseRotation();
    setting("NowPlaying", "Command", (dir / "no-such-program").string());
    station::startWebStatus(c());
    startAndTick();
    finishPrograms();
    loop.processPending();
    int lines = 0;
    for (const auto& line : logTexts()) {
        lines += line.find("Now playing:") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(lines, 1);
    EXPECT_EQ(file(kNowPlayingText), "Ann Arbor - Alpha\n");
}

}  // namespace
}  // namespace tw::web

// The cast session: start, connects off the console thread, stop, statistics, titles, the kick.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "autodj/history.h"
#include "broadcast/connect_runner.h"
#include "core/text.h"
#include "playout/position_monitor.h"
#include "tests/audio/cast_servers.h"
#include "tests/broadcast/cast_fixture.h"

namespace tw::test {
namespace {

using namespace broadcast;

class CastSessionTest : public CastFixture {
  protected:
    // The castInit call made for an encoder handle (the connects run side by side, so their
    // calls come in any order).
    std::string castFor(audio::Handle encoder) {
        const std::string prefix = "castInit " + std::to_string(encoder) + " ";
        for (const auto& call : engine.castCallsNow()) {
            if (call.rfind(prefix, 0) == 0) {
                return call;
            }
        }
        return {};
    }
    std::string onAirCaption() {
        const auto& texts = console->form().cmdOnAir.drawing.texts;
        return texts.empty() ? std::string() : texts[0].text;
    }
};

TEST_F(CastSessionTest, Bitrate128PutsKilobitsBehindLameAndBitsPerSecondBehindTheAacEncoder) {
    EXPECT_EQ(encoderCommand(0, 128).commandLine, "lame -r -s 44100 -b 128 -");
    EXPECT_EQ(encoderCommand(0, 128).contentType, "audio/mpeg");
    const EncoderCommand aac = encoderCommand(2, 128);
    EXPECT_NE(aac.commandLine.find(" -b:a 128000 "), std::string::npos) << aac.commandLine;
    EXPECT_EQ(aac.contentType, "audio/aac");
}

TEST_F(CastSessionTest, AMountWithAndWithoutItsLeadingSlashGiveTheSameAddress) {
    EXPECT_EQ(buildServerText("", "5", "ice.example", "8000", "", "/live"),
              "ice.example:8000/live");
    EXPECT_EQ(buildServerText("", "5", "ice.example", "8000", "", "live"), "ice.example:8000/live");
    EXPECT_EQ(buildServerText("", "4", "ice.example", "8000", "", "live"), "ice.example:8000/live");
}

TEST_F(CastSessionTest, ShoutcastTwoWithPort8000AndStreamId1EndsInThePortCommaOne) {
    EXPECT_EQ(buildServerText("", "2", "sc.example", "8000", "1", ""), "sc.example:8000,1");
    EXPECT_EQ(buildServerText("", "1", "sc.example", "8000", "1", ""), "sc.example:8000");
    EXPECT_EQ(buildServerText("", "3", "live365", "80", "", ""), "live365:80");
    EXPECT_EQ(buildServerText("", "0", "host:9000/x", "8000", "", ""), "host:9000/x");
}

TEST_F(CastSessionTest, TwoEncodersInOneStartTheFirstGetsTheBuiltAddressTheSecondItsBarePath) {
    open();
    setProfile(0, "severType", "1");
    setProfile(0, "severPath", "one.example");
    setProfile(0, "severPort", "8000");
    setProfile(1, "Enabled", "1");
    setProfile(1, "severType", "5");
    setProfile(1, "severPath", "two.example");
    setProfile(1, "severPort", "8010");
    setProfile(1, "severMount", "live");
    start(*console);
    settle();
    ASSERT_EQ(engine.castCallsNow().size(), 2u);
    const std::string first = castFor(console->encoderHandles[0]);
    const std::string second = castFor(console->encoderHandles[1]);
    EXPECT_NE(first.find(" one.example:8000 "), std::string::npos) << first;
    EXPECT_NE(second.find(" two.example "), std::string::npos) << second;
    // A reconnect of the second alone builds its full address.
    engine.encodeStop(console->encoderHandles[1]);
    console->encoderHandles[1] = 0;
    start(*console);
    settle();
    ASSERT_EQ(engine.castCallsNow().size(), 3u);
    EXPECT_NE(engine.castCallsNow()[2].find(" two.example:8010/live "), std::string::npos);
}

TEST_F(CastSessionTest, StartWhileEncoderOneIsConnectedConnectsOnlyTheEncoderWithoutAHandle) {
    open();
    setProfile(1, "Enabled", "1");
    console->encoderHandles[0] = 0x40000077u;
    start(*console);
    settle();
    EXPECT_EQ(engine.count("encodeStart"), 1);
    ASSERT_EQ(engine.castCallsNow().size(), 1u);
    EXPECT_NE(console->encoderHandles[1], 0u);
    EXPECT_EQ(console->encoderHandles[0], 0x40000077u);
}

TEST_F(CastSessionTest, AConnectedStartShowsOnAirStopAndItsMessage) {
    open();
    setProfile(0, "severPath", "127.0.0.1:8000/live");
    start(*console);
    EXPECT_NE(onAirCaption(), "ON AIR") << "nothing is applied before the connect comes back";
    settle();
    EXPECT_EQ(onAirCaption(), "ON AIR");
    EXPECT_EQ(console->form().cmdOnAir.drawing.fills[0].image, core::ImageRole::Red);
    EXPECT_EQ(form().btnStart.caption, "Stop");
    const auto& texts = console->form().frmTarnDesk.drawing.texts;
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back().text, "Connected to Server using settings from Encoder 1");
}

TEST_F(CastSessionTest, ARefusedConnectShowsOffAirKeepsTheHandleAndShowsNoMessage) {
    open();
    engine.castAnswer = [](const std::string&) { return false; };
    start(*console);
    settle();
    EXPECT_EQ(onAirCaption(), "OFF AIR");
    EXPECT_NE(console->encoderHandles[0], 0u) << "the next poll finds it dead and tries again";
    EXPECT_TRUE(prompter.shown().empty());
}

TEST_F(CastSessionTest, AFailedConnectSaysWhyOnTheMessageLineAndInTheLog) {
    open();
    setProfile(0, "severType", "5");
    setProfile(0, "severPath", "ice.example");
    setProfile(0, "severPort", "8000");
    setProfile(0, "severMount", "live");
    engine.castAnswer = [](const std::string&) { return false; };
    engine.castRefusal = "wrong password (401), the server says: You need to authenticate";
    start(*console);
    settle();
    const auto& texts = console->form().frmTarnDesk.drawing.texts;
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back().text,
              "Couldn't connect to Server using settings from Encoder 1: wrong password (401), the "
              "server says: You need to authenticate");
    auto lines = appLogLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Cast Encoder 1 couldn't connect to ice.example:8000/live: wrong "
                            "password (401), the server says: You need to authenticate#"),
              std::string::npos)
        << lines[0];
    // The same reason at the next try: the message line again, the log not.
    engine.encodeStop(console->encoderHandles[0]);
    console->encoderHandles[0] = 0;
    start(*console);
    settle();
    EXPECT_EQ(appLogLines().size(), 1u);
    // Another reason is logged.
    engine.castRefusal = "mount in use (403), the server says: Mountpoint in use";
    console->encoderHandles[0] = 0;
    start(*console);
    settle();
    lines = appLogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[1].find(": mount in use (403), the server says: Mountpoint in use#"),
              std::string::npos)
        << lines[1];
    EXPECT_EQ(texts.back().text,
              "Couldn't connect to Server using settings from Encoder 1: mount in use (403), the "
              "server says: Mountpoint in use");
}

TEST_F(CastSessionTest, WithSeveralEncodersOnAirShowsTheLastOneTried) {
    open();
    setProfile(1, "Enabled", "1");
    setProfile(1, "severPath", "refuses");
    engine.castAnswer = [](const std::string& server) { return server != "refuses"; };
    start(*console);
    settle();
    EXPECT_EQ(onAirCaption(), "OFF AIR");
}

TEST_F(CastSessionTest, TwelveDeadServersNeverHoldTheConsoleThread) {
    open();
    for (int i = 1; i < 12; ++i) {
        setProfile(i, "Enabled", "1");
    }
    // Every connect hangs until the test lets it go, as blackholed addresses do for 3 s.
    std::mutex m;
    std::condition_variable cv;
    bool release = false;
    std::atomic<int> waiting{0};
    engine.castAnswer = [&](const std::string&) {
        ++waiting;
        std::unique_lock lock(m);
        cv.wait(lock, [&] { return release; });
        return false;
    };
    start(*console);  // returns with all twelve still connecting
    EXPECT_NE(onAirCaption(), "ON AIR");
    loop.advance(1.0);  // the console goes on: timers, ticks
    for (int i = 0; i < 200 && waiting < 12; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(waiting.load(), 12) << "all twelve connect at once";
    {
        std::lock_guard lock(m);
        release = true;
    }
    cv.notify_all();
    settle();
    EXPECT_FALSE(console->cast->connects->busy());
}

TEST_F(CastSessionTest, AnEncoderProgramThatCannotStartShowsItsErrorAndStopsTheMixer) {
    open();
    engine.encodeStartOk = false;
    const audio::Handle mixer = console->mixerStream;
    start(*console);
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].title, "Error");
    EXPECT_EQ(prompter.shown()[0].text,
              "Couldn't start encoding...0\nMake sure OGGENC.EXE (if encoding to OGG) is in the "
              "same\ndirecory as this example, or LAME.EXE (if encoding to MP3).\n\nerror code: 2");
    EXPECT_EQ(console->form().frmTarnDesk.caption, "error code: 2Error");
    EXPECT_EQ(console->mixerStream, 0u);
    EXPECT_EQ(engine.count("channelStop " + std::to_string(mixer)), 1);
    // With no mixer, the next start says so.
    start(*console);
    ASSERT_EQ(prompter.shown().size(), 2u);
    EXPECT_EQ(prompter.shown()[1].text.rfind("Couldn't start recording/mixer", 0), 0u);
    // The stop puts the caption back.
    Stop_(*console);
    EXPECT_EQ(console->form().frmTarnDesk.caption,
              "TarnWave Internet Radio Automation Software " + console->version);
}

TEST_F(CastSessionTest, AnAnswerWith17Gives17AndOneWithoutTheTagGives0AndCountsAsConnected) {
    open();
    start(*console);
    settle();
    const audio::Handle h = console->encoderHandles[0];
    engine.setStats(h, 0, "<SHOUTCASTSERVER><CURRENTLISTENERS>17</CURRENTLISTENERS>");
    std::int32_t listeners = -1;
    EXPECT_FALSE(checkStats(*console, 0, listeners).empty());
    EXPECT_EQ(listeners, 17);
    engine.setStats(h, 0, "<html>no statistics here</html>");
    EXPECT_FALSE(checkStats(*console, 0, listeners).empty());
    EXPECT_EQ(listeners, 0);
    // Type None tries the Shoutcast page, then the Icecast one.
    engine.setStats(h, 0, "");
    engine.setStats(h, 1, "<icestats><source><listeners>4</listeners></source></icestats>");
    EXPECT_FALSE(checkStats(*console, 0, listeners).empty());
    EXPECT_EQ(listeners, 4);
    // No answer: the caller's figure stays.
    engine.setStats(h, 1, "");
    listeners = 9;
    EXPECT_EQ(checkStats(*console, 0, listeners), "");
    EXPECT_EQ(listeners, 9);
}

TEST_F(CastSessionTest, ALive365EncoderIsDeadAtTheFirstPollWhoseByteCountStandsStill) {
    open();
    setProfile(0, "severType", "3");
    loadEncoderDataFromIni(*console);
    console->encoderHandles[0] = engine.encodeStart(1, "lame", 0);
    std::int32_t listeners = 5;
    EXPECT_EQ(checkStats(*console, 0, listeners), "") << "a count of 0 against a stored 0";
    EXPECT_EQ(listeners, 0);
    {
        std::lock_guard lock(engine.castMutex);
        engine.encoders[console->encoderHandles[0]].castCount = 1000;
    }
    EXPECT_EQ(checkStats(*console, 0, listeners), "live365");
    EXPECT_EQ(checkStats(*console, 0, listeners), "");
}

TEST_F(CastSessionTest, AnEnabledProfileOfTypeNoneStillConnectsWithItsPathAsTheAddress) {
    open();
    setProfile(0, "severPath", "plain.example:8000/stream");
    start(*console);
    settle();
    ASSERT_EQ(engine.castCallsNow().size(), 1u);
    EXPECT_NE(engine.castCallsNow()[0].find(" plain.example:8000/stream "), std::string::npos);
    EXPECT_EQ(onAirCaption(), "ON AIR");
}

TEST_F(CastSessionTest, SendMessageGoesToEncoderOneOnlyAndNotWhenItHasNoHandle) {
    open();
    console->form().txtSendText.text = "Live from the studio";
    console->encoderHandles[1] = 0x40000005u;
    cmdSendMessage_Click(*console);
    EXPECT_EQ(engine.count("castSetTitle"), 0);
    console->encoderHandles[0] = 0x40000004u;
    cmdSendMessage_Click(*console);
    EXPECT_EQ(engine.count("castSetTitle 1073741828 Live from the studio "), 1);
    EXPECT_EQ(engine.count("castSetTitle 1073741829"), 0);
}

TEST_F(CastSessionTest, AfterAReconnectTheTitleOnTheAirIsSentAgainAtOnce) {
    open();
    sendTitle(*console, "Band - Tune");
    start(*console);
    settle();
    const audio::Handle h = console->encoderHandles[0];
    EXPECT_EQ(engine.count("castSetTitle " + std::to_string(h) + " Band - Tune Station URL"), 1);
}

TEST_F(CastSessionTest, StopEndsTheEnabledEncodersAndShowsOffAir) {
    open();
    setProfile(1, "Enabled", "1");
    start(*console);
    settle();
    const audio::Handle first = console->encoderHandles[0];
    Stop_(*console);
    EXPECT_EQ(console->encoderHandles[0], 0u);
    EXPECT_EQ(console->encoderHandles[1], 0u);
    EXPECT_EQ(engine.count("encodeStop " + std::to_string(first)), 1);
    EXPECT_EQ(onAirCaption(), "OFF AIR");
    EXPECT_EQ(form().btnStart.caption, "Start");
}

TEST_F(CastSessionTest, OnAirStartsWhenEncoderOneIsStoppedAndStopsWhenItIsActive) {
    open();
    int serverStarts = 0;
    btnStart_Click(*console, [&] { ++serverStarts; });
    settle();
    EXPECT_EQ(serverStarts, 1);
    ASSERT_NE(console->encoderHandles[0], 0u);
    btnStart_Click(*console, [&] { ++serverStarts; });
    EXPECT_EQ(serverStarts, 1);
    EXPECT_EQ(console->encoderHandles[0], 0u);
}

// One poll of the position monitor (its hundredth tick).
void poll(core::Console& c) {
    c.tmrCheckPositionBool = true;
    c.statsTicks = 99;
    playout::tmrCheckPosition_Timer(c);
}

TEST_F(CastSessionTest, WithAutoReconnectSetTheStopHoldsOnlyUntilTheNextPollAsDesigned) {
    open();
    setProfile(0, "autoReConnect", "1");
    loadEncoderDataFromIni(*console);
    start(*console);
    settle();
    Stop_(*console);
    ASSERT_EQ(console->encoderHandles[0], 0u);
    poll(*console);  // no answer from a stopped encoder, and autoReConnect: connect again
    const auto& texts = console->form().frmTarnDesk.drawing.texts;
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back().text, "Trying To RE-Connect to Server using settings in Encoder:1");
    settle();
    EXPECT_NE(console->encoderHandles[0], 0u);
    EXPECT_EQ(onAirCaption(), "ON AIR");
}

TEST_F(CastSessionTest, AnEncoderProgramThatEndedIsLoggedWithItsLastLineOncePerEnd) {
    open();
    setProfile(0, "autoReConnect", "1");
    loadEncoderDataFromIni(*console);
    engine.castAnswer = [](const std::string&) { return false; };
    start(*console);
    settle();
    ASSERT_EQ(appLogLines().size(), 1u) << "the refused connect";
    const std::string end = "lame ended with exit status 1: Unsupported bit rate 150";
    engine.endProgram(console->encoderHandles[0], end);
    poll(*console);  // the end is logged, and the encoder started again
    settle();
    ASSERT_NE(console->encoderHandles[0], 0u);
    auto lines = appLogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[1].find("Cast Encoder 1: " + end + "#"), std::string::npos) << lines[1];
    // The new program ends the same way, still without a connection: not logged again.
    engine.endProgram(console->encoderHandles[0], end);
    poll(*console);
    settle();
    EXPECT_EQ(appLogLines().size(), 2u);
    // Once it was connected, an end is news again.
    engine.castAnswer = nullptr;
    engine.encodeStop(console->encoderHandles[0]);
    console->encoderHandles[0] = 0;
    start(*console);
    settle();
    EXPECT_EQ(onAirCaption(), "ON AIR");
    engine.endProgram(console->encoderHandles[0], end);
    poll(*console);
    settle();
    lines = appLogLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[2].find("Cast Encoder 1: " + end + "#"), std::string::npos) << lines[2];
}

TEST_F(CastSessionTest, WithoutAutoReconnectADeadServerChangesOnlyTheListenerFigure) {
    open();
    console->currentTitle = "Band - Tune";
    start(*console);
    settle();
    const audio::Handle h = console->encoderHandles[0];
    engine.setStats(h, 0, "<CURRENTLISTENERS>3</CURRENTLISTENERS>");
    poll(*console);
    EXPECT_EQ(console->form().lblListerners.caption, "3");
    const std::string chargedBefore =
        autodj::readHistory(*console, console->currentTitle, autodj::kTunedOut, "0");
    engine.setStats(h, 0, "");
    poll(*console);
    EXPECT_EQ(console->encoderHandles[0], h) << "the dead handle stays in place";
    EXPECT_EQ(onAirCaption(), "ON AIR");
    // A dead encoder writes no figure, and the figure is summed anew at each poll: its three
    // listeners leave it and are charged to the track on the air.
    EXPECT_EQ(console->form().lblListerners.caption, "0");
    EXPECT_EQ(
        core::val(autodj::readHistory(*console, console->currentTitle, autodj::kTunedOut, "0")),
        core::val(chargedBefore) + 3);
}

// A poll that comes while a connect is still under way finds no statistics yet: that encoder is
// not dead, and a reconnect would put a second source on its mount.
TEST_F(CastSessionTest, APollNeverReconnectsAnEncoderWhoseConnectIsStillRunning) {
    open();
    setProfile(0, "autoReConnect", "1");
    setProfile(1, "Enabled", "1");
    setProfile(1, "autoReConnect", "1");
    setProfile(1, "severPath", "slow.example");
    loadEncoderDataFromIni(*console);
    std::mutex m;
    std::condition_variable cv;
    bool release = false;
    engine.castAnswer = [&](const std::string& server) {
        if (server == "slow.example") {
            std::unique_lock lock(m);
            cv.wait(lock, [&] { return release; });
        }
        return true;
    };
    start(*console);
    for (int i = 0; i < 200 && engine.castCallsNow().size() < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    loop.processPending();
    const audio::Handle first = console->encoderHandles[0];
    const audio::Handle slow = console->encoderHandles[1];
    engine.setStats(first, 0, "<CURRENTLISTENERS>2</CURRENTLISTENERS>");
    poll(*console);
    for (const auto& line : console->form().frmTarnDesk.drawing.texts) {
        EXPECT_EQ(line.text.find("Trying To RE-Connect"), std::string::npos) << line.text;
    }
    EXPECT_EQ(console->encoderHandles[1], slow);
    EXPECT_EQ(engine.count("encodeStop"), 0);
    EXPECT_EQ(engine.count("encodeStart"), 2);
    {
        std::lock_guard lock(m);
        release = true;
    }
    cv.notify_all();
    settle();
    EXPECT_EQ(engine.castCallsNow().size(), 2u) << "one source per mount";
    EXPECT_EQ(console->encoderHandles[1], slow);
    EXPECT_EQ(onAirCaption(), "ON AIR");
}

TEST_F(CastSessionTest, AConnectThatComesBackAfterTheStopChangesNothing) {
    open();
    std::mutex m;
    std::condition_variable cv;
    bool release = false;
    engine.castAnswer = [&](const std::string&) {
        std::unique_lock lock(m);
        cv.wait(lock, [&] { return release; });
        return true;
    };
    start(*console);
    Stop_(*console);  // the operator stops while the server is still being asked
    {
        std::lock_guard lock(m);
        release = true;
    }
    cv.notify_all();
    settle();
    EXPECT_EQ(onAirCaption(), "OFF AIR");
    EXPECT_EQ(form().btnStart.caption, "Start");
}

TEST_F(CastSessionTest, PasswordsNeverReachTheLog) {
    open();
    setProfile(0, "PW", "very-secret-pw");
    engine.castAnswer = [](const std::string&) { return false; };
    start(*console);
    settle();
    for (const auto& line : appLogLines()) {
        EXPECT_EQ(line.find("very-secret-pw"), std::string::npos) << line;
    }
}

TEST_F(CastSessionTest, KickWhileConnectedDoesNothingAndCancelEndsIt) {
    open();
    setProfile(0, "severType", "1");
    cmdSettings_Click(*console);
    start(*console);
    settle();
    engine.setStats(console->encoderHandles[0], 0, "<CURRENTLISTENERS>2</CURRENTLISTENERS>");
    cmdKickSource_Click(*console);
    EXPECT_TRUE(prompter.shown().empty()) << "connected: the button does nothing";
    engine.setStats(console->encoderHandles[0], 0, "");
    prompter.queueAnswer("cancel");
    cmdKickSource_Click(*console);
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].text.rfind("WARNING!!! Are You Sure", 0), 0u);
    EXPECT_EQ(form().chkReconnect.value, 0);
}

TEST_F(CastSessionTest, KickAndConnectAsksTheServerWithTheOperatorsLogInThenSavesAndCloses) {
    audio::test::FakeShoutcast server("pw", "");
    server.requireLogin();
    open();
    setProfile(0, "severType", "1");
    setProfile(0, "severPath", "127.0.0.1");
    setProfile(0, "severPort", std::to_string(server.port()));
    cmdSettings_Click(*console);
    prompter.queueAnswer("ok");     // the warning
    prompter.queueAnswer("admin");  // the log-in the server asks for
    prompter.queueAnswer("pw");
    cmdKickSource_Click(*console);
    // Saved with the reconnect ticked, then closed: the poll connects.
    EXPECT_EQ(profileValue(0, "autoReConnect"), "1");
    EXPECT_FALSE(form().frmCast.visible);
    const auto kicked = [&] {
        for (const auto& r : server.requests()) {
            if (r == "GET /admin.cgi?mode=kicksrc HTTP/1.1 [logged in]") {
                return true;
            }
        }
        return false;
    };
    for (int i = 0; i < 400 && !kicked(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        loop.processPending();  // the log-in question comes back to the console thread
    }
    EXPECT_TRUE(kicked());
    ASSERT_GE(server.requests().size(), 2u);
    EXPECT_EQ(server.requests()[0], "GET /admin.cgi?mode=kicksrc HTTP/1.1")
        << "first without a log-in";
}

class KickLogTest : public CastSessionTest {
  protected:
    // The kick of a Shoutcast profile at port; logIn answers the server's log-in question.
    void kickAt(int port, const std::vector<std::string>& logIn = {}) {
        open();
        setProfile(0, "severType", "1");
        setProfile(0, "severPath", "127.0.0.1");
        setProfile(0, "severPort", std::to_string(port));
        cmdSettings_Click(*console);
        prompter.queueAnswer("ok");  // the warning
        for (const auto& a : logIn) {
            prompter.queueAnswer(a);
        }
        cmdKickSource_Click(*console);
    }
    // Runs the console's events until the log holds n kick lines.
    std::vector<std::string> kickLines(std::size_t n) {
        std::vector<std::string> found;
        for (int i = 0; i < 600; ++i) {
            loop.processPending();
            found.clear();
            for (const auto& line : appLogLines()) {
                if (line.find("Kick and Connect http://") != std::string::npos) {
                    found.push_back(line);
                }
            }
            if (found.size() >= n) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return found;
    }
};

TEST_F(KickLogTest, AKickThatReachesTheServerIsLogged) {
    audio::test::FakeShoutcast server("pw", "");
    kickAt(server.port());
    const auto lines = kickLines(1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Kick and Connect http://127.0.0.1:" + std::to_string(server.port()) +
                            "/admin.cgi?mode=kicksrc: the server answered 200#"),
              std::string::npos)
        << lines[0];
}

TEST_F(KickLogTest, AKickNobodyTakesIsLoggedWithItsReason) {
    const int port = audio::test::freePort();
    kickAt(port);
    const auto lines = kickLines(1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("/admin.cgi?mode=kicksrc: no answer ("), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("refused"), std::string::npos) << lines[0];
}

TEST_F(KickLogTest, ALogInRefusedTwiceIsLoggedTwice) {
    audio::test::FakeShoutcast server("pw", "");
    server.requireLogin("admin:right");
    kickAt(server.port(), {"admin", "wrong"});
    const auto lines = kickLines(2);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(": the server asks for a log-in (401)#"), std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find(": the server refused the log-in (401)#"), std::string::npos)
        << lines[1];
    for (const auto& line : lines) {
        EXPECT_EQ(line.find("wrong"), std::string::npos) << "no password in the log: " << line;
    }
}

}  // namespace
}  // namespace tw::test

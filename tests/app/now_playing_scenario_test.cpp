// A hundred starts of a station in virtual time with the web status service on: a client of the
// event stream sees every start, in the order Played.log has them, each with what it put on the
// air and when. The engine is the test's stand-in playing in virtual time.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "autodj/rotation_file.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/fake_engine.h"
#include "tests/testlib/sanitized.h"
#include "tests/testlib/temp_dir.h"
#include "tests/web/http_probe.h"
#include "web/now_playing_outputs.h"

namespace tw {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A sanitizer build takes the same path through the service for a fifth of the starts: the
// hundred took 65 s of a two-core sanitizer run, nearly all of it the station's ticks.
constexpr int kStarts = TW_TEST_SANITIZED ? 20 : 100;

struct Start {
    std::string key;      // "Artist - Title", as Played.log has it
    std::string started;  // ISO 8601
};

// The "start" events of an event stream's text, in the order they came.
std::vector<Start> startEvents(const std::string& stream) {
    std::vector<Start> starts;
    const std::string frame = "event: start\ndata: ";
    for (auto at = stream.find(frame); at != std::string::npos; at = stream.find(frame, at)) {
        at += frame.size();
        const auto end = stream.find('\n', at);
        if (end == std::string::npos) {
            break;
        }
        const QJsonObject j =
            QJsonDocument::fromJson(QByteArray::fromStdString(stream.substr(at, end - at)))
                .object();
        const QJsonObject now = j["now"].toObject();
        const QJsonObject newest = j["history"].toArray().first().toObject();
        EXPECT_EQ(newest["title"], now["title"]) << "the start is the history's newest";
        EXPECT_EQ(newest["started"], now["started"]);
        starts.push_back(
            {now["artist"].toString().toStdString() + " - " + now["title"].toString().toStdString(),
             now["started"].toString().toStdString()});
    }
    return starts;
}

class NowPlayingScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        station_ = dir_ / "station";
        for (const std::string category : {"Alpha", "Beta", "Gamma"}) {
            fs::create_directories(station_ / "Music" / category);
            for (int i = 1; i <= 12; ++i) {
                const std::string title = category + " Song " + std::to_string(i);
                const std::string artist = category + " Artist " + std::to_string(i);
                const fs::path file = station_ / "Music" / category / (title + ".mp3");
                test::writeFile(file, test::taggedTrack(artist, title));
                lengths_[file.string()] = 60 + (i * 37) % 120;
            }
        }
        fs::create_directories(station_ / "Rotations");
        std::string records;
        for (const std::string category : {"Alpha", "Beta", "Gamma"}) {
            records += autodj::encodeRotationRecord(category, false);
        }
        test::writeFile(station_ / "Rotations" / "Day.rot", records);
        port_ = test::freeLoopbackPort();
        test::writeFile(station_ / "appSettings.ini",
                        "[WebStatus]\nPort=" + std::to_string(port_) + "\n");
    }

    std::vector<std::string> playedKeys() {
        std::vector<std::string> keys;
        std::istringstream in(test::readFile(station_ / "Played.log"));
        for (std::string line; std::getline(in, line);) {
            if (!line.empty()) {
                keys.push_back(line.substr(0, line.rfind(',')));
            }
        }
        return keys;
    }

    test::TempDir dir_;
    fs::path station_;
    std::map<std::string, double> lengths_;
    std::uint16_t port_ = 0;
};

TEST_F(NowPlayingScenario, AHundredStartsComeAsStartEventsInTheOrderOfPlayedLog) {
    auto engine = std::make_unique<test::FakeEngine>();
    engine->recordCalls = false;
    engine->fileSeconds = lengths_;
    test::FakeEngine* playing = engine.get();
    sim::Simulator sim(
        station_.string(), core::dateSerial(2026, 11, 23) + core::timeSerial(6, 0, 0),
        std::move(engine), [playing](std::int64_t micros) { playing->play(micros); });
    std::ostringstream out;
    std::string error;
    ASSERT_TRUE(sim.execute("load", out, error)) << error;

    // The client reads as a browser would, on a thread of its own, while the station runs.
    std::atomic<bool> done{false}, listening{false};
    std::string stream;
    std::thread client([&] {
        test::HttpProbe events(port_);
        if (!events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n")) {
            listening = true;
            return;
        }
        events.readUntil("event: snapshot\n", 5s);
        listening = true;
        while (!done) {
            events.readUntil("\x01", 50ms);
        }
        events.readUntil("\x01", 500ms);  // what was on its way when the station stopped
        stream = events.received();
    });
    // The station's first start is told at its first tick, once the client listens.
    while (!listening) {
        std::this_thread::sleep_for(5ms);
    }
    for (int step = 0; step < 72 && playedKeys().size() < kStarts; ++step) {
        ASSERT_TRUE(sim.execute("advance 600", out, error)) << error;
    }
    std::this_thread::sleep_for(300ms);
    done = true;
    client.join();
    const std::vector<std::string> played = playedKeys();
    ASSERT_GE(played.size(), static_cast<std::size_t>(kStarts));

    EXPECT_EQ(stream.rfind("HTTP/1.1 200", 0), 0u) << stream.substr(0, 200);
    EXPECT_NE(stream.find("event: snapshot\n"), std::string::npos);
    const std::vector<Start> told = startEvents(stream);
    ASSERT_EQ(told.size(), played.size()) << "every start, once";
    for (std::size_t i = 0; i < told.size(); ++i) {
        EXPECT_EQ(told[i].key, played[i]) << "start " << i + 1;
        if (i > 0) {
            EXPECT_LT(told[i - 1].started, told[i].started) << "start " << i + 1;
        }
    }
    EXPECT_EQ(test::readFile(station_ / web::kNowPlayingText), played.back() + "\n");
    ASSERT_TRUE(sim.execute("unload", out, error)) << error;
}

}  // namespace
}  // namespace tw

// The status page in a real browser: headless chromium loads it from a service on the loopback
// address, and the test reads what the page shows while it publishes snapshots.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/testlib/temp_dir.h"
#include "tests/web/headless_browser.h"
#include "web/status_service.h"

namespace tw::web {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A page that has not caught up by then never will: chromium starting on two busy cores beside
// a sanitized test takes a few seconds at worst.
constexpr auto kPageLimit = 15s;

struct Play {
    std::string title, artist, started;
};

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

// A snapshot as the console writes it.
struct Snapshot {
    std::string station = "Tarn Valley Radio";
    bool onAir = true;
    std::string mode = "Automated";
    std::string list = "Weekday.rot";
    Play now{"J\xc3\xb3ga <b>live</b>", "Bj\xc3\xb6rk", "2024-05-17T14:03:27+02:00"};
    std::string album = "Homogenic";
    double duration = 305.4;
    double elapsed = 12.3;
    Play next{"\xc3\x81g\xc3\xa6tis byrjun", "Sigur R\xc3\xb3s", ""};
    std::vector<Play> history;
    int listeners = 42;
    int peak = 57;

    std::string json() const {
        QJsonArray plays;
        for (const Play& p : history) {
            plays.append(QJsonObject{
                {"title", q(p.title)}, {"artist", q(p.artist)}, {"started", q(p.started)}});
        }
        const QJsonObject o{
            {"station", q(station)},
            {"on_air", onAir},
            {"mode", q(mode)},
            {"list", q(list)},
            {"now", QJsonObject{{"title", q(now.title)},
                                {"artist", q(now.artist)},
                                {"album", q(album)},
                                {"started", now.started.empty() ? QJsonValue() : q(now.started)},
                                {"duration", duration},
                                {"elapsed", elapsed}}},
            {"next", QJsonObject{{"title", q(next.title)}, {"artist", q(next.artist)}}},
            {"history", plays},
            {"listeners", QJsonObject{{"current", listeners},
                                      {"peak", peak},
                                      {"encoders", QJsonArray{QJsonObject{{"number", 1},
                                                                          {"type", "Icecast 2"},
                                                                          {"connected", true},
                                                                          {"listeners", listeners}},
                                                              QJsonObject{{"number", 2},
                                                                          {"type", "Shoutcast 2"},
                                                                          {"connected", false},
                                                                          {"listeners", 0}}}}}},
        };
        return QJsonDocument(o).toJson(QJsonDocument::Compact).toStdString();
    }
};

// Twelve starts, newest first, the one on the air at the top.
std::vector<Play> twelvePlays(const Play& onAir) {
    std::vector<Play> plays{onAir};
    for (int i = 1; i < 12; ++i) {
        char started[48];
        std::snprintf(started, sizeof started, "2024-05-17T%02d:%02d:00+02:00", 13 - i / 4,
                      59 - 4 * i);
        plays.push_back({"Track " + std::to_string(i) + " \xe2\x80\x94 \xe6\x9d\xb1\xe4\xba\xac",
                         "Artist " + std::to_string(i), started});
    }
    return plays;
}

// An ISO 8601 time `ago` before now, as the console writes them (with the offset).
std::string isoAgo(std::chrono::seconds ago) {
    const std::time_t t =
        std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() - ago);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+00:00", &utc);
    return text;
}

// What the page shows, read in one go.
struct PageView {
    QJsonObject v;

    std::string text(const char* key) const { return v.value(key).toString().toStdString(); }
    double number(const char* key) const { return v.value(key).toDouble(-1); }
    std::vector<std::string> rows(const char* key) const {
        std::vector<std::string> out;
        for (const QJsonValue& r : v.value(key).toArray()) {
            out.push_back(r.toString().toStdString());
        }
        return out;
    }
    bool shows(const std::string& s) const { return text("body").find(s) != std::string::npos; }
};

constexpr const char* kReadPage = R"JS((() => {
  const t = (id) => { const e = document.getElementById(id); return e ? e.textContent : null; };
  const rows = (sel) => [...document.querySelectorAll(sel)].map((e) => e.innerText);
  const box = (id) => { const r = document.getElementById(id).getBoundingClientRect();
                        return { left: r.left, right: r.right, top: r.top, bottom: r.bottom }; };
  return {
    body: document.body ? document.body.innerText : '',
    link: document.body ? document.body.dataset.link : '', linkCaption: t('link'),
    station: t('station'), list: t('list'),
    onAir: t('on-air'), onAirLight: document.getElementById('on-air').dataset.on,
    mode: t('mode'),
    nowTitle: t('now-title'), nowArtist: t('now-artist'), nowAlbum: t('now-album'),
    nowStarted: t('now-started'),
    nextTitle: t('next-title'), nextArtist: t('next-artist'),
    listeners: t('listeners'), peak: t('peak'),
    elapsed: t('elapsed'), duration: t('duration'), remaining: t('remaining'),
    progress: Number(document.getElementById('progress').getAttribute('aria-valuenow')),
    history: rows('#history li'), encoders: rows('#encoders li'),
    boldElements: document.querySelectorAll('b').length,
    probe: window.statusPageProbe === 1,
    pageWidth: document.documentElement.scrollWidth, viewWidth: window.innerWidth,
    nowBox: box('now'), historyBox: box('history'),
  };
})())JS";

// "4:05" or "1:02:05" as seconds; -1 for anything else.
int seconds(const std::string& clock) {
    int h = 0, m = 0, s = 0;
    if (std::sscanf(clock.c_str(), "%d:%d:%d", &h, &m, &s) == 3) {
        return h * 3600 + m * 60 + s;
    }
    if (std::sscanf(clock.c_str(), "%d:%d", &m, &s) == 2) {
        return m * 60 + s;
    }
    return -1;
}

class StatusPageBrowserTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::string chromium = test::findChromium();
        if (chromium.empty()) {
            GTEST_SKIP() << "chromium is not installed (scripts/install-deps.sh installs it)";
        }
        service = std::make_unique<StatusService>(ServiceSettings{}, [](ControlRequest) {});
        std::string error;
        ASSERT_TRUE(service->start(error)) << error;
        url = "http://127.0.0.1:" + std::to_string(service->port()) + "/";
        browser = std::make_unique<test::HeadlessBrowser>(chromium, folder.path());
        ASSERT_TRUE(browser->ok()) << browser->error();
    }

    void TearDown() override {
        if (browser) {
            EXPECT_TRUE(browser->pageProblems().empty()) << problems();
        }
    }

    std::string problems() const {
        std::string all;
        for (const std::string& p : browser->pageProblems()) {
            all += p + "\n";
        }
        return all;
    }

    PageView read() {
        const auto v = browser->evaluate(kReadPage);
        return PageView{v ? v->toObject() : QJsonObject{}};
    }

    // Reads the page until `done` holds or the time is up; the last reading either way.
    PageView waitFor(const std::function<bool(const PageView&)>& done) {
        const auto end = Clock::now() + kPageLimit;
        PageView view = read();
        while (!done(view) && Clock::now() < end) {
            std::this_thread::sleep_for(50ms);
            view = read();
        }
        return view;
    }

    PageView openAndWaitFor(const std::string& title, int width = 1280, int height = 800,
                            bool mobile = false) {
        EXPECT_TRUE(browser->open(url, width, height, mobile)) << browser->error();
        return waitFor([&](const PageView& p) { return p.text("nowTitle") == title; });
    }

    test::TempDir folder;
    std::unique_ptr<StatusService> service;
    std::unique_ptr<test::HeadlessBrowser> browser;
    std::string url;
};

TEST_F(StatusPageBrowserTest, ShowsTheSnapshotAsTextWithTheLastTenStarts) {
    Snapshot s;
    s.history = twelvePlays(s.now);
    service->publish(s.json());
    const PageView p = openAndWaitFor(s.now.title);

    ASSERT_EQ(p.text("nowTitle"), s.now.title) << p.text("body");
    EXPECT_TRUE(p.shows("J\xc3\xb3ga <b>live</b>")) << "the tag's markup is shown as text";
    EXPECT_EQ(p.number("boldElements"), 0) << "and never made into markup";
    EXPECT_EQ(p.text("nowArtist"), "Bj\xc3\xb6rk");
    EXPECT_EQ(p.text("nowAlbum"), "Homogenic");
    EXPECT_EQ(p.text("nowStarted"), "Started 14:03:27");
    EXPECT_EQ(p.text("duration"), "5:05");
    EXPECT_EQ(p.text("nextTitle"), "\xc3\x81g\xc3\xa6tis byrjun");
    EXPECT_EQ(p.text("nextArtist"), "Sigur R\xc3\xb3s");
    EXPECT_EQ(p.text("listeners"), "42");
    EXPECT_EQ(p.text("peak"), "57");
    EXPECT_EQ(p.text("onAir"), "On air");
    EXPECT_EQ(p.text("onAirLight"), "yes");
    EXPECT_EQ(p.text("mode"), "Automated");
    EXPECT_EQ(p.text("station"), "Tarn Valley Radio");
    EXPECT_EQ(p.text("list"), "Weekday.rot");
    EXPECT_EQ(p.text("link"), "live");
    for (const char* shown :
         {"Bj\xc3\xb6rk", "Sigur R\xc3\xb3s", "Tarn Valley Radio", "42", "57"}) {
        EXPECT_TRUE(p.shows(shown)) << shown << " in:\n" << p.text("body");
    }

    const std::vector<std::string> history = p.rows("history");
    ASSERT_EQ(history.size(), 10u) << p.text("body");
    for (std::size_t i = 0; i < 10; ++i) {
        const Play& play = s.history[i];
        EXPECT_NE(history[i].find(play.title), std::string::npos) << i << ": " << history[i];
        EXPECT_NE(history[i].find(play.artist), std::string::npos) << i << ": " << history[i];
        EXPECT_NE(history[i].find(play.started.substr(11, 8)), std::string::npos) << history[i];
    }
    EXPECT_FALSE(p.shows(s.history[10].title)) << "only the last ten starts";
    EXPECT_FALSE(p.shows(s.history[11].title));

    const std::vector<std::string> encoders = p.rows("encoders");
    ASSERT_EQ(encoders.size(), 2u);
    EXPECT_NE(encoders[0].find("Icecast 2"), std::string::npos) << encoders[0];
    EXPECT_NE(encoders[0].find("42"), std::string::npos) << encoders[0];
    EXPECT_NE(encoders[1].find("Offline"), std::string::npos) << encoders[1];
}

TEST_F(StatusPageBrowserTest, FollowsEveryKindOfEventLiveOnOneStream) {
    Snapshot s;
    s.history = twelvePlays(s.now);
    service->publish(s.json());
    openAndWaitFor(s.now.title);
    // Set in the page as it is now: a page that loaded again would have lost it.
    ASSERT_TRUE(browser->evaluate("window.statusPageProbe = 1"));

    // The next track starts.
    const Play outgoing = s.now;
    s.now = {"Hyperballad", "Bj\xc3\xb6rk", "2024-05-17T14:08:32+02:00"};
    s.album = "Post";
    s.elapsed = 0.2;
    s.next = {"Svefn-g-englar", "Sigur R\xc3\xb3s", ""};
    s.history.insert(s.history.begin(), s.now);
    service->publish(s.json(), "start");
    PageView p = waitFor([&](const PageView& v) { return v.text("nowTitle") == s.now.title; });
    EXPECT_EQ(p.text("nowTitle"), "Hyperballad");
    EXPECT_EQ(p.text("nowAlbum"), "Post");
    EXPECT_EQ(p.text("nextTitle"), "Svefn-g-englar");
    ASSERT_EQ(p.rows("history").size(), 10u);
    EXPECT_NE(p.rows("history")[0].find("Hyperballad"), std::string::npos);
    EXPECT_NE(p.rows("history")[1].find(outgoing.title), std::string::npos);

    // The waiting player is loaded once the crossfade is over.
    s.next = {"Hopp\xc3\xadpolla", "Sigur R\xc3\xb3s", ""};
    service->publish(s.json(), "next");
    p = waitFor([&](const PageView& v) { return v.text("nextTitle") == s.next.title; });
    EXPECT_EQ(p.text("nextTitle"), s.next.title);

    s.listeners = 318;
    s.peak = 320;
    service->publish(s.json(), "listeners");
    p = waitFor([](const PageView& v) { return v.text("listeners") == "318"; });
    EXPECT_EQ(p.text("listeners"), "318");
    EXPECT_EQ(p.text("peak"), "320");

    s.onAir = false;
    service->publish(s.json(), "on_air");
    p = waitFor([](const PageView& v) { return v.text("onAirLight") == "no"; });
    EXPECT_EQ(p.text("onAir"), "Off air");

    s.mode = "Manual";
    service->publish(s.json(), "mode");
    p = waitFor([](const PageView& v) { return v.text("mode") == "Manual"; });
    EXPECT_EQ(p.text("mode"), "Manual");

    EXPECT_TRUE(p.v.value("probe").toBool()) << "the page followed without loading again";
    EXPECT_EQ(service->eventClients(), 1u);
}

TEST_F(StatusPageBrowserTest, WaitsForTheFirstSnapshotAndShowsItWhenItComes) {
    ASSERT_TRUE(browser->open(url, 1280, 800)) << browser->error();
    PageView p = waitFor([](const PageView& v) { return v.text("link") == "live"; });
    EXPECT_EQ(p.text("nowTitle"), "Waiting for the console\xe2\x80\xa6");
    ASSERT_EQ(service->eventClients(), 1u);

    Snapshot s;
    service->publish(s.json(), "start");
    p = waitFor([&](const PageView& v) { return v.text("nowTitle") == s.now.title; });
    EXPECT_EQ(p.text("nowTitle"), s.now.title);
    EXPECT_EQ(p.text("listeners"), "42");
    ASSERT_EQ(p.rows("history").size(), 1u);
    EXPECT_NE(p.rows("history")[0].find("Nothing played yet"), std::string::npos);
}

TEST_F(StatusPageBrowserTest, SaysWhenTheStreamIsDownAndFollowsAgainWhenTheServiceIsBack) {
    Snapshot s;
    service->publish(s.json());
    openAndWaitFor(s.now.title);
    const std::uint16_t port = service->port();
    ASSERT_TRUE(browser->pageProblems().empty()) << problems();

    service.reset();
    PageView p = waitFor([](const PageView& v) { return v.text("link") == "reconnecting"; });
    EXPECT_EQ(p.text("link"), "reconnecting");
    EXPECT_EQ(p.text("linkCaption"), "Reconnecting\xe2\x80\xa6");
    EXPECT_EQ(p.text("nowTitle"), s.now.title) << "what it knew stays, dimmed";

    ServiceSettings settings;
    settings.port = port;
    service = std::make_unique<StatusService>(settings, [](ControlRequest) {});
    std::string error;
    ASSERT_TRUE(service->start(error)) << error;
    s.now.title = "Back on the air";
    service->publish(s.json());
    // The browser tries again by itself, after the pause the stream asked for.
    p = waitFor([&](const PageView& v) { return v.text("nowTitle") == s.now.title; });
    EXPECT_EQ(p.text("nowTitle"), "Back on the air");
    EXPECT_EQ(p.text("link"), "live");
    // The stream cut off, and the attempts refused while the service was away (the browser
    // fetches the icon whenever it gets round to it, which may be then): nothing else.
    for (const std::string& problem : browser->takePageProblems()) {
        EXPECT_TRUE(problem.find("/api/events") != std::string::npos ||
                    problem.find("/favicon.svg") != std::string::npos)
            << problem;
    }
}

TEST_F(StatusPageBrowserTest, TheProgressRunsOnTheBrowsersClockBetweenEvents) {
    // The snapshot the stream opens with was made at the start, a minute ago: the page counts
    // from the start time, not from the elapsed time the snapshot was made with.
    Snapshot s;
    s.now.started = isoAgo(60s);
    s.duration = 300;
    s.elapsed = 0.5;
    service->publish(s.json());
    PageView first = openAndWaitFor(s.now.title);
    const auto firstAt = Clock::now();
    const int from = seconds(first.text("elapsed"));
    EXPECT_GE(from, 60) << first.text("elapsed");
    EXPECT_LE(from, 75) << first.text("elapsed");
    EXPECT_NEAR(first.number("progress"), 100.0 * from / 300, 0.5);

    std::this_thread::sleep_for(2s);
    const PageView later =
        waitFor([&](const PageView& v) { return seconds(v.text("elapsed")) >= from + 2; });
    const int to = seconds(later.text("elapsed"));
    const auto waited = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - firstAt);
    EXPECT_GE(to, from + 2) << "no event came, and the time ran on";
    EXPECT_LE(to, from + waited.count() + 1);
    EXPECT_GT(later.number("progress"), first.number("progress"));
    // Both shown in whole seconds, each rounded down.
    EXPECT_NEAR(seconds(later.text("remaining").substr(3)), 300 - to, 1) << later.text("remaining");

    // A start is made just as it is sent: its elapsed time stands, whatever the clocks say.
    s.now = {"Bachelorette", "Bj\xc3\xb6rk", isoAgo(0s)};
    s.elapsed = 3.0;
    s.duration = 316;
    service->publish(s.json(), "start");
    const PageView started =
        waitFor([&](const PageView& v) { return v.text("nowTitle") == s.now.title; });
    EXPECT_LE(seconds(started.text("elapsed")), 6) << started.text("elapsed");
    EXPECT_LT(started.number("progress"), 2.0);
}

TEST_F(StatusPageBrowserTest, FitsAPhoneWithoutSidewaysScrollingAndUsesTwoColumnsOnADesk) {
    Snapshot s;
    s.now.title = std::string(90, 'W');  // one long word, as file names without tags can be
    s.now.artist = "The Artist With A Name Long Enough To Wrap Twice On A Phone";
    s.history = twelvePlays(s.now);
    service->publish(s.json());

    PageView phone = openAndWaitFor(s.now.title, 390, 844, true);
    EXPECT_EQ(phone.number("viewWidth"), 390);
    EXPECT_LE(phone.number("pageWidth"), phone.number("viewWidth"));
    const QJsonObject nowOnPhone = phone.v.value("nowBox").toObject();
    const QJsonObject historyOnPhone = phone.v.value("historyBox").toObject();
    EXPECT_GE(historyOnPhone.value("top").toDouble(), nowOnPhone.value("bottom").toDouble())
        << "one column: the history below";

    ASSERT_TRUE(browser->resize(1280, 800, false)) << browser->error();
    const PageView desk = waitFor([](const PageView& v) { return v.number("viewWidth") == 1280; });
    EXPECT_LE(desk.number("pageWidth"), 1280);
    const QJsonObject nowOnDesk = desk.v.value("nowBox").toObject();
    const QJsonObject historyOnDesk = desk.v.value("historyBox").toObject();
    EXPECT_GE(historyOnDesk.value("left").toDouble(), nowOnDesk.value("right").toDouble())
        << "two columns: the history beside";
}

}  // namespace
}  // namespace tw::web

#include "tests/autodj/station_fixture.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include "autodj/tag_fill.h"
#include "core/dates.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {

std::string StationFixture::addCategory(const std::string& name) {
    const auto folder = dir / ("Music/" + name);
    std::filesystem::create_directories(folder);
    return folder.string();
}

std::string StationFixture::addTrack(const std::string& category, const std::string& fileName,
                                     const std::string& artist, const std::string& title) {
    std::string bytes;
    if (!artist.empty() || !title.empty()) {
        bytes = id3Tag(3, textFrame("TIT2", title, 3) + textFrame("TPE1", artist, 3));
    }
    bytes += mpegFrames(4);
    const auto path = dir / ("Music/" + category + "/" + fileName);
    writeFile(path, bytes);
    return path.string();
}

void StationFixture::watchStatusWindow() {
    loop.wrapEvent = [this](const std::function<void()>& fn) {
        core::EventScope scope(settings);
        fn();
        if (console && console->ui.status.frmStatus.visible) {
            statusSeen.push_back(console->ui.status.lblProgress.caption);
        }
    };
}

bool StationFixture::runUntilTagFillEnds() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (autodj::tagFillBusy(*console) && std::chrono::steady_clock::now() < end) {
        loop.processPending();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return !autodj::tagFillBusy(*console);
}

core::Console& StationFixture::open() {
    core::Console& c = console ? *console : make();
    c.form().dirList.path = c.AppFolder + "/Music";
    autodj::showplayLists(c);
    autodj::renewRepeatTime(c);
    return c;
}

core::Console& StationFixture::openWithMicrophone() {
    engine.recordDevices = {"Desk mic"};
    engine.recordInputs = {"Mic"};
    core::Console& c = open();
    c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    return c;
}

void StationFixture::setHistory(const std::string& section, const std::string& key,
                                const std::string& value) {
    core::writeIniValue(*console, console->playedIniPath(), section, key, value);
}

std::string StationFixture::history(const std::string& section, const std::string& key,
                                    const std::string& def) {
    return core::readIni(*console, console->playedIniPath(), section, key, def);
}

int StationFixture::categoryIndex(const std::string& name) {
    const auto& items = console->form().lstPlaylist1.items;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].text == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::vector<std::string> StationFixture::logTexts() const {
    std::vector<std::string> out;
    for (const auto& line : appLogLines()) {
        // "#Time:" + "11/22/2026 10:00:00 AM" + text + "#"
        const auto m = line.find("M", 6);
        const auto start = m == std::string::npos ? 6 : m + 1;
        out.push_back(line.substr(start, line.size() - start - (line.ends_with("#") ? 1 : 0)));
    }
    return out;
}

}  // namespace tw::test

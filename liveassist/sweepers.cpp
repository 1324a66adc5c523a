#include "liveassist/sweepers.h"

#include <cmath>
#include <filesystem>

#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "media/stream_time.h"
#include "tags/cue_data.h"

namespace tw::liveassist {

namespace {

std::string sweeperFolder(core::Console& c) {
    return c.AppFolder + "/Sweepers";
}

std::string selectedSweeper(core::Console& c) {
    const auto& list = c.form().flSweepers;
    if (list.listIndex < 0 || list.listIndex >= list.listCount()) {
        return {};
    }
    return list.items[static_cast<std::size_t>(list.listIndex)].text;
}

}  // namespace

void playSweeper(core::Console& c, const std::string& path) {
    try {
        audio::Engine& e = c.engine();
        if (c.sweeperStream != 0 && e.channelIsActive(c.sweeperStream) == audio::kPlaying) {
            e.channelStop(c.sweeperStream);
            c.sweeperStream = 0;
            return;
        }
        // A file that cannot be opened gives 0, and the mixer takes nothing: no message.
        c.sweeperStream = media::streamCreateFileW(e, path, 0, 0, audio::kStreamDecode);
        autodj::applyLoudness(c, c.sweeperStream, path, autodj::LoudnessKind::Jingle);
        e.mixerAddChannel(c.mixerStream, c.sweeperStream, audio::kStreamAutoFree);
    } catch (const std::exception& ex) {
        core::logError(c, core::failureText("playSweeper", ex));
    }
}

std::int32_t findSweeperIndex(core::Console& c, std::int32_t number) {
    return tags::findSweeperById(c, number);
}

void cmdPlayOver_Click(core::Console& c) {
    auto& m = c.form();
    if (m.flSweepers.listIndex != -1) {
        playSweeper(c, sweeperFolder(c) + "/" + selectedSweeper(c));
        return;
    }
    namespace fs = std::filesystem;
    std::error_code ec;
    if (fs::is_directory(sweeperFolder(c), ec)) {
        // The track list shows the sweepers now, until a category is chosen again.
        m.fileList.path = sweeperFolder(c);
        core::refreshFileList(m.fileList);
    } else {
        fs::create_directories(sweeperFolder(c), ec);
    }
    m.flSweepers.path = sweeperFolder(c);
    core::refreshFileList(m.flSweepers);
    auto& random = c.library->random;
    random.reseed(c.svc.clock->timer());
    const double r = random.next();
    // The integer part of (count - 1) * r: the last file is never chosen unless it is alone, and
    // an empty folder gives an index that is no file.
    const auto index = static_cast<std::int64_t>(
        std::floor(static_cast<double>(m.flSweepers.listCount() - 1) * r));
    if (index < 0 || index >= m.flSweepers.listCount()) {
        return;
    }
    const std::string file =
        sweeperFolder(c) + "/" + m.flSweepers.items[static_cast<std::size_t>(index)].text;
    if (fs::exists(file, ec)) {
        playSweeper(c, file);
    }
}

void saveDefaultSweeper(core::Console& c) {
    core::writeIni(c, c.appSettingsPath(), "tarnWave", "DefaultSweeper", c.defaultSweeper);
}

void readDefaultSweeper(core::Console& c) {
    c.defaultSweeper = core::readIni(c, c.appSettingsPath(), "tarnWave", "DefaultSweeper", "");
    core::printOnButton(c.form().cmdDefaultSweeper,
                        c.defaultSweeper.empty() ? core::ImageRole::Gray : core::ImageRole::Red,
                        c.defaultSweeper);
}

void cmdDefaultSweeper_Click(core::Console& c) {
    c.defaultSweeper = selectedSweeper(c);
    core::printOnButton(c.form().cmdDefaultSweeper,
                        c.defaultSweeper.empty() ? core::ImageRole::Gray : core::ImageRole::Red,
                        c.defaultSweeper);
    saveDefaultSweeper(c);
}

void flSweepers_Click(core::Console& c) {
    const std::string name = selectedSweeper(c);
    if (!name.empty()) {
        c.form().lblSweepId.caption =
            std::to_string(tags::getSweeperNumber(c, sweeperFolder(c) + "/" + name));
    }
}

void flSweepers_DragDrop(core::Console& c, const std::vector<std::string>& files) {
    auto& list = c.form().flSweepers;
    try {
        for (const auto& file : files) {
            // The free number is taken from the files the list shows, so the list takes in each
            // copy before the next one is numbered: files dropped together get a number each.
            // A replaced file is read as it is now, its old number gone with it.
            const std::string copy = core::copyIntoFolder(file, sweeperFolder(c));
            tags::setSweeperNumber(c, copy);
            core::refreshFileList(list);
            autodj::askLoudness(c, copy);
        }
    } catch (const std::exception& e) {
        core::logError(c, "Error in file drop: " + core::describeFailure(e).description);
    }
    core::refreshFileList(list);
}

void flSweepers_Delete(core::Console& c) {
    const std::string name = selectedSweeper(c);
    if (name.empty()) {
        return;
    }
    core::moveToRecycle(c, sweeperFolder(c) + "/" + name, 0, false);
    core::refreshFileList(c.form().flSweepers);
}

}  // namespace tw::liveassist

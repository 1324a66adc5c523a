#include "reporting/download_sheet.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "core/console_ops.h"
#include "core/program_runner.h"
#include "tags/id3_tag.h"

namespace tw::reporting {

namespace {

const std::string kRule(89, '-');

// Whether a program of that name is on the PATH.
bool onPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string folders = path ? path : "";
    std::size_t start = 0;
    while (start <= folders.size()) {
        const std::size_t colon = std::min(folders.find(':', start), folders.size());
        const std::string folder = folders.substr(start, colon - start);
        if (!folder.empty() && ::access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
        start = colon + 1;
    }
    return false;
}

}  // namespace

std::string downloadSheetText(const std::string& title, const std::string& artist,
                              const std::string& composer, const std::string& publisher,
                              const std::string& album, const std::string& marketingLabel) {
    const std::string lines[] = {
        kRule, "",
        "",    "  File#:_________________________________",
        "",    "  Song Name: " + title,
        "",    "  Artist: " + artist,
        "",    "  Composers :" + composer,
        "",    "  Publishers :" + publisher,
        "",    "  Album Title :" + album,
        "",    "  Marketing Label :" + marketingLabel,
        "",    "  Intro Time:________________",
        "",    "  Length:____________________",
        "",    "  End Type: Fade__ Long Fade__ Cold Fade__  Cold__        Other__________",
        "",    "",
        kRule,
    };
    std::string text;
    for (const auto& line : lines) {
        text += line + "\n";
    }
    return text;
}

void cmdSaveDownloadSheet_Click(core::Console& c) {
    try {
        if (c.detailsSong.empty()) {
            return;
        }
        tags::clsID3& tag = *c.id3;
        tag.filename(c.detailsSong);
        const std::string folder = c.AppFolder + "/Download Sheets";
        std::filesystem::create_directories(folder);
        const std::string path = folder + "/" + tag.Artist() + "-" + tag.title() + ".txt";
        {
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            out << downloadSheetText(tag.title(), tag.Artist(), tag.Composer(), tag.Publisher(),
                                     tag.Album(), tag.CopyrightInfo());
            if (!out.flush()) {
                return;  // a name the file system cannot hold, a full disk: nothing is shown
            }
        }
        if (onPath("lp")) {
            if (!c.programs) {
                c.programs = std::make_shared<core::ProgramRunner>(*c.svc.loop);
            }
            c.programs->start({"lp", path}, folder, [](int) {});
        } else {
            core::printMessageOnScreen(
                c, "No printer command here: the download sheet is saved as " + path);
        }
    } catch (const std::exception&) {
        // Any failure ends the action with nothing shown.
    }
}

}  // namespace tw::reporting

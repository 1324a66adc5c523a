#pragma once
// The web tests' station: three categories of one tagged track each and a rotation of the three.

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "autodj/rotations.h"
#include "broadcast/cast_form.h"
#include "core/dates.h"
#include "tests/autodj/station_fixture.h"
#include "web/now_playing.h"

namespace tw::web {

using core::Console;

// Three categories of one track each, every track 200 s for the engine, and a rotation of the
// three as the operator would choose it.
class ThreeTrackStation : public test::StationFixture {
  protected:
    ThreeTrackStation() {
        const char* artists[] = {"Ann Arbor", "Bob Brown", "Cy Coleman"};
        // "Gamé" in the tag's Latin-1 frame: the snapshot must carry it as UTF-8.
        const char* titles[] = {"Alpha", "Beta", "Gam\xe9"};
        const char* cats[] = {"Rock", "Pop", "Jazz"};
        for (int i = 0; i < 3; ++i) {
            addCategory(cats[i]);
            paths[i] = addTrack(cats[i], "t.mp3", artists[i], titles[i]);
            engine.fileSeconds[paths[i]] = 200;
        }
        Console& c = open();
        c.trackList.assign(17, {});
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        broadcast::loadEncoderDataFromIni(c);
    }
    Console& c() { return *console; }
    void chooseRotation() {
        std::filesystem::create_directories(dir / "Rotations");
        c().form().flRotations.path = dir.str() + "/Rotations";
        core::Element& grid = c().form().lstRotation;
        for (const char* cat : {"Rock", "Pop", "Jazz"}) {
            core::GridRow r;
            r.cells = {"", cat};
            grid.rows.push_back(r);
        }
        std::string file = "day.rot";
        autodj::saveNewList(c(), file);
        grid.rows.clear();
        core::refreshFileList(c().form().flRotations);
        c().form().flRotations.listIndex = 0;
        autodj::flRotations_Click(c());
    }
    QJsonObject snapshot() {
        const std::string text = nowPlayingJson(c());
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
        return doc.object();
    }
    static std::string s(const QJsonValue& v) { return v.toString().toStdString(); }
    // The time as the snapshot must write it: local time with the offset Qt computes for it.
    static std::string iso(core::DateValue d) {
        const QDateTime t = QDateTime::fromSecsSinceEpoch(core::toUnixTime(d));
        const int offset = t.offsetFromUtc();
        const int minutes = (offset < 0 ? -offset : offset) / 60;
        return t.toString("yyyy-MM-ddTHH:mm:ss").toStdString() + (offset < 0 ? "-" : "+") +
               QString::asprintf("%02d:%02d", minutes / 60, minutes % 60).toStdString();
    }
    std::vector<std::string> playedLogLines() {
        std::istringstream in(test::readFile(dir / "Played.log"));
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    std::string paths[3];
};

}  // namespace tw::web

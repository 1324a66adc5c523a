// tarnwave-tag: a file's tags (and with --full its MPEG figures) as JSON, with the property names
// of the tag object; --display gives what the console keys a track by; --set and --delete write.
// The exit status says whether the file exists: 0 it does, 1 it does not, 2 a wrong command line.

#include <sys/stat.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "core/text.h"
#include "sim/console_json.h"
#include "tags/field_names.h"
#include "tags/id3_tag.h"
#include "tags/text_codec.h"

namespace {

using tw::tags::clsID3;

// Bytes that are no UTF-8 (picture data, a value set by hand) are shown as the ISO-8859-1
// characters they would be, so that the output is always valid JSON.
std::string jsonText(const std::string& raw) {
    return tw::sim::jsonString(tw::tags::charsToUtf8(tw::tags::utf8ToChars(raw)));
}

std::string jsonNumber(double v) {
    std::ostringstream s;
    s.precision(17);
    s << v;
    std::string t = s.str();
    return (t == "inf" || t == "-inf" || t == "nan" || t == "-nan") ? "null" : t;
}

std::string jsonList(const tw::tags::MultiFrameData& list) {
    std::string out = "[";
    for (int i = 1; i <= list.Count(); ++i) {
        out += (i > 1 ? ", " : "") + jsonText(list.Item(i));
    }
    return out + "]";
}

// Pictures are bytes: shown by their MIME type and size.
std::string jsonPictures(const tw::tags::MultiFrameData& list) {
    std::string out = "[";
    for (int i = 1; i <= list.Count(); ++i) {
        std::string item = list.Item(i);
        std::string mime = item.substr(0, item.find('\0'));
        out += (i > 1 ? ", " : "") + std::string("{\"mimeType\": ") + jsonText(mime) +
               ", \"bytes\": " + std::to_string(item.size()) + "}";
    }
    return out + "]";
}

void printJson(const clsID3& tag, bool full) {
    std::vector<std::pair<std::string, std::string>> rows;
    rows.emplace_back("mp3Title", jsonText(tag.mp3Title()));
    for (const auto& f : tw::tags::kFieldNames) {
        rows.emplace_back(std::string(f.name), jsonText(tag.text(f.field)));
    }
    rows.emplace_back("GenreID", std::to_string(tag.GenreID()));
    rows.emplace_back("CommercialInfo", jsonList(tag.CommercialInfo()));
    rows.emplace_back("ArtistURL", jsonList(tag.ArtistURL()));
    rows.emplace_back("AttachedPictures", jsonPictures(tag.AttachedPictures()));
    rows.emplace_back("filename", jsonText(tag.filename()));
    auto flag = [](bool b) { return std::string(b ? "true" : "false"); };
    rows.emplace_back("ID3v1Exists", flag(tag.ID3v1Exists()));
    rows.emplace_back("ID3v2Exists", flag(tag.ID3v2Exists()));
    rows.emplace_back("Lyrics3v1Exists", flag(tag.Lyrics3v1Exists()));
    rows.emplace_back("Lyrics3v2Exists", flag(tag.Lyrics3v2Exists()));
    rows.emplace_back("ID3RevisionV2", std::to_string(tag.ID3RevisionV2()));
    if (full) {
        rows.emplace_back("Layer", std::to_string(tag.Layer()));
        rows.emplace_back("MPEGVersion", std::to_string(tag.MPEGVersion()));
        rows.emplace_back("ChannelMode", std::to_string(tag.ChannelMode()));
        rows.emplace_back("Padding", std::to_string(tag.Padding()));
        rows.emplace_back("Encoding", std::to_string(tag.Encoding()));
        rows.emplace_back("SamplingRateFrequency", std::to_string(tag.SamplingRateFrequency()));
        rows.emplace_back("bitrate", jsonNumber(tag.bitrate()));
        rows.emplace_back("FrameSize", jsonNumber(tag.FrameSize()));
        rows.emplace_back("FrameSamples", std::to_string(tag.FrameSamples()));
        rows.emplace_back("Length", jsonNumber(tag.Length()));
    }
    std::cout << "{\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::cout << "  " << jsonText(rows[i].first) << ": " << rows[i].second
                  << (i + 1 < rows.size() ? ",\n" : "\n");
    }
    std::cout << "}\n";
}

void printDisplay(const clsID3& tag) {
    tw::tags::clsMp3TagData data;
    tag.returnID3Tag(data);
    std::vector<std::pair<std::string, std::string>> rows = {
        {"Artist", jsonText(data.Artist)},
        {"songName", jsonText(data.songName)},
        {"Album", jsonText(data.Album)},
        {"mp3Title", jsonText(data.mp3Title)},
        {"songYear", std::to_string(data.songYear)},
        {"comment", jsonText(data.comment)},
        {"newGenre", jsonText(data.newGenre)},
        {"Genre", jsonText(data.Genre)},
        {"Composer", jsonText(data.Composer)},
        {"Publisher", jsonText(data.Publisher)},
        {"recordLabel", jsonText(data.recordLabel)},
        {"tarnWaveData", jsonText(data.tarnWaveData)},
    };
    std::cout << "{\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::cout << "  " << jsonText(rows[i].first) << ": " << rows[i].second
                  << (i + 1 < rows.size() ? ",\n" : "\n");
    }
    std::cout << "}\n";
}

bool assign(clsID3& tag, const std::string& setting) {
    const auto eq = setting.find('=');
    if (eq == std::string::npos) {
        return false;
    }
    const std::string name = setting.substr(0, eq), value = setting.substr(eq + 1);
    if (auto field = tw::tags::fieldByName(name)) {
        tag.text(*field, value);
    } else if (name == "GenreID") {
        tag.GenreID(static_cast<std::int32_t>(tw::core::val(value)));
    } else if (name == "ArtistURL" || name == "CommercialInfo") {
        auto& list = name == "ArtistURL" ? tag.ArtistURL() : tag.CommercialInfo();
        list.Clear();
        list.Add(value, std::nullopt, std::nullopt, false);
    } else {
        return false;
    }
    return true;
}

constexpr const char* kUsage =
    "usage: tarnwave-tag [--full] [--display] FILE\n"
    "       tarnwave-tag --set Field=Value [--set Field=Value ...] FILE\n"
    "       tarnwave-tag --delete FILE\n"
    "       tarnwave-tag --help | --version\n"
    "  Prints the tags of an MP3 file as JSON; writes fields with --set, removes every tag\n"
    "  with --delete. Exit status 0 when FILE exists, 1 when it does not, 2 for a wrong\n"
    "  command line.\n"
    "  --full       adds the MPEG figures (layer, bit rate, length, ...)\n"
    "  --display    what the console keys a track by, instead of the fields\n"
    "  --set F=V    writes field F (title, Artist, Album, GenreID, ...)\n"
    "  --delete     removes the file's tags\n"
    "  --help       this text\n"
    "  --version    the program's name and version\n";

int refuse(const std::string& why) {
    std::cerr << tw::app::refusalLine("tarnwave-tag", why) << "\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    bool full = false, display = false, remove = false;
    std::vector<std::string> settings;
    std::string file;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--full") {
            full = true;
        } else if (arg == "--display") {
            display = true;
        } else if (arg == "--delete") {
            remove = true;
        } else if (arg == "--set") {
            if (i + 1 >= argc) {
                return refuse("--set needs Field=Value");
            }
            settings.emplace_back(argv[++i]);
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (arg == "--version") {
            std::cout << tw::app::versionLine("tarnwave-tag") << "\n";
            return 0;
        } else if (arg.rfind("--", 0) == 0) {
            return refuse("unknown option " + arg);
        } else if (!file.empty()) {
            return refuse("one file at most, not also \"" + arg + "\"");
        } else {
            file = arg;
        }
    }
    if (file.empty()) {
        return refuse("no file named");
    }
    clsID3 tag;
    tag.filename(file);
    if (remove) {
        tag.DeleteID3Tags();
    } else if (!settings.empty()) {
        for (const auto& s : settings) {
            if (!assign(tag, s)) {
                return refuse("unknown field in " + s);
            }
        }
        tag.UpdateID3Tags();
    }
    if (!tag.lastWriteError().empty()) {
        std::cerr << "tarnwave-tag: " << tag.lastWriteError() << "\n";
    }
    if (remove || !settings.empty()) {
        tag.filename(file);
    }
    if (full) {
        tag.RefreshID3Tags();
    }
    if (display) {
        printDisplay(tag);
    } else {
        printJson(tag, full);
    }
    struct stat st {};
    return ::stat(file.c_str(), &st) == 0 ? 0 : 1;
}

// The light tag read of 10,000 tagged files from the page cache, against TagLib reading the same
// files' tags in the same run.

#include <benchmark/benchmark.h>
#include <taglib/mpegfile.h>
#include <taglib/tag.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tags/id3_tag.h"

namespace {

constexpr int kFiles = 10000;

std::string textFrame(const std::string& id, const std::string& text) {
    const std::size_t n = text.size() + 1;
    std::string f = id;
    for (int shift : {24, 16, 8, 0}) {
        f.push_back(static_cast<char>((n >> shift) & 0xFF));
    }
    f += std::string(2, '\0') + std::string(1, '\0') + text;
    return f;
}

std::string fileBytes(int i) {
    const std::string n = std::to_string(i);
    std::string body =
        textFrame("TIT2", "Title number " + n) + textFrame("TPE1", "Artist " + n) +
        textFrame("TALB", "Album " + std::to_string(i / 12)) + textFrame("TYER", "1999") +
        textFrame("TRCK", std::to_string(i % 12 + 1)) + textFrame("TCON", "(17)Rock") +
        textFrame("COMM", std::string("eng\0A comment", 13)) + std::string(512, '\0');
    std::string tag = "ID3";
    tag += std::string("\x03\0\0", 3);
    for (int shift : {21, 14, 7, 0}) {
        tag.push_back(static_cast<char>((body.size() >> shift) & 0x7F));
    }
    std::string frame(417, '\0');
    frame[0] = '\xFF';
    frame[1] = '\xFB';
    frame[2] = '\x90';
    std::string v1 = "TAG" + std::string(125, '\0');
    v1.replace(3, 5, "Title");
    return tag + body + frame + frame + frame + frame + v1;
}

// The files are made once per run, in a temporary folder removed at exit, and read once so that
// both readers find them in the page cache.
class TrackFolder {
  public:
    TrackFolder() {
        const char* tmp = std::getenv("TMPDIR");
        folder_ = std::string(tmp ? tmp : "/tmp") + "/tw-bench-tags-XXXXXX";
        if (::mkdtemp(folder_.data()) == nullptr) {
            std::abort();
        }
        for (int i = 0; i < kFiles; ++i) {
            paths_.push_back(folder_ + "/track" + std::to_string(i) + ".mp3");
            std::ofstream(paths_.back(), std::ios::binary) << fileBytes(i);
        }
        for (const auto& p : paths_) {
            std::ifstream in(p, std::ios::binary);
            std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            benchmark::DoNotOptimize(all);
        }
    }
    ~TrackFolder() { std::filesystem::remove_all(folder_); }
    TrackFolder(const TrackFolder&) = delete;
    TrackFolder& operator=(const TrackFolder&) = delete;

    const std::vector<std::string>& paths() const { return paths_; }

  private:
    std::string folder_;
    std::vector<std::string> paths_;
};

const std::vector<std::string>& files() {
    static const TrackFolder folder;
    return folder.paths();
}

void BM_LightRead10000(benchmark::State& state) {
    const auto& paths = files();
    tw::tags::clsID3 tag;  // one object re-pointed at each file, as the console does
    for (auto _ : state) {
        std::size_t chars = 0;
        for (const auto& p : paths) {
            tag.filename(p);
            chars += tag.title().size() + tag.Artist().size() + tag.Album().size();
        }
        if (chars == 0) {
            state.SkipWithError("nothing read");
        }
        benchmark::DoNotOptimize(chars);
    }
}
BENCHMARK(BM_LightRead10000)->Unit(benchmark::kMillisecond)->Repetitions(5);

void BM_LightRead10000_Reference(benchmark::State& state) {
    const auto& paths = files();
    for (auto _ : state) {
        std::size_t chars = 0;
        for (const auto& p : paths) {
            TagLib::MPEG::File f(p.c_str(), false);  // tags only, no audio properties
            if (TagLib::Tag* t = f.tag()) {
                chars += t->title().size() + t->artist().size() + t->album().size();
            }
        }
        if (chars == 0) {
            state.SkipWithError("nothing read");
        }
        benchmark::DoNotOptimize(chars);
    }
}
BENCHMARK(BM_LightRead10000_Reference)->Unit(benchmark::kMillisecond)->Repetitions(5);

}  // namespace

#include "media/waveform_cache.h"

#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "audio/thread_name.h"

namespace tw::media {

namespace {

constexpr std::size_t kKept = 512;  // envelopes kept; the oldest go first

// What identifies a file's contents well enough for a picture: its path, size and time.
std::string versionKey(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        return {};
    }
    return path + '\n' + std::to_string(st.st_size) + '\n' + std::to_string(st.st_mtim.tv_sec) +
           '.' + std::to_string(st.st_mtim.tv_nsec);
}

}  // namespace

struct WaveformCache::Shared {
    std::mutex mutex;
    std::condition_variable_any wake;
    struct Job {
        std::string path;
        std::string key;
        std::function<void()> ready;
    };
    std::deque<Job> jobs;
    std::map<std::string, std::shared_ptr<const audio::PeakEnvelope>> known;  // by version key
    std::deque<std::string> order;                                            // oldest first
};

WaveformCache::WaveformCache(core::EventLoop& loop, std::size_t columns)
    : loop_(loop),
      columns_(columns),
      shared_(std::make_shared<Shared>()),
      worker_([this](std::stop_token stop) {
          audio::nameThisThread("tw-waveform");
          work(stop);
      }) {}

WaveformCache::~WaveformCache() {
    worker_.request_stop();
    shared_->wake.notify_all();
}

std::shared_ptr<const audio::PeakEnvelope> WaveformCache::find(const std::string& path,
                                                               std::function<void()> ready) {
    const std::string key = versionKey(path);
    if (key.empty()) {
        return nullptr;
    }
    std::lock_guard lock(shared_->mutex);
    if (auto it = shared_->known.find(key); it != shared_->known.end()) {
        return it->second;
    }
    // Only the newest wish counts: the panel shows one track at a time.
    shared_->jobs.clear();
    shared_->jobs.push_back({path, key, std::move(ready)});
    shared_->wake.notify_all();
    return nullptr;
}

void WaveformCache::work(std::stop_token stop) {
    Shared& s = *shared_;
    while (!stop.stop_requested()) {
        Shared::Job job;
        {
            std::unique_lock lock(s.mutex);
            if (!s.wake.wait(lock, stop, [&] { return !s.jobs.empty(); })) {
                return;
            }
            job = std::move(s.jobs.front());
            s.jobs.pop_front();
        }
        auto envelope =
            std::make_shared<const audio::PeakEnvelope>(audio::peakEnvelope(job.path, columns_));
        {
            std::lock_guard lock(s.mutex);
            if (s.known.emplace(job.key, envelope).second) {
                s.order.push_back(job.key);
            }
            while (s.order.size() > kKept) {
                s.known.erase(s.order.front());
                s.order.pop_front();
            }
        }
        // The console may be gone by the time the loop runs this: the cache's shared part goes
        // with it (both live on the console thread, so it cannot go while this runs).
        loop_.post([weak = std::weak_ptr<Shared>(shared_), ready = std::move(job.ready)] {
            if (weak.lock() && ready) {
                ready();
            }
        });
    }
}

void drawWaveform(core::Element& picture, const audio::PeakEnvelope& envelope) {
    const double width = picture.scaleWidth();
    const double height = picture.scaleHeight();
    if (!envelope.ok() || envelope.peaks.empty() || width <= 0 || height <= 0) {
        return;
    }
    constexpr std::uint32_t kWaveColor = 0x707070;
    std::vector<core::Fill> columns;
    const auto pixels = static_cast<std::size_t>(width);
    for (std::size_t x = 0; x < pixels; ++x) {
        // Each pixel shows the loudest of the columns it covers.
        const std::size_t from = x * envelope.peaks.size() / pixels;
        const std::size_t to = std::max(from + 1, (x + 1) * envelope.peaks.size() / pixels);
        std::uint16_t peak = 0;
        for (std::size_t i = from; i < to && i < envelope.peaks.size(); ++i) {
            peak = std::max(peak, envelope.peaks[i]);
        }
        const double h = std::max(1.0, height * peak / 32767.0);
        // A little wider than a pixel, so that a scaled window shows no seams between columns.
        columns.push_back(
            {static_cast<double>(x), (height - h) / 2, 1.3, h, core::ImageRole::None, kWaveColor});
    }
    auto& fills = picture.drawing.fills;
    fills.insert(fills.begin(), columns.begin(), columns.end());
}

}  // namespace tw::media

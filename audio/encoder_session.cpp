#include "audio/encoder_session.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "audio/cast_socket.h"
#include "audio/http_get.h"
#include "audio/thread_name.h"

namespace tw::audio {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kHttpLimitMs = 2000;
constexpr auto kStatsEvery = 5s;
constexpr auto kStatsAfterConnect = 1s;
constexpr auto kStatsFresh = 15s;

bool isShoutcast(const CastTarget& t) {
    return t.protocol == CastProtocol::Shoutcast1 || t.protocol == CastProtocol::Shoutcast2;
}

std::string base(const CastTarget& t) {
    return "http://" + t.host + ":" + std::to_string(t.port);
}

}  // namespace

EncoderSession::EncoderSession(Handle ch, std::uint32_t f, std::shared_ptr<EncoderTap> t,
                               std::shared_ptr<ProgramGate> gate)
    : channel(ch), flags(f), tap(std::move(t)), gate_(std::move(gate)) {}

EncoderSession::~EncoderSession() {
    requestStop();
    for (std::jthread* t : {&shuttle_, &controller_}) {
        if (t->joinable()) {
            t->join();
        }
    }
    if (const int fd = socket_.exchange(-1); fd >= 0) {
        ::close(fd);
    }
    program_.stop();
    if (stopping_) {
        gate_->ended();
    }
}

bool EncoderSession::start(const std::string& commandLine, std::string& error) {
    // The shuttle starts the program: starting one costs milliseconds, and a session's start
    // starts twelve on the console thread. A program that is not there fails here all the same.
    std::vector<std::string> argv = splitCommandLine(commandLine);
    if (argv.empty()) {
        error = "empty command line";
        return false;
    }
    if (!findProgram(argv[0], error)) {
        return false;
    }
    argv_ = std::move(argv);
    programWaiting_ = true;
    shuttle_ = std::jthread([this](std::stop_token s) {
        nameThisThread("tw-enc-shuttle");
        shuttle(s);
    });
    controller_ = std::jthread([this](std::stop_token s) {
        nameThisThread("tw-enc-control");
        control(s);
    });
    return true;
}

bool EncoderSession::startProgram(std::stop_token stop) {
    // Programs of stopped encoders may still be ending: this one starts when they are gone.
    if (!gate_->waitOpen(stop)) {
        programWaiting_ = false;
        return false;
    }
    std::string error;
    const bool started = program_.start(argv_, error);
    programAlive_ = started;
    programWaiting_ = false;
    return started;
}

void EncoderSession::requestStop() {
    if (!stopping_.exchange(true)) {
        gate_->ending();
    }
    shuttle_.request_stop();
    controller_.request_stop();
    wake_.notify_all();
    // The server sees the source go at once, so that a new one may take the mount.
    if (const int fd = socket_.load(); fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

bool EncoderSession::connect(const std::string& server, const StationInfo& info, int timeoutMs,
                             const std::string& nameServers) {
    CastTarget target;
    {
        std::lock_guard lock(mutex_);
        if (hasCast_) {
            connectError_ = "this encoder is connected already";
            return false;
        }
        if (!parseServerText(server, target)) {
            ConnectError error;
            error.kind = ConnectError::Kind::BadAddress;
            connectError_ = describe(error, timeoutMs);
            return false;
        }
    }
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    ConnectError error;
    const int fd = openSource(target, info, timeoutMs, error, nameServers);
    if (fd < 0) {
        std::lock_guard lock(mutex_);
        connectError_ = describe(error, timeoutMs);
        return false;
    }
    // Stored before the stop is looked at, as requestStop stores its flag before it looks here:
    // one of the two sees the other, so a stopped encoder never keeps a source on the mount.
    socket_ = fd;
    if (stopping_) {
        ::shutdown(fd, SHUT_RDWR);
        std::lock_guard lock(mutex_);
        connectError_ = "stopped while it connected";
        return false;
    }
    {
        std::lock_guard lock(mutex_);
        connectError_.clear();
        target_ = target;
        info_ = info;
        hasCast_ = true;
        // Both statistics pages with the cast's password are fetched before this returns, so
        // that the first poll after a connect finds an answer and does not take the new cast
        // for a dead one.
        for (StatsCache& cache : stats_) {
            cache.wanted = true;
            cache.password = info.password;
        }
        // Fetched again once the server has taken the stream and its headers.
        nextStats_ = Clock::now() + kStatsAfterConnect;
        statsRescheduled_ = true;
    }
    castBroken_ = false;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    fetchStats(static_cast<int>(std::clamp<long long>(left.count(), 200, kHttpLimitMs)));
    wake_.notify_all();
    return true;
}

void EncoderSession::setTitle(const std::string& title, const std::string& url) {
    {
        std::lock_guard lock(mutex_);
        if (!hasCast_) {
            return;
        }
        // Only the newest matters when the server is slow to take them.
        while (titles_.size() >= 4) {
            titles_.pop_front();
        }
        titles_.emplace_back(title, url);
    }
    wake_.notify_all();
}

std::string EncoderSession::stats(int type, const std::string& password) {
    if (type < 0 || type > 1) {
        return {};
    }
    std::lock_guard lock(mutex_);
    if (!hasCast_ || !active()) {
        return {};
    }
    StatsCache& cache = stats_[type];
    if (!cache.wanted || cache.password != password) {
        cache.wanted = true;
        cache.password = password;
        cache.text.clear();
        statsAsked_ = true;
        wake_.notify_all();
        return {};
    }
    return Clock::now() - cache.fetched <= kStatsFresh ? cache.text : std::string();
}

std::string EncoderSession::connectError() const {
    std::lock_guard lock(mutex_);
    return connectError_;
}

std::string EncoderSession::programEnd() const {
    std::lock_guard lock(mutex_);
    return programEnd_;
}

bool EncoderSession::active() const {
    return (programAlive_.load() || programWaiting_.load()) && !castBroken_.load();
}

std::uint64_t EncoderSession::count(int what) const {
    switch (what) {
        case 0:
            return fed_.load();
        case 1:
            return encoded_.load();
        default:
            return sent_.load();
    }
}

void EncoderSession::control(std::stop_token stop) {
    while (!stop.stop_requested()) {
        std::pair<std::string, std::string> title;
        bool haveTitle = false;
        bool statsDue = false;
        {
            std::unique_lock lock(mutex_);
            // Titles, asked statistics and a connect ring wake_; otherwise nothing is due before
            // the next fetch.
            const auto idle = hasCast_ ? std::max<Clock::duration>(nextStats_ - Clock::now(), 0s)
                                       : Clock::duration(kStatsEvery);
            wake_.wait_for(lock, stop, idle,
                           [&] { return !titles_.empty() || statsAsked_ || statsRescheduled_; });
            if (!titles_.empty()) {
                title = std::move(titles_.front());
                titles_.pop_front();
                haveTitle = true;
            }
            statsDue = hasCast_ && (statsAsked_ || Clock::now() >= nextStats_);
            statsAsked_ = false;
            statsRescheduled_ = false;
        }
        if (stop.stop_requested()) {
            return;
        }
        if (haveTitle) {
            sendTitle(title.first, title.second);
        }
        if (statsDue) {
            fetchStats(kHttpLimitMs);
            std::lock_guard lock(mutex_);
            nextStats_ = Clock::now() + kStatsEvery;
        }
    }
}

void EncoderSession::fetchStats(int limitMs) {
    CastTarget target;
    std::string passwords[2];
    bool wanted[2];
    {
        std::lock_guard lock(mutex_);
        target = target_;
        for (int t = 0; t < 2; ++t) {
            wanted[t] = stats_[t].wanted;
            passwords[t] = stats_[t].password;
        }
    }
    for (int t = 0; t < 2; ++t) {
        if (!wanted[t]) {
            continue;
        }
        std::string url;
        if (t == 0) {
            url = base(target) + "/admin.cgi?mode=viewxml&pass=" + urlEncode(passwords[t]);
            if (!target.sid.empty()) {
                url += "&sid=" + urlEncode(target.sid);
            }
        } else {
            url = base(target) + "/admin/stats";
            if (!target.mount.empty()) {
                url += "?mount=" + urlEncode(target.mount);
            }
        }
        HttpAnswer answer = httpGet(url, "admin:" + passwords[t], limitMs);
        std::lock_guard lock(mutex_);
        StatsCache& cache = stats_[t];
        cache.fetched = Clock::now();
        cache.text = answer.status == 200 ? std::move(answer.body) : std::string();
    }
}

void EncoderSession::sendTitle(const std::string& title, const std::string& url) {
    CastTarget target;
    std::string password;
    {
        std::lock_guard lock(mutex_);
        target = target_;
        password = info_.password;
    }
    if (isShoutcast(target)) {
        const bool v2 = target.protocol == CastProtocol::Shoutcast2;
        std::string request =
            base(target) + "/admin.cgi?pass=" + urlEncode(password) +
            "&mode=updinfo&song=" + urlEncode(v2 ? asUtf8(title) : asLatin1(title)) +
            "&url=" + urlEncode(url);
        if (v2) {
            request += "&sid=" + urlEncode(target.sid);
        }
        httpGet(request, "admin:" + password, kHttpLimitMs);
        return;
    }
    httpGet(base(target) + "/admin/metadata?mount=" + urlEncode(target.mount) +
                "&mode=updinfo&charset=UTF-8&song=" + urlEncode(asUtf8(title)),
            "source:" + password, kHttpLimitMs);
}

}  // namespace tw::audio

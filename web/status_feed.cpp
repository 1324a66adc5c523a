#include "web/status_feed.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <charconv>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "core/console_ops.h"
#include "core/text.h"
#include "web/now_playing.h"
#include "web/now_playing_outputs.h"
#include "web/played_log.h"

namespace tw::web {

namespace {

constexpr double kLookSeconds = 0.25;    // how often the tick looks for a change
constexpr double kRefreshSeconds = 1.0;  // how often an unchanged snapshot is published
constexpr double kDaySeconds = 86400.0;

std::string compact(const QJsonObject& o) {
    return QJsonDocument(o).toJson(QJsonDocument::Compact).toStdString();
}

}  // namespace

class StatusFeed {
  public:
    StatusFeed(FeedSettings settings, ControlHand hand)
        : command(std::move(settings.command)),
          problem(std::move(settings.problem)),
          hand(std::move(hand)) {}

    std::unique_ptr<StatusService> service;
    NowPlayingCommand command;
    std::string url;      // empty without a service
    std::string problem;  // why the service set does not run
    ControlHand hand;
    std::vector<PlayedStart> history;
    bool startPending = false;
    QJsonObject last;  // what was published last
    double publishedAt = -kDaySeconds;
    double lookedAt = -kDaySeconds;
    // Dropped with the feed: control requests still queued for the console find it gone.
    std::shared_ptr<int> alive = std::make_shared<int>(0);
};

namespace {

// Seconds from `then` to `now` on the clock of the day, across midnight.
double since(double now, double then) {
    double d = now - then;
    if (d < 0) {
        d += kDaySeconds;
    }
    return d;
}

bool readPort(const std::string& text, std::uint16_t& port) {
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || at != end || value > 65535) {
        return false;
    }
    port = static_cast<std::uint16_t>(value);
    return true;
}

void publish(StatusFeed& f, const QJsonObject& snapshot, std::string_view event) {
    if (f.service) {
        f.service->publish(compact(snapshot), event);
    }
    f.last = snapshot;
}

void tellStart(core::Console& c, StatusFeed& f) {
    f.startPending = false;
    f.history = readLastStarts(c.playedLogPath(), kHistoryLength);
    const QJsonObject snapshot = nowPlayingObject(c, f.history);
    const std::string json = compact(snapshot);
    writeNowPlayingFiles(c, nowPlayingLine(c), json);
    if (f.command.set()) {
        const QJsonObject now = snapshot["now"].toObject();
        const double length = now["duration"].toDouble();
        f.command.run(c, now["artist"].toString().toStdString(),
                      now["title"].toString().toStdString(),
                      std::isfinite(length) ? std::lround(length) : 0);
    }
    publish(f, snapshot, "start");
}

}  // namespace

FeedSettings readFeedSettings(core::Console& c) {
    FeedSettings s;
    const std::string file = c.appSettingsPath();
    const std::string port = core::trim(core::readIni(c, file, "WebStatus", "Port", ""));
    const std::string address = core::trim(core::readIni(c, file, "WebStatus", "Address", ""));
    s.service.token = core::trim(core::readIni(c, file, "WebStatus", "Token", ""));
    s.command = core::trim(core::readIni(c, file, "NowPlaying", "Command", ""));
    if (!address.empty()) {
        s.service.address = address;
    }
    if (port.empty()) {
        return s;
    }
    if (!readPort(port, s.service.port)) {
        s.problem = "Port \"" + port + "\" is no port number (1 to 65535)";
        return s;
    }
    s.serviceOn = s.service.port != 0;
    return s;
}

std::string serviceUrl(const std::string& address, unsigned port) {
    const bool v6 = address.find(':') != std::string::npos;
    return "http://" + (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port) + "/";
}

void startStatusFeed(core::Console& c, ControlHand hand) {
    // The old service goes first: the new one may want its port.
    c.statusFeed.reset();
    FeedSettings settings = readFeedSettings(c);
    auto feed = std::make_shared<StatusFeed>(settings, hand);
    if (!feed->problem.empty()) {
        core::logError(c, "Web status is off: " + feed->problem);
    }
    if (settings.serviceOn) {
        core::EventLoop* loop = c.svc.loop;
        std::weak_ptr<int> alive = feed->alive;
        auto service = std::make_unique<StatusService>(
            settings.service, [loop, alive, &c, hand](ControlRequest request) {
                loop->post([alive, &c, hand, request = std::move(request)] {
                    if (!alive.expired() && hand) {
                        hand(c, request);
                    }
                });
            });
        std::string error;
        if (service->start(error)) {
            feed->url = serviceUrl(settings.service.address, service->port());
            feed->service = std::move(service);
            core::logError(c, "Web status on " + feed->url +
                                  (settings.service.token.empty() ? " (no control)"
                                                                  : " (control with the token)"));
        } else {
            feed->problem = "it could not listen on " +
                            serviceUrl(settings.service.address, settings.service.port) + ": " +
                            error;
            core::logError(c, "Web status is off: " + feed->problem);
        }
    }
    c.statusFeed = feed;
    if (feed->service) {
        feed->history = readLastStarts(c.playedLogPath(), kHistoryLength);
        publish(*feed, nowPlayingObject(c, feed->history), {});
        feed->publishedAt = c.svc.clock->timer();
    }
}

void restartStatusFeed(core::Console& c) {
    if (c.statusFeed) {
        ControlHand hand = c.statusFeed->hand;
        startStatusFeed(c, std::move(hand));
    }
}

void useNowPlayingCommand(core::Console& c, const std::string& commandLine) {
    if (c.statusFeed) {
        c.statusFeed->command = NowPlayingCommand(commandLine);
    }
}

void stopStatusFeed(core::Console& c) {
    c.statusFeed.reset();
}

void statusFeedStarted(core::Console& c) {
    if (c.statusFeed) {
        c.statusFeed->startPending = true;
    }
}

void statusFeedTick(core::Console& c) {
    StatusFeed* f = c.statusFeed.get();
    if (f == nullptr) {
        return;
    }
    const double now = c.svc.clock->timer();
    if (f->startPending) {
        tellStart(c, *f);
        f->publishedAt = f->lookedAt = now;
        return;
    }
    if (!f->service || since(now, f->lookedAt) < kLookSeconds) {
        return;
    }
    f->lookedAt = now;
    const QJsonObject snapshot = nowPlayingObject(c, f->history);
    bool told = false;
    for (const auto& [key, event] :
         {std::pair{"mode", "mode"}, std::pair{"on_air", "on_air"},
          std::pair{"listeners", "listeners"}, std::pair{"next", "next"}}) {
        if (snapshot[key] != f->last[key]) {
            publish(*f, snapshot, event);
            told = true;
        }
    }
    if (told || since(now, f->publishedAt) >= kRefreshSeconds) {
        if (!told) {
            publish(*f, snapshot, {});
        }
        f->publishedAt = now;
    }
}

std::string statusFeedUrl(const core::Console& c) {
    return c.statusFeed ? c.statusFeed->url : std::string();
}

std::size_t statusFeedClients(const core::Console& c) {
    return c.statusFeed && c.statusFeed->service ? c.statusFeed->service->eventClients() : 0;
}

std::string statusFeedProblem(const core::Console& c) {
    return c.statusFeed ? c.statusFeed->problem : std::string();
}

}  // namespace tw::web

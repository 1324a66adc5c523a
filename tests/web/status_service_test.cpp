#include "web/status_service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/web/http_probe.h"

namespace tw::web {
namespace {

using namespace std::chrono_literals;
using test::bodyOf;
using test::HttpProbe;
using test::roundTrip;
using test::statusOf;

constexpr const char* kToken = "s3cret-Token-of-the-station";

class StatusServiceTest : public ::testing::Test {
  protected:
    // The service on a port the system picks on the loopback address, with short limits so
    // that the slow cases end quickly.
    void startService(ServiceSettings s = {}) {
        s.idleTimeoutSeconds = 1;
        service = std::make_unique<StatusService>(std::move(s), [this](ControlRequest r) {
            std::lock_guard lock(mutex);
            controls.push_back(r);
        });
        std::string error;
        ASSERT_TRUE(service->start(error)) << error;
        port = service->port();
        ASSERT_NE(port, 0);
    }
    void startWithToken() {
        ServiceSettings s;
        s.token = kToken;
        startService(s);
    }
    std::vector<ControlRequest> received() {
        std::lock_guard lock(mutex);
        return controls;
    }
    static std::string post(const std::string& path, const std::string& body,
                            const std::string& authorization) {
        std::string r = "POST " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n";
        if (!authorization.empty()) {
            r += "Authorization: " + authorization + "\r\n";
        }
        r += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        return r;
    }
    static std::string get(const std::string& path) {
        return "GET " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
    }

    std::mutex mutex;
    std::vector<ControlRequest> controls;
    std::unique_ptr<StatusService> service;
    std::uint16_t port = 0;
};

TEST_F(StatusServiceTest, NowPlayingAnswersTheLatestPublishedSnapshot) {
    startService();
    EXPECT_EQ(statusOf(roundTrip(port, get("/api/nowplaying"))), 503);
    service->publish(R"({"now":{"title":"Alpha"}})");
    std::string a = roundTrip(port, get("/api/nowplaying"));
    EXPECT_EQ(statusOf(a), 200);
    EXPECT_NE(a.find("Content-Type: application/json; charset=utf-8"), std::string::npos) << a;
    EXPECT_EQ(bodyOf(a), R"({"now":{"title":"Alpha"}})");
    service->publish(R"({"now":{"title":"Beta"}})", "start");
    EXPECT_EQ(bodyOf(roundTrip(port, get("/api/nowplaying"))), R"({"now":{"title":"Beta"}})");
}

TEST_F(StatusServiceTest, UnknownPathsAndWrongMethodsAreRefused) {
    startService();
    EXPECT_EQ(statusOf(roundTrip(port, get("/index.php"))), 404);
    EXPECT_EQ(statusOf(roundTrip(port, get("/api/nowplaying/../../etc/passwd"))), 404);
    const std::string a = roundTrip(port, post("/api/nowplaying", "", ""));
    EXPECT_EQ(statusOf(a), 405);
    EXPECT_NE(a.find("Allow: GET"), std::string::npos);
    EXPECT_EQ(statusOf(roundTrip(port, get("/api/next"))), 405);
}

TEST_F(StatusServiceTest, EventsStartWithTheSnapshotAndFollowThePublishedChangesInOrder) {
    startService();
    service->publish(R"({"n":0})");
    HttpProbe events(port);
    ASSERT_TRUE(events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    events.readUntil("data: {\"n\":0}\n\n", 2s);
    EXPECT_EQ(events.status(), 200);
    EXPECT_NE(events.received().find("Content-Type: text/event-stream"), std::string::npos);
    EXPECT_NE(events.received().find("event: snapshot\ndata: {\"n\":0}\n\n"), std::string::npos)
        << events.received();
    for (int i = 1; i <= 100; ++i) {
        service->publish("{\"n\":" + std::to_string(i) + "}", i % 2 ? "start" : "listeners");
    }
    service->publish(R"({"mode":"Manual"})", "mode");
    const std::string& got = events.readUntil("event: mode\ndata: {\"mode\":\"Manual\"}\n\n", 3s);
    std::size_t at = 0;
    for (int i = 1; i <= 100; ++i) {
        const std::string frame = std::string("event: ") + (i % 2 ? "start" : "listeners") +
                                  "\ndata: {\"n\":" + std::to_string(i) + "}\n\n";
        const std::size_t found = got.find(frame, at);
        ASSERT_NE(found, std::string::npos) << "event " << i << " missing or out of order";
        at = found + frame.size();
    }
    EXPECT_NE(got.find("event: mode", at), std::string::npos);
    EXPECT_EQ(service->eventClients(), 1u);
}

TEST_F(StatusServiceTest, AnIdleEventStreamGetsAKeepAliveComment) {
    ServiceSettings s;
    s.keepAlive = 200ms;
    startService(s);
    HttpProbe events(port);
    ASSERT_TRUE(events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    events.readUntil(": keep-alive\n\n", 3s);
    EXPECT_NE(events.received().find(": keep-alive\n\n"), std::string::npos);
    // Past the idle timeout (1 s here) the stream stays open: the comments keep it alive.
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(service->eventClients(), 1u);
}

TEST_F(StatusServiceTest, AClosedEventStreamIsForgottenAtTheNextKeepAlive) {
    ServiceSettings s;
    s.keepAlive = 100ms;
    startService(s);
    {
        HttpProbe events(port);
        ASSERT_TRUE(events.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
        events.readUntil("retry:", 2s);
        EXPECT_EQ(service->eventClients(), 1u);
    }
    const auto end = std::chrono::steady_clock::now() + 3s;
    while (service->eventClients() != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(service->eventClients(), 0u);
}

TEST_F(StatusServiceTest, AStreamThatDoesNotReadIsDroppedOnceItsBacklogIsFull) {
    ServiceSettings s;
    s.clientBacklog = 64 * 1024;
    startService(s);
    HttpProbe stuck(port);
    ASSERT_TRUE(stuck.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    const auto end = std::chrono::steady_clock::now() + 5s;
    while (service->eventClients() == 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(10ms);
    }
    ASSERT_EQ(service->eventClients(), 1u);
    // Far more than the socket's buffers and the backlog together; the client reads nothing.
    const std::string big(256 * 1024, 'x');
    for (int i = 0; i < 200 && service->eventClients() != 0; ++i) {
        service->publish("{\"pad\":\"" + big + "\"}", "start");
        std::this_thread::sleep_for(10ms);
    }
    while (service->eventClients() != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(service->eventClients(), 0u);
    // The service answers others all along.
    service->publish("{}");
    EXPECT_EQ(statusOf(roundTrip(port, get("/api/nowplaying"))), 200);
}

TEST_F(StatusServiceTest, WithoutATokenTheControlPathsAreForbiddenAndNothingHappens) {
    startService();
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/next", "", "Bearer "))), 403);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "auto", "Bearer x"))), 403);
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, AnythingButTheRightBearerTokenGets401AndNothingHappens) {
    startWithToken();
    const std::string token = kToken;
    for (const std::string& auth : std::vector<std::string>{
             std::string(), "Bearer", "Bearer ", "Bearer wrong", "bearer " + token,
             "Basic " + token, "Bearer " + token + "x", "Bearer " + token.substr(0, 5),
             "Bearer  " + token, "Bearer " + token.substr(1)}) {
        const std::string a = roundTrip(port, post("/api/next", "", auth));
        EXPECT_EQ(statusOf(a), 401) << "[" << auth << "]";
        EXPECT_NE(a.find("WWW-Authenticate: Bearer"), std::string::npos);
    }
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "hello", "Bearer nope"))), 401);
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, TheRightTokenCarriesEachControlToTheConsolesHand) {
    startWithToken();
    const std::string auth = std::string("Bearer ") + kToken;
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/next", "", auth))), 202);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "manual\n", auth))), 202);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "auto", auth))), 202);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "Caf\xc3\xa9 at ten", auth))), 202);
    const auto got = received();
    ASSERT_EQ(got.size(), 4u);
    EXPECT_EQ(got[0].kind, ControlKind::Next);
    EXPECT_EQ(got[1].kind, ControlKind::Mode);
    EXPECT_EQ(got[1].value, "manual");
    EXPECT_EQ(got[2].value, "auto");
    EXPECT_EQ(got[3].kind, ControlKind::Message);
    EXPECT_EQ(got[3].value, "Caf\xc3\xa9 at ten");
}

TEST_F(StatusServiceTest, AControlWithABadBodyGets400AndNothingHappens) {
    startWithToken();
    const std::string auth = std::string("Bearer ") + kToken;
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "live", auth))), 400);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/mode", "", auth))), 400);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "", auth))), 400);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "a\nb", auth))), 400);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", "bad \xff utf", auth))), 400);
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, ABodyPastTheLimitGets413AndNothingHappens) {
    ServiceSettings s;
    s.token = kToken;
    s.bodyLimit = 100;
    startService(s);
    const std::string auth = std::string("Bearer ") + kToken;
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", std::string(101, 'a'), auth))), 413);
    // A length the server cannot even hold in a number.
    EXPECT_EQ(
        statusOf(roundTrip(port, "POST /api/message HTTP/1.1\r\nHost: x\r\nAuthorization: " + auth +
                                     "\r\nContent-Length: 99999999999999999999999"
                                     "\r\n\r\nabc")),
        413);
    // A body of unknown length is not taken at all.
    EXPECT_EQ(
        statusOf(roundTrip(port, "POST /api/message HTTP/1.1\r\nHost: x\r\nAuthorization: " + auth +
                                     "\r\nTransfer-Encoding: chunked\r\n\r\n"
                                     "5\r\nhello\r\n0\r\n\r\n")),
        411);
    EXPECT_EQ(statusOf(roundTrip(port, post("/api/message", std::string(100, 'a'), auth))), 202);
    ASSERT_EQ(received().size(), 1u);
}

TEST_F(StatusServiceTest, MalformedRequestsGet400AndNothingHappens) {
    startWithToken();
    const std::string auth = std::string("Bearer ") + kToken;
    for (const std::string& bad : std::vector<std::string>{
             "POST /api/next HTTP/1.1\r\nAuthorization: " + auth + "\r\n\r\n",  // no Host
             "POST /api/next HTTP/1.1\r\nHost: x\r\nBroken header line\r\nAuthorization: " + auth +
                 "\r\n\r\n",
             "POST /api/next HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nContent-Length: 7\r\n"
             "Authorization: " +
                 auth + "\r\n\r\nabcde",
             "POST /api/next HTTP/1.1\r\nHost: x\r\nContent-Length: five\r\nAuthorization: " +
                 auth + "\r\n\r\nabcde"}) {
        const std::string answer = roundTrip(port, bad);
        EXPECT_GE(statusOf(answer), 400) << bad << "\n" << answer;
        EXPECT_LT(statusOf(answer), 500) << bad << "\n" << answer;
    }
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, ARequestLineThatIsNoRequestIsClosedAndNothingHappens) {
    startWithToken();
    // The library answers nothing to these: it cannot tell that they were meant as HTTP. The
    // connection closes at once, and the service stays up.
    for (const std::string& bad :
         std::vector<std::string>{"GARBAGE\r\n\r\n", "POST\r\n\r\n", std::string(300, '\0')}) {
        HttpProbe probe(port);
        probe.send(bad);
        EXPECT_TRUE(probe.readToClose(2s)) << bad;
        EXPECT_TRUE(probe.status() == 0 || (probe.status() >= 400 && probe.status() < 500));
    }
    service->publish("{}");
    EXPECT_EQ(statusOf(roundTrip(port, get("/api/nowplaying"))), 200);
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, HugeRequestLinesAndHeadersGet4xx) {
    ServiceSettings s;
    s.token = kToken;
    startService(s);
    const std::string auth = std::string("Bearer ") + kToken;
    const int longPath = statusOf(roundTrip(port, get("/api/" + std::string(64 * 1024, 'a'))));
    EXPECT_GE(longPath, 400);
    EXPECT_LT(longPath, 500);
    const int manyHeaders =
        statusOf(roundTrip(port, "POST /api/next HTTP/1.1\r\nHost: x\r\nAuthorization: " + auth +
                                     "\r\nX-Pad: " + std::string(64 * 1024, 'p') + "\r\n\r\n"));
    EXPECT_GE(manyHeaders, 400);
    EXPECT_LT(manyHeaders, 500);
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, ASlowRequestIsClosedAtTheIdleTimeAndNothingHappens) {
    startWithToken();
    const std::string auth = std::string("Bearer ") + kToken;
    // Headers that never end.
    HttpProbe slowHead(port);
    ASSERT_TRUE(slowHead.send("POST /api/next HTTP/1.1\r\nHost: x\r\n"));
    // A body that never comes whole.
    HttpProbe slowBody(port);
    ASSERT_TRUE(slowBody.send("POST /api/message HTTP/1.1\r\nHost: x\r\nAuthorization: " + auth +
                              "\r\nContent-Length: 20\r\n\r\nhalf"));
    const auto started = std::chrono::steady_clock::now();
    EXPECT_TRUE(slowHead.readToClose(5s));
    EXPECT_TRUE(slowBody.readToClose(5s));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 4s);
    // The library closes an idle request without an answer, or with a 4xx one.
    for (const HttpProbe* p : {&slowHead, &slowBody}) {
        EXPECT_TRUE(p->status() == 0 || (p->status() >= 400 && p->status() < 500)) << p->received();
    }
    EXPECT_TRUE(received().empty());
}

TEST_F(StatusServiceTest, TheTokenIsNeverWrittenOut) {
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    startWithToken();
    const std::string auth = std::string("Bearer ") + kToken;
    roundTrip(port, post("/api/next", "", auth));
    roundTrip(port, post("/api/next", "", "Bearer wrong-" + std::string(kToken)));
    roundTrip(port, "GARBAGE " + std::string(kToken) + "\r\n\r\n");
    const std::string a = roundTrip(port, post("/api/mode", "nonsense", auth));
    service.reset();
    const std::string err = ::testing::internal::GetCapturedStderr();
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(err.find(kToken), std::string::npos);
    EXPECT_EQ(out.find(kToken), std::string::npos);
    EXPECT_EQ(a.find(kToken), std::string::npos) << "an answer never repeats it";
}

TEST_F(StatusServiceTest, TheDefaultAddressIsTheLoopbackOnly) {
    EXPECT_EQ(ServiceSettings{}.address, "127.0.0.1");
}

TEST_F(StatusServiceTest, AnAddressThatIsNoNumberDoesNotStart) {
    ServiceSettings s;
    s.address = "example.org";
    StatusService bad(s, [](ControlRequest) {});
    std::string error;
    EXPECT_FALSE(bad.start(error));
    EXPECT_NE(error.find("example.org"), std::string::npos);
    EXPECT_EQ(bad.port(), 0);
}

TEST_F(StatusServiceTest, ClosingWithOpenStreamsEndsThem) {
    startService();
    HttpProbe a(port), b(port);
    ASSERT_TRUE(a.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    ASSERT_TRUE(b.send("GET /api/events HTTP/1.1\r\nHost: x\r\n\r\n"));
    a.readUntil("retry:", 2s);
    b.readUntil("retry:", 2s);
    ASSERT_EQ(service->eventClients(), 2u);
    service.reset();
    EXPECT_TRUE(a.readToClose(2s));
    EXPECT_TRUE(b.readToClose(2s));
}

}  // namespace
}  // namespace tw::web

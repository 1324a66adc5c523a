#include "web/status_page.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/web/http_probe.h"
#include "web/status_service.h"

namespace tw::web {
namespace {

using test::bodyOf;
using test::roundTrip;
using test::statusOf;

struct Served {
    const char* path;
    const char* source;  // the file in the source tree
    const char* contentType;
};

const Served kServed[] = {
    {"/", "web/page/status.html", "text/html; charset=utf-8"},
    {"/status.css", "web/page/status.css", "text/css; charset=utf-8"},
    {"/status.js", "web/page/status.js", "text/javascript; charset=utf-8"},
    {"/favicon.svg", "web/page/favicon.svg", "image/svg+xml"},
};

std::string source(const char* file) {
    return test::readFile(test::sourceDir() + "/" + file);
}

// The value of a header in an answer, matched by name without regard to case; empty when the
// answer has none.
std::string headerOf(const std::string& answer, const std::string& name) {
    const std::string head = answer.substr(0, answer.find("\r\n\r\n"));
    const std::regex line("\r\n" + name + ": ([^\r]*)", std::regex::icase);
    std::smatch m;
    return std::regex_search(head, m, line) ? m[1].str() : std::string();
}

std::string request(const std::string& method, const std::string& path) {
    std::string r = method + " " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n";
    if (method == "POST" || method == "PUT" || method == "PATCH") {
        r += "Content-Length: 0\r\n";
    }
    return r + "\r\n";
}

class StatusPageTest : public ::testing::Test {
  protected:
    void SetUp() override {
        service = std::make_unique<StatusService>(ServiceSettings{}, [](ControlRequest) {});
        std::string error;
        ASSERT_TRUE(service->start(error)) << error;
        port = service->port();
    }
    std::string get(const std::string& path) { return roundTrip(port, request("GET", path)); }

    std::unique_ptr<StatusService> service;
    std::uint16_t port = 0;
};

TEST_F(StatusPageTest, RootAnswersThePageAsHtmlBeforeAnySnapshot) {
    const std::string a = get("/");
    ASSERT_EQ(statusOf(a), 200) << a;
    EXPECT_EQ(headerOf(a, "Content-Type"), "text/html; charset=utf-8");
    const std::string page = bodyOf(a);
    EXPECT_EQ(page, source("web/page/status.html"));
    EXPECT_NE(page.find("<meta name=\"viewport\""), std::string::npos);
    EXPECT_NE(page.find("<script type=\"module\" src=\"/status.js\">"), std::string::npos);
    // A query string changes nothing: a bookmark with one still finds the page.
    EXPECT_EQ(bodyOf(get("/?from=bookmark")), page);
}

TEST_F(StatusPageTest, EachFileIsServedAsBuiltFromTheSourceWithItsType) {
    for (const Served& s : kServed) {
        const std::string a = get(s.path);
        ASSERT_EQ(statusOf(a), 200) << s.path;
        EXPECT_EQ(headerOf(a, "Content-Type"), s.contentType) << s.path;
        const std::string expected = source(s.source);
        ASSERT_FALSE(expected.empty()) << s.source;
        EXPECT_EQ(bodyOf(a), expected) << s.path;
        EXPECT_EQ(headerOf(a, "Content-Length"), std::to_string(expected.size())) << s.path;
    }
}

TEST_F(StatusPageTest, EveryFileThePageNamesIsServed) {
    const std::string page = bodyOf(get("/"));
    const std::regex reference(R"((?:src|href)="([^"]*)\")");
    std::vector<std::string> named;
    for (auto it = std::sregex_iterator(page.begin(), page.end(), reference);
         it != std::sregex_iterator(); ++it) {
        named.push_back((*it)[1].str());
    }
    ASSERT_EQ(named.size(), 3u) << "the icon, the style sheet and the script";
    for (const std::string& path : named) {
        ASSERT_EQ(path.rfind('/', 0), 0u) << path << " is not on this service";
        ASSERT_NE(path.rfind("//", 0), 0u) << path << " is on another host";
        EXPECT_EQ(statusOf(get(path)), 200) << path;
    }
}

TEST_F(StatusPageTest, EveryFileGoesWithTheSecurityHeaders) {
    for (const Served& s : kServed) {
        const std::string a = get(s.path);
        EXPECT_EQ(headerOf(a, "Content-Security-Policy"), kPageSecurityPolicy) << s.path;
        EXPECT_EQ(headerOf(a, "X-Content-Type-Options"), "nosniff") << s.path;
        EXPECT_EQ(headerOf(a, "Cache-Control"), "no-store") << s.path;
        EXPECT_EQ(headerOf(a, "Referrer-Policy"), "no-referrer") << s.path;
    }
    const std::string policy = kPageSecurityPolicy;
    EXPECT_EQ(policy.find("unsafe"), std::string::npos);
    EXPECT_NE(policy.find("default-src 'none'"), std::string::npos);
    EXPECT_NE(policy.find("script-src 'self'"), std::string::npos);
}

TEST_F(StatusPageTest, MethodsOtherThanGetAre405) {
    for (const Served& s : kServed) {
        for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "HEAD", "OPTIONS"}) {
            const std::string a = roundTrip(port, request(method, s.path));
            EXPECT_EQ(statusOf(a), 405) << method << " " << s.path;
            EXPECT_EQ(headerOf(a, "Allow"), "GET") << method << " " << s.path;
        }
    }
}

TEST_F(StatusPageTest, NamesNearThePagesFilesAreNotFound) {
    for (const char* path :
         {"/status.html", "/index.html", "/page/status.js", "/status.js/", "/STATUS.CSS",
          "/status.css.map", "/embed_files.cmake", "/favicon.ico"}) {
        EXPECT_EQ(statusOf(get(path)), 404) << path;
    }
}

TEST_F(StatusPageTest, ThePageHoldsNoInlineScriptOrStyleAndTheScriptWritesNoMarkup) {
    // The policy would refuse these in the browser; caught here with the file that has them.
    const std::string html = source("web/page/status.html");
    EXPECT_FALSE(std::regex_search(html, std::regex("<script(?![^>]*\\bsrc=)[^>]*>")));
    EXPECT_FALSE(std::regex_search(html, std::regex("<style\\b")));
    EXPECT_FALSE(std::regex_search(html, std::regex("\\sstyle=")));
    EXPECT_FALSE(std::regex_search(html, std::regex("\\son[a-z]+=")));
    EXPECT_FALSE(std::regex_search(html, std::regex("https?:")));
    // Titles come from tags: they go into the page as text, never as markup.
    const std::string js = source("web/page/status.js");
    for (const char* sink : {"innerHTML", "outerHTML", "insertAdjacentHTML", "document.write",
                             "eval(", "new Function", "https:", "http:"}) {
        EXPECT_EQ(js.find(sink), std::string::npos) << sink;
    }
    EXPECT_NE(js.find("textContent"), std::string::npos);
}

}  // namespace
}  // namespace tw::web

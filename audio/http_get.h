#pragma once
// One short HTTP GET, for the servers' statistics and title updates.
//
// Thread contract: any thread; each call is independent. Blocks up to timeoutMs.

#include <string>

namespace tw::audio {

struct HttpAnswer {
    long status = 0;  // 0 when no answer came
    std::string body;
    std::string error;  // why no answer came ("Failed to connect to ... Connection refused")
};

// userPassword "user:password" for basic authentication, or empty for none.
HttpAnswer httpGet(const std::string& url, const std::string& userPassword, int timeoutMs);

}  // namespace tw::audio

#include "audio/http_get.h"

#include <curl/curl.h>

#include <cstring>

namespace tw::audio {

namespace {

constexpr std::size_t kMaxBody = 1 << 20;  // a statistics page is a few kilobytes

std::size_t collect(char* data, std::size_t size, std::size_t n, void* out) {
    auto* body = static_cast<std::string*>(out);
    if (body->size() + size * n > kMaxBody) {
        return 0;  // ends the transfer
    }
    body->append(data, size * n);
    return size * n;
}

}  // namespace

HttpAnswer httpGet(const std::string& url, const std::string& userPassword, int timeoutMs) {
    HttpAnswer answer;
    CURL* curl = curl_easy_init();
    if (!curl) {
        return answer;
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(timeoutMs));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeoutMs));
    // Shoutcast's admin pages answer only browsers.
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "Mozilla/5.0 (compatible; TarnWave)");
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    if (!userPassword.empty()) {
        curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
        curl_easy_setopt(curl, CURLOPT_USERPWD, userPassword.c_str());
    }
    char error[CURL_ERROR_SIZE] = {};
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, error);
    const CURLcode result = curl_easy_perform(curl);
    if (result == CURLE_OK) {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    } else {
        answer.body.clear();
        answer.error = error[0] != '\0' ? error : curl_easy_strerror(result);
        // The system's own word says more than the library's ("Couldn't connect to server").
        long osError = 0;
        curl_easy_getinfo(curl, CURLINFO_OS_ERRNO, &osError);
        if (osError != 0) {
            const std::string system = std::strerror(static_cast<int>(osError));
            if (answer.error.find(system) == std::string::npos) {
                answer.error += ": " + system;
            }
        }
    }
    curl_easy_cleanup(curl);
    return answer;
}

}  // namespace tw::audio

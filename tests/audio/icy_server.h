#pragma once
// A stream address for the tests: a server on the loopback interface that answers one request as
// a station does, with the body the test gives and, if asked, ICY metadata blocks carrying titles.
// It can hold the answer at a point (the network stalls) or close there (the station goes away),
// or never answer at all.

#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw::audio::test {

class IcyServer {
  public:
    static constexpr std::size_t kNever = std::string::npos;

    struct Answer {
        std::string body;                        // the audio, as encoded
        std::string contentType = "audio/mpeg";  // "" sends no Content-Type at all
        std::size_t metaInterval = 0;            // audio bytes between blocks; 0 sends none
        // The block after each stretch of audio carries a title: titles[b / blocksPerTitle] for
        // block b (counting from 0), the last one from then on.
        std::vector<std::string> titles = {"StreamTitle='Loopback tone';"};
        std::size_t blocksPerTitle = kNever;
        bool icyStatus = true;  // "ICY 200 OK" rather than "HTTP/1.0 200 OK"
        // After this many bytes of the audio (and the block that follows them, if any), the
        // server waits for release() before it sends the rest, or with closeAtHold closes.
        std::size_t holdAt = kNever;
        bool closeAtHold = false;
        // When set, the answer goes out at that pace, as a live station sends it.
        std::size_t bytesPerSecond = 0;
        // A station that takes the connection and the request and then says nothing at all, not
        // even its status line, until release().
        bool silent = false;
        // When both are set the station answers over TLS with this certificate and key (PEM
        // files), at an https:// address.
        std::string certificate{};
        std::string key{};
    };

    explicit IcyServer(Answer answer);
    ~IcyServer();
    IcyServer(const IcyServer&) = delete;
    IcyServer& operator=(const IcyServer&) = delete;

    std::string url() const {
        return (answer_.certificate.empty() ? "http://" : "https://") + std::string("127.0.0.1:") +
               std::to_string(port_) + "/live";
    }
    // The request as it came; complete once the answer has started.
    std::string request() const;
    void release();

  private:
    void serve();
    // The whole answer, and the position in it where the hold falls.
    std::string compose(std::size_t& holdPos) const;

    const Answer answer_;
    mutable std::mutex mutex_;
    std::condition_variable cv_;
    bool released_ = false;
    std::string request_;
    int listener_ = -1;
    int port_ = 0;
    std::thread thread_;
};

// A metadata block as a station pads it: the length byte, the text, NULs to a multiple of 16.
std::string icyBlock(const std::string& text);

// A self-signed certificate for 127.0.0.1 and its key, made by the openssl program in `dir`
// (cert.pem, key.pem); false when it could not be made.
bool makeLoopbackCertificate(const std::filesystem::path& dir, std::string& certificate,
                             std::string& key);

}  // namespace tw::audio::test

#include "broadcast/connect_runner.h"

#include <mutex>
#include <optional>

#include "audio/thread_name.h"

namespace tw::broadcast {

struct ConnectRunner::Batch {
    std::vector<ConnectRequest> requests;
    Apply apply;
    std::mutex mutex;  // results
    struct Result {
        bool connected = false;
        std::string why;
    };
    std::vector<std::optional<Result>> results;
    std::size_t next = 0;    // console thread: the first result not applied yet
    bool cancelled = false;  // console thread: the runner is gone

    // Console thread: applies every result that is in, in order, up to the first missing one.
    void drain() {
        while (!cancelled && next < requests.size()) {
            std::optional<Result> result;
            {
                std::lock_guard lock(mutex);
                result = results[next];
            }
            if (!result) {
                return;
            }
            const ConnectRequest& r = requests[next++];
            apply(r, result->connected, result->why);
        }
    }
};

ConnectRunner::~ConnectRunner() {
    // The connects still running end within their limit (jobs_ waits for them); what they post
    // is no longer applied.
    for (auto& b : batches_) {
        b->cancelled = true;
    }
}

bool ConnectRunner::busy() const {
    for (const auto& b : batches_) {
        if (b->next < b->requests.size()) {
            return true;
        }
    }
    return false;
}

bool ConnectRunner::connecting(int index, audio::Handle encoder) const {
    for (const auto& b : batches_) {
        for (std::size_t i = b->next; i < b->requests.size(); ++i) {
            if (b->requests[i].index == index && b->requests[i].encoder == encoder) {
                return true;
            }
        }
    }
    return false;
}

void ConnectRunner::run(std::vector<ConnectRequest> requests, Apply apply) {
    std::erase_if(batches_,
                  [](const std::shared_ptr<Batch>& b) { return b->next >= b->requests.size(); });
    if (requests.empty()) {
        return;
    }
    auto batch = std::make_shared<Batch>();
    batch->requests = std::move(requests);
    batch->apply = std::move(apply);
    batch->results.resize(batch->requests.size());
    batches_.push_back(batch);
    for (std::size_t i = 0; i < batch->requests.size(); ++i) {
        jobs_.run([this, batch, i] {
            audio::nameThisThread("tw-connect");
            const ConnectRequest& r = batch->requests[i];
            Batch::Result result;
            result.connected =
                engine_.castInit(r.encoder, r.server, r.password, r.contentType, r.name, r.url,
                                 r.genre, r.description, "", r.kbps, r.isPublic);
            if (!result.connected) {
                result.why = engine_.castGetError(r.encoder);
            }
            {
                std::lock_guard lock(batch->mutex);
                batch->results[i] = std::move(result);
            }
            loop_.post([batch] { batch->drain(); });
        });
    }
}

}  // namespace tw::broadcast

#include "core/write_failures.h"

#include <cstring>

namespace tw::core {

bool WriteFailures::due(double seconds) const {
    return !told_ || seconds < lastLine_ || seconds - lastLine_ >= kSecondsBetweenLines;
}

std::string WriteFailures::countText() const {
    return std::to_string(untold_) + (untold_ == 1 ? " write" : " writes") +
           " failed since the last line about it";
}

std::optional<std::string> WriteFailures::failed(const std::string& path, int err, double seconds) {
    failing_ = true;
    ++untold_;
    if (!due(seconds)) {
        return std::nullopt;
    }
    std::string line = "Cannot write " + path + ": " + std::strerror(err) + " (" + countText() +
                       "; at most one such line a minute)";
    told_ = true;
    lastLine_ = seconds;
    untold_ = 0;
    return line;
}

std::optional<std::string> WriteFailures::succeeded(double seconds) {
    if (!failing_ || !due(seconds)) {
        return std::nullopt;
    }
    std::string line = "Writing works again";
    if (untold_ > 0) {
        line += " (" + countText() + ")";
    }
    failing_ = false;
    told_ = true;
    lastLine_ = seconds;
    untold_ = 0;
    return line;
}

}  // namespace tw::core

#include "station/tick_calls.h"

#include "autodj/planner.h"
#include "autodj/schedule.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "liveassist/sweepers.h"
#include "playout/player_start.h"
#include "playout/preview.h"

namespace tw::station {

namespace {

class ConsoleTickCalls final : public core::TickCalls {
  public:
    explicit ConsoleTickCalls(core::Console& c) : c_(c) {}
    void startNExt() override { playout::startNExt(c_); }
    void loadNextSong(std::int16_t flag) override { autodj::loadNextSong(c_, flag); }
    void playSweeper(const std::string& path) override { liveassist::playSweeper(c_, path); }
    std::int32_t findSweeperIndex(std::int32_t i) override {
        return liveassist::findSweeperIndex(c_, i);
    }
    bool checkRotationSchedule() override { return autodj::checkRotationSchedule(c_); }
    bool getEncoderEnabled(int i) override { return broadcast::getEncoderEnabled(c_, i); }
    bool getStationAutoReConnect(int i) override {
        return broadcast::getStationAutoReConnect(c_, i);
    }
    std::string checkStats(int i, std::int32_t& listeners) override {
        return broadcast::checkStats(c_, i, listeners);
    }
    bool castConnecting(int i) override { return broadcast::castConnecting(c_, i); }
    void castStart() override { broadcast::start(c_); }
    bool togglePreview(const std::string& path) override {
        playout::previewTrack(c_, path);
        return c_.previewPlayer != 0;
    }

  private:
    core::Console& c_;
};

}  // namespace

std::unique_ptr<core::TickCalls> makeConsoleTickCalls(core::Console& c) {
    return std::make_unique<ConsoleTickCalls>(c);
}

}  // namespace tw::station

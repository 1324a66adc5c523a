#include "playout/engine_setup.h"

#include <cerrno>

#include "core/console_ops.h"
#include "core/failure.h"
#include "liveassist/microphone.h"

namespace tw::playout {

void startServer(core::Console& c) {
    try {
        if (c.mixerStream != 0) {
            return;
        }
        audio::Engine& e = c.engine();
        e.init(-1, 44100, audio::kDeviceLatency);
        e.setConfig(audio::kConfigUpdatePeriod, 25);
        const audio::DeviceInfo info = e.getInfo();
        e.setConfig(audio::kConfigBuffer, info.minbuf > 0 ? info.minbuf * 4 : 100);
        e.setConfig(19, 0);
        e.fxGetVersion();
        c.mixerStream = e.mixerStreamCreate(44100, 2, 0);
        e.recordFree();
        e.channelPlay(c.mixerStream, false);
        e.channelRemoveFX(c.mixerStream, c.compressorId);
        c.compressorId = 0;
        liveassist::cmdCompressor_Click(c);  // the master chain is on from the start
        core::logError(c, "TarnWave minbuf:" + std::to_string(info.minbuf) +
                              " TarnWave Latency:" + std::to_string(info.latency));
    } catch (const std::exception& ex) {
        const core::FailureInfo f = core::describeFailure(ex);
        core::logError(c, "Start Server" + f.description + "  " + std::to_string(f.number) + " " +
                              std::to_string(errno) + " " + f.source);
    }
}

}  // namespace tw::playout

#pragma once
// An engine with nothing behind it: every operation fails the way an operation on a stale handle
// does. It stands in where no audio is wanted at all (tools, tests of pure logic).

#include "audio/engine.h"

namespace tw::audio {

class NullEngine : public Engine {
  public:
    bool init(int, std::uint32_t, std::uint32_t) override { return fail(); }
    bool free() override { return fail(); }
    bool setConfig(std::uint32_t, std::uint32_t) override { return fail(); }
    DeviceInfo getInfo() override { return {}; }
    bool getOutputDeviceName(int, std::string&) override { return fail(); }
    bool setStudioDevice(int device) override { return device == -1 || fail(); }
    std::uint32_t fxGetVersion() override { return 0; }
    int errorGetCode() override { return lastError_; }

    Handle streamCreateFile(const std::string&, std::uint64_t, std::uint64_t,
                            std::uint32_t) override {
        return none();
    }
    Handle streamCreateMemory(std::shared_ptr<const std::vector<std::uint8_t>>, std::uint64_t,
                              std::uint64_t, std::uint32_t) override {
        return none();
    }
    Handle streamCreateUrl(const std::string&, std::uint32_t, std::uint32_t) override {
        return none();
    }
    bool streamFree(Handle) override { return fail(); }
    // The title is asked from any thread: it answers without touching the last error.
    std::string streamGetTitle(Handle) override { return {}; }

    bool channelPlay(Handle, bool) override { return fail(); }
    bool channelStop(Handle) override { return fail(); }
    int channelIsActive(Handle) override { return kStopped; }
    std::int64_t channelGetLength(Handle) override { return fail(), -1; }
    std::int64_t channelGetPosition(Handle) override { return fail(), 0; }
    bool channelSetPosition(Handle, std::uint64_t) override { return fail(); }
    double channelBytes2Seconds(Handle, std::int64_t) override { return fail(), -1.0; }
    std::int64_t channelSeconds2Bytes(Handle, double) override { return fail(), -1; }
    std::uint32_t channelGetLevel(Handle) override { return fail(), 0; }
    std::int64_t channelGetData(Handle, void*, std::uint32_t) override { return fail(), -1; }
    bool channelGetInfo(Handle, ChannelInfo&) override { return fail(); }
    bool channelSetAttribute(Handle, std::uint32_t, float) override { return fail(); }
    bool channelGetAttribute(Handle, std::uint32_t, float&) override { return fail(); }
    bool channelSlideAttribute(Handle, std::uint32_t, float, std::uint32_t) override {
        return fail();
    }
    Handle channelSetSync(Handle, std::uint32_t, std::uint64_t, SyncProc) override {
        return none();
    }
    bool channelRemoveSync(Handle, Handle) override { return fail(); }

    Handle mixerStreamCreate(std::uint32_t, std::uint32_t, std::uint32_t) override {
        return none();
    }
    bool mixerAddChannel(Handle, Handle, std::uint32_t) override { return fail(); }
    std::uint32_t mixerChannelFlags(Handle, std::uint32_t, std::uint32_t) override {
        return fail(), 0xFFFFFFFFu;
    }
    bool mixerChannelRemove(Handle) override { return fail(); }

    Handle channelSetFX(Handle, std::uint32_t, int) override { return none(); }
    bool channelRemoveFX(Handle, Handle) override { return fail(); }
    bool fxSetParameters(Handle, const ParamEq&) override { return fail(); }
    bool fxSetParameters(Handle, const Compressor&) override { return fail(); }
    bool fxSetParameters(Handle, const DynamicAmp&) override { return fail(); }
    bool fxReset(Handle) override { return fail(); }

    bool recordGetDeviceInfo(int, RecordDeviceInfo&) override { return fail(); }
    bool recordInit(int) override { return fail(); }
    bool recordSetDevice(int) override { return fail(); }
    bool recordFree() override { return fail(); }
    std::string recordGetInputName(int) override { return fail(), std::string(); }
    int recordGetInput(int, float&) override { return fail(), -1; }
    bool recordSetInput(int, std::uint32_t, float) override { return fail(); }
    Handle recordStart(std::uint32_t, std::uint32_t, std::uint32_t, RecordProc) override {
        return none();
    }

    Handle encodeStart(Handle, const std::string&, std::uint32_t) override { return none(); }
    bool encodeStop(Handle) override { return fail(); }
    int encodeIsActive(Handle) override { return kStopped; }
    std::uint64_t encodeGetCount(Handle, int) override { return fail(), 0; }
    bool castInit(Handle, const std::string&, const std::string&, const std::string&,
                  const std::string&, const std::string&, const std::string&, const std::string&,
                  const std::string&, std::uint32_t, bool) override {
        return fail();
    }
    bool castSetTitle(Handle, const std::string&, const std::string&) override { return fail(); }
    std::string castGetStats(Handle, int, const std::string&) override {
        return fail(), std::string();
    }
    std::string castGetError(Handle) override { return fail(), std::string(); }
    std::string encodeGetEnd(Handle) override { return fail(), std::string(); }

  private:
    bool fail() {
        lastError_ = kErrorInit;
        return false;
    }
    Handle none() { return fail(), Handle{0}; }
    int lastError_ = kOk;
};

}  // namespace tw::audio

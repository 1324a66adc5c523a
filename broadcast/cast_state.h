#pragma once
// What the cast form and the cast session keep: the twelve encoder profiles as last read from
// appSettings.ini, the profile on the form, the Live 365 byte counts, the last listener count, and
// the connects under way.
//
// Thread contract: console thread only, but for the connect batches (connect_runner.h).

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/background_jobs.h"
#include "core/console.h"

namespace tw::broadcast {

class ConnectRunner;

// One profile's fifteen values, as text, exactly as stored.
struct EncoderProfile {
    std::string severType, severPath, PW, severPort, severID, severMount, Name, URL, Genre,
        Description, autoReConnect, makePublic, bitRate, EncoderType, Enabled;
};

// A key of a profile section, its default and its place in the profile.
struct ProfileKey {
    const char* key;
    const char* defaultValue;  // "Enabled" is "1" for index 0 and "0" for the others
    std::string EncoderProfile::*value;
};
// The keys in the order the save writes them ("EncoderType" last, after the handle step).
const std::array<ProfileKey, 15>& profileKeys();

// The section of profile index 0 to 11: "Shoutcast", "Shoutcast1" ... "Shoutcast11".
std::string profileSection(int index);

struct CastState {
    CastState() = default;
    ~CastState();
    CastState(const CastState&) = delete;
    CastState& operator=(const CastState&) = delete;

    std::array<EncoderProfile, core::kEncoderCount> profiles;
    int selectedEncoder = 0;  // 1 to 12 once the form has been opened, 0 before
    std::array<std::uint64_t, core::kEncoderCount> lastCastCount{};
    std::int32_t lastListenerCount = 0;  // Part of the tune-out step; 0 at start
    std::string listenersShown = "0";    // the caption the tune-out step saw last
    std::string peakShown;               // the peak caption last stored
    // Each encoder's listeners as the last poll of its server answered them; 0 without an answer.
    std::array<std::int32_t, core::kEncoderCount> encoderListeners{};
    std::string titleOnAir;  // sent again after a reconnect
    // The connect failure last written to app.log per encoder, empty once it connected.
    std::array<std::string, core::kEncoderCount> connectFailureLogged;
    // How each encoder's program last ended, as written to app.log; empty once it connected.
    std::array<std::string, core::kEncoderCount> programEndLogged;
    std::string urlOnAir;
    std::shared_ptr<ConnectRunner> connects;
    std::shared_ptr<const std::vector<std::uint8_t>> toneImage;  // the failed connect's tone
    core::BackgroundJobs kicks;                                  // the kick requests under way
    // False once the state is gone: events posted by its threads then do nothing.
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

}  // namespace tw::broadcast

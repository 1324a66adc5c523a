#include "broadcast/cast_state.h"

#include "broadcast/connect_runner.h"

namespace tw::broadcast {

const std::array<ProfileKey, 15>& profileKeys() {
    static const std::array<ProfileKey, 15> keys = {{
        {"severPath", "Enter Sever Path", &EncoderProfile::severPath},
        {"severPort", "", &EncoderProfile::severPort},
        {"severID", "", &EncoderProfile::severID},
        {"severType", "0", &EncoderProfile::severType},
        {"severMount", "", &EncoderProfile::severMount},
        {"PW", " ", &EncoderProfile::PW},
        {"Name", "Station Name", &EncoderProfile::Name},
        {"URL", "Station URL", &EncoderProfile::URL},
        {"Genre", "Station Genre", &EncoderProfile::Genre},
        {"Description", "Station Description", &EncoderProfile::Description},
        {"bitRate", "128", &EncoderProfile::bitRate},
        {"autoReConnect", "0", &EncoderProfile::autoReConnect},
        {"makePublic", "0", &EncoderProfile::makePublic},
        {"Enabled", "0", &EncoderProfile::Enabled},
        {"EncoderType", "0", &EncoderProfile::EncoderType},
    }};
    return keys;
}

CastState::~CastState() {
    *alive = false;  // then the kicks still running are waited for
}

std::string profileSection(int index) {
    return index <= 0 ? std::string("Shoutcast") : "Shoutcast" + std::to_string(index);
}

}  // namespace tw::broadcast

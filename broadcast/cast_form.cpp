#include "broadcast/cast_form.h"

#include "broadcast/cast_session.h"
#include "core/console_ops.h"
#include "core/text.h"

namespace tw::broadcast {

namespace {

using core::Element;
using core::ImageRole;

const char* const kServerTypes[] = {"None",     "Shoutcast Version 1", "Shoutcast Version 2",
                                    "Live 365", "IceCast Version 1",   "IceCast Version 2"};
const char* const kBitrates[] = {"32",  "40",  "48",  "56",  "64",  "80",  "96",
                                 "112", "128", "160", "192", "224", "256", "320"};

core::CastForm& form(core::Console& c) {
    return c.ui.cast;
}

CastState& state(core::Console& c) {
    return *c.cast;
}

EncoderProfile& profile(core::Console& c, int index) {
    return state(c).profiles.at(static_cast<std::size_t>(index));
}

// The text boxes of the form and the profile values they show, in the order of the display.
struct FieldBinding {
    Element core::CastForm::*box;
    std::string EncoderProfile::*value;
};
constexpr FieldBinding kFields[] = {
    {&core::CastForm::txtServer, &EncoderProfile::severPath},
    {&core::CastForm::txtPortNumber, &EncoderProfile::severPort},
    {&core::CastForm::txtStationID, &EncoderProfile::severID},
    {&core::CastForm::txtMountPoint, &EncoderProfile::severMount},
    {&core::CastForm::txtPassword, &EncoderProfile::PW},
    {&core::CastForm::txtName, &EncoderProfile::Name},
    {&core::CastForm::txtURL, &EncoderProfile::URL},
    {&core::CastForm::txtGenre, &EncoderProfile::Genre},
    {&core::CastForm::txtDescription, &EncoderProfile::Description},
};

int selectedFormat(const core::CastForm& f) {
    for (int i = 0; i < 3; ++i) {
        if (f.Options[static_cast<std::size_t>(i)].value != 0) {
            return i;
        }
    }
    return -1;
}

void selectFormat(core::CastForm& f, int index) {
    for (int i = 0; i < 3; ++i) {
        f.Options[static_cast<std::size_t>(i)].value = i == index ? 1 : 0;
    }
}

// What the form holds, as the save writes it.
// What the form holds for a profile value, as the save writes it.
std::string valueOnForm(core::CastForm& f, std::string EncoderProfile::*value) {
    for (const FieldBinding& b : kFields) {
        if (b.value == value) {
            return (f.*b.box).text;
        }
    }
    if (value == &EncoderProfile::severType) {
        return std::to_string(f.cmboServerType.listIndex);
    }
    if (value == &EncoderProfile::bitRate) {
        return f.cmbBitrate.text;
    }
    if (value == &EncoderProfile::autoReConnect) {
        return std::to_string(f.chkReconnect.value);
    }
    if (value == &EncoderProfile::makePublic) {
        return std::to_string(f.chkPublic.value);
    }
    if (value == &EncoderProfile::Enabled) {
        return std::to_string(f.chkEnableEncoder.value);
    }
    return {};
}

}  // namespace

bool readsAsTrue(const std::string& text) {
    const std::string t = core::trim(text);
    if (core::equalsNoCase(t, "true")) {
        return true;
    }
    if (t.empty() || core::equalsNoCase(t, "false")) {
        return false;
    }
    return core::val(t) != 0;
}

void loadCastForm(core::Console& c) {
    auto& f = form(c);
    if (!c.engine().recordInit(-1)) {
        c.svc.prompter->messageBox(
            "Can't initialize recording device,please connect Mic or Line In to Start", "",
            core::MessageButtons::Ok, core::MessageIcon::None);
    }
    f.frmCast.caption = "Shoutcast/Icecast Server Settings";
    f.frmCast.visible = false;
    f.frameServer.caption = "Shoutcast / ICEcast Server Details";
    f.cmboServerType.items.clear();
    for (const char* type : kServerTypes) {
        f.cmboServerType.items.push_back({type, 0, {}, false});
    }
    f.Options[0].caption = "MP3";
    f.Options[1].caption = "OGG";
    f.Options[2].caption = "accPlus";
    f.chkReconnect.caption = "Auto-reconnect";
    f.chkPublic.caption = "Make Public";
    f.chkEnableEncoder.caption = "Enable Encoder";
    f.lblMount.caption = "Mount Point:";
    f.lblSid.caption = "SID:";
    f.btnStart.caption = "Start";
    f.cmdKickSource.caption = "Kick and Connect";
    f.txtServer.toolTip = "Enter Server Path of your Streaming Service";
    f.txtPortNumber.toolTip = "Enter Port Number of your Streaming Service";
    f.txtStationID.toolTip = "Enter Station ID of your Streaming Service";
    f.txtMountPoint.toolTip = "EnterMount Point of your Streaming Service";
    f.cmdKickSource.toolTip =
        "!!!ADVANCED USERS ONLY!!! This is in testing, must be done from a different IP adress "
        "then what is currently sourcing your stream. Can help in going Live from an external "
        "stream.";
    for (int i = 0; i < core::kEncoderCount; ++i) {
        f.cmdEncoders[static_cast<std::size_t>(i)].caption = "Encoder: " + std::to_string(i + 1);
    }
    f.cmdSave.tag = "close";
    core::printOnButton(f.cmdSave, ImageRole::Gray, "Close");
    showEncoderSettings(c, 0);
    drawEncoderButtons(c, 1);
}

void loadEncoderDataFromIni(core::Console& c) {
    for (int i = 0; i < core::kEncoderCount; ++i) {
        EncoderProfile& p = profile(c, i);
        for (const ProfileKey& k : profileKeys()) {
            std::string def = k.defaultValue;
            if (k.value == &EncoderProfile::Enabled) {
                def = i == 0 ? "1" : "0";
            }
            p.*k.value = core::readIni(c, c.appSettingsPath(), profileSection(i), k.key, def);
        }
    }
}

bool getEncoderEnabled(core::Console& c, int index) {
    return readsAsTrue(profile(c, index).Enabled);
}

bool getStationAutoReConnect(core::Console& c, int index) {
    return readsAsTrue(profile(c, index).autoReConnect);
}

std::string getStationURL(core::Console& c, int index) {
    return profile(c, index).URL;
}

void drawEncoderButtons(core::Console& c, int number) {
    auto& f = form(c);
    for (int i = 0; i < core::kEncoderCount; ++i) {
        Element& b = f.cmdEncoders[static_cast<std::size_t>(i)];
        core::printOnButton(b, ImageRole::Gray, "Encoder: " + std::to_string(i + 1));
    }
    if (number >= 1 && number <= core::kEncoderCount) {
        Element& b = f.cmdEncoders[static_cast<std::size_t>(number - 1)];
        core::printOnButton(b, ImageRole::Green, "Encoder: " + std::to_string(number));
    }
}

void cmdEncoders_Click(core::Console& c, int index) {
    drawEncoderButtons(c, index + 1);
    showEncoderSettings(c, index);
    state(c).selectedEncoder = index + 1;
    // Encoder 1 cannot be switched off on the form.
    form(c).chkEnableEncoder.visible = index != 0;
}

void showEncoderSettings(core::Console& c, int index) {
    if (index < 0 || index >= core::kEncoderCount) {
        return;
    }
    loadEncoderDataFromIni(c);
    auto& f = form(c);
    const EncoderProfile& p = profile(c, index);
    const int type = static_cast<int>(core::val(p.severType));
    if (type >= 0 && type < f.cmboServerType.listCount()) {
        f.cmboServerType.listIndex = type;
        f.cmboServerType.text = kServerTypes[type];
        applyServerTypeRules(c, type);
    }
    for (const FieldBinding& b : kFields) {
        (f.*b.box).text = p.*b.value;
    }
    f.chkReconnect.value = readsAsTrue(p.autoReConnect) ? 1 : 0;
    f.chkPublic.value = readsAsTrue(p.makePublic) ? 1 : 0;
    const double format = core::val(p.EncoderType);
    if (format >= 0 && format <= 2) {
        selectFormat(f, static_cast<int>(format));
    }
    f.cmbBitrate.items.clear();
    for (const char* rate : kBitrates) {
        f.cmbBitrate.items.push_back({rate, 0, {}, false});
    }
    f.cmbBitrate.text = p.bitRate;
    f.chkEnableEncoder.value = readsAsTrue(p.Enabled) ? 1 : 0;
    std::int32_t listeners = 0;
    const std::string answer = checkStats(c, index, listeners);
    f.lblShowStatus.caption =
        answer.empty() ? "Not Connected" : "Connected:" + std::to_string(listeners) + " Listeners";
}

void applyServerTypeRules(core::Console& c, int type) {
    auto& f = form(c);
    struct Rule {
        bool mount, sid, kick;
    };
    static constexpr Rule kRules[] = {{false, false, false}, {false, false, true},
                                      {false, true, true},   {false, false, false},
                                      {true, false, false},  {true, false, false}};
    if (type < 1 || type > 5) {
        return;  // None leaves the fields as they are
    }
    const Rule& r = kRules[type];
    f.txtMountPoint.visible = f.lblMount.visible = r.mount;
    f.txtStationID.visible = f.lblSid.visible = r.sid;
    f.cmdKickSource.visible = r.kick;
}

void markSettingsChanged(core::Console& c) {
    auto& f = form(c);
    f.cmdSave.tag.clear();
    core::printOnButton(f.cmdSave, ImageRole::Green, "Save");
}

void cmboServerType_Click(core::Console& c, int type) {
    auto& f = form(c);
    if (type < 0 || type >= f.cmboServerType.listCount()) {
        return;
    }
    f.cmboServerType.listIndex = type;
    f.cmboServerType.text = kServerTypes[type];
    applyServerTypeRules(c, type);
    markSettingsChanged(c);
}

void cmdSave_Click(core::Console& c) {
    auto& f = form(c);
    core::printOnButton(f.cmdSave, ImageRole::Gray, "Close");
    if (f.cmdSave.tag == "close") {
        f.frmCast.visible = false;  // and the click goes on
    }
    f.cmdSave.tag = "close";
    const int selected = state(c).selectedEncoder;
    const std::string section = profileSection(selected <= 1 ? 0 : selected - 1);
    for (const ProfileKey& k : profileKeys()) {
        if (k.value == &EncoderProfile::EncoderType) {
            break;  // written after the handle step
        }
        core::writeIniValue(c, c.appSettingsPath(), section, k.key, valueOnForm(f, k.value));
    }
    if (f.chkEnableEncoder.value == 0 && selected >= 1) {
        // The handle is forgotten first and the stop then goes to the empty handle: the
        // encoder sends on until the mixer goes. This order is the program's.
        auto& handle = c.encoderHandles[static_cast<std::size_t>(selected - 1)];
        handle = 0;
        c.engine().encodeStop(handle);
    }
    core::writeIniValue(c, c.appSettingsPath(), section, "EncoderType",
                        selectedFormat(f) == 0 ? "0" : "2");
    loadEncoderDataFromIni(c);
}

void chkEnableEncoder_Click(core::Console& c) {
    auto& f = form(c);
    f.chkEnableEncoder.value = f.chkEnableEncoder.value ? 0 : 1;
    markSettingsChanged(c);
    cmdSave_Click(c);
    showEncoderSettings(c, state(c).selectedEncoder - 1);
}

void cmdSettings_Click(core::Console& c) {
    form(c).frmCast.visible = true;
    cmdEncoders_Click(c, 0);
}

}  // namespace tw::broadcast

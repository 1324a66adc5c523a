#include "desk/cast_actions.h"

#include <string>

#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/listeners.h"
#include "playout/engine_setup.h"

namespace tw::desk {

namespace {

constexpr std::string_view kCast = "frmCast.";

// The index of an element of an array, "cmdEncoders(3)" -> 3, or -1.
int indexIn(std::string_view name, std::string_view array) {
    if (name.substr(0, array.size()) != array || name.size() < array.size() + 3 ||
        name[array.size()] != '(' || name.back() != ')') {
        return -1;
    }
    try {
        return std::stoi(std::string(name.substr(array.size() + 1)));
    } catch (const std::exception&) {
        return -1;
    }
}

void startOrStop(core::Console& c) {
    broadcast::btnStart_Click(c, [&c] { playout::startServer(c); });
}

}  // namespace

bool castPress(core::Console& c, std::string_view name) {
    if (name == "cmdOnAir") {
        startOrStop(c);
    } else if (name == "cmdSettings") {
        broadcast::cmdSettings_Click(c);
    } else if (name == "cmdSendMessage") {
        broadcast::cmdSendMessage_Click(c);
    } else if (name.substr(0, kCast.size()) != kCast) {
        return false;
    } else {
        const std::string_view local = name.substr(kCast.size());
        auto& f = c.ui.cast;
        if (local == "btnStart") {
            startOrStop(c);
        } else if (local == "cmdSave") {
            broadcast::cmdSave_Click(c);
        } else if (local == "cmdKickSource") {
            broadcast::cmdKickSource_Click(c);
        } else if (local == "chkEnableEncoder") {
            broadcast::chkEnableEncoder_Click(c);
        } else if (local == "chkReconnect" || local == "chkPublic") {
            core::Element& box = local == "chkReconnect" ? f.chkReconnect : f.chkPublic;
            box.value = box.value ? 0 : 1;
            broadcast::markSettingsChanged(c);
        } else if (const int option = indexIn(local, "Options"); option >= 0 && option < 3) {
            for (int i = 0; i < 3; ++i) {
                f.Options[static_cast<std::size_t>(i)].value = i == option ? 1 : 0;
            }
            broadcast::markSettingsChanged(c);
        } else if (const int encoder = indexIn(local, "cmdEncoders");
                   encoder >= 0 && encoder < core::kEncoderCount) {
            broadcast::cmdEncoders_Click(c, encoder);
        }
    }
    return true;
}

bool castSelect(core::Console& c, std::string_view name, int row) {
    auto& f = c.ui.cast;
    if (name == "frmCast.cmboServerType") {
        broadcast::cmboServerType_Click(c, row);
    } else if (name == "frmCast.cmbBitrate") {
        if (row >= 0 && row < f.cmbBitrate.listCount()) {
            f.cmbBitrate.text = f.cmbBitrate.items[static_cast<std::size_t>(row)].text;
            broadcast::markSettingsChanged(c);
        }
    } else {
        return false;
    }
    return true;
}

bool castTyped(core::Console& c, std::string_view name) {
    if (name.substr(0, kCast.size()) != kCast) {
        return false;
    }
    broadcast::markSettingsChanged(c);
    return true;
}

bool castDoubleClick(core::Console& c, std::string_view name) {
    if (name != "lblPeakListeners") {
        return false;
    }
    broadcast::lblPeakListeners_DblClick(c);
    return true;
}

}  // namespace tw::desk

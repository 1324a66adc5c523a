#include "broadcast/cast_session.h"

#include "broadcast/cast_form.h"
#include "broadcast/cast_state.h"
#include "broadcast/connect_runner.h"
#include "broadcast/kick.h"
#include "broadcast/studio_tone.h"
#include "core/console_ops.h"
#include "core/text.h"

namespace tw::broadcast {

namespace {

using core::ImageRole;

constexpr std::uint32_t kEncodeFlags = audio::kEncodeNoHead | audio::kEncodeAutoFree;

CastState& castOf(core::Console& c) {
    return *c.cast;
}

ConnectRunner& connects(core::Console& c) {
    auto& s = castOf(c);
    if (!s.connects) {
        s.connects = std::make_shared<ConnectRunner>(c.engine(), *c.svc.loop);
    }
    return *s.connects;
}

// The numeric prefix of the ten characters behind the tag, or 0 without the tag.
std::int32_t countBehind(const std::string& answer, const std::string& tag) {
    const auto at = answer.find(tag);
    if (at == std::string::npos) {
        return 0;
    }
    return core::cLng(core::val(answer.substr(at + tag.size(), 10)));
}

// A failed connect says why. The original showed nothing but the grey button and the tone, which
// left the operator to guess between a typing error, a dead server and a password. The message
// line shows every failure; app.log gets a reason once, and again only when it changes or after
// the encoder was connected, so that a server away for a weekend does not fill the log.
void reportFailure(core::Console& c, const ConnectRequest& r, const std::string& why) {
    const std::string encoder = "Encoder " + std::to_string(r.index + 1);
    core::printMessageOnScreen(c, "Couldn't connect to Server using settings from " + encoder +
                                      (why.empty() ? std::string() : ": " + why));
    std::string& logged = castOf(c).connectFailureLogged[static_cast<std::size_t>(r.index)];
    if (logged != why) {
        logged = why;
        core::logError(c, "Cast " + encoder + " couldn't connect to " + r.server + ": " +
                              (why.empty() ? std::string("no reason given") : why));
    }
}

// Steps 9 and 10 of the start, on the console thread, in encoder order.
void applyConnect(core::Console& c, const ConnectRequest& r, bool connected,
                  const std::string& why) {
    auto& m = c.form();
    // An encoder stopped (or replaced) while it connected: its result is no longer news. The
    // original connected in the click itself, so nothing could come between.
    if (c.encoderHandles[static_cast<std::size_t>(r.index)] != r.encoder) {
        return;
    }
    if (!connected) {
        core::printOnButton(m.cmdOnAir, ImageRole::Gray, "OFF AIR");
        playStudioTone(c);
        reportFailure(c, r, why);
        return;
    }
    castOf(c).connectFailureLogged[static_cast<std::size_t>(r.index)].clear();
    castOf(c).programEndLogged[static_cast<std::size_t>(r.index)].clear();
    core::printOnButton(m.cmdOnAir, ImageRole::Red, "ON AIR");
    c.ui.cast.btnStart.caption = "Stop";
    core::printMessageOnScreen(
        c, "Connected to Server using settings from Encoder " + std::to_string(r.index + 1));
    // A listener who comes back after a reconnect hears what is on the air named at once.
    const auto& s = castOf(c);
    if (!s.titleOnAir.empty() && c.encoderHandles[static_cast<std::size_t>(r.index)] == r.encoder) {
        c.engine().castSetTitle(r.encoder, s.titleOnAir, getStationURL(c, r.index));
    }
}

}  // namespace

EncoderCommand encoderCommand(double encoderType, std::int32_t kbps) {
    if (encoderType == 0) {
        return {"lame -r -s 44100 -b " + std::to_string(kbps) + " -", "audio/mpeg"};
    }
    // HE-AAC is not to be had here: AAC-LC in ADTS takes its place, from ffmpeg.
    return {"ffmpeg -loglevel quiet -f s16le -ar 44100 -ac 2 -i - -c:a aac -b:a " +
                std::to_string(static_cast<std::int64_t>(kbps) * 1000) + " -f adts -",
            "audio/aac"};
}

std::string buildServerText(const std::string& running, const std::string& severType,
                            const std::string& severPath, const std::string& severPort,
                            const std::string& severID, const std::string& severMount) {
    if (!core::token(":", 2, running).empty()) {
        return severPath;  // an encoder after the first of this start: its path alone
    }
    switch (static_cast<int>(core::val(severType))) {
        case 1:
        case 3:
            return running + severPath + ":" + severPort;
        case 2:
            return running + severPath + ":" + severPort + "," + severID;
        case 4:
        case 5: {
            const std::string mount = severMount.rfind('/', 0) == 0 ? severMount : "/" + severMount;
            return running + severPath + ":" + severPort + mount;
        }
        default:
            return severPath;
    }
}

void btnStart_Click(core::Console& c, const std::function<void()>& startServer) {
    if (c.engine().encodeIsActive(c.encoderHandles[0]) == audio::kStopped) {
        startServer();
        start(c);
    } else {
        Stop_(c);
    }
}

void start(core::Console& c) {
    if (c.mixerStream == 0) {
        core::showCastError(c, "Couldn't start recording/mixer");
        return;
    }
    loadEncoderDataFromIni(c);
    std::string server;
    std::vector<ConnectRequest> requests;
    for (int i = 0; i < core::kEncoderCount; ++i) {
        auto& handle = c.encoderHandles[static_cast<std::size_t>(i)];
        const EncoderProfile& p = castOf(c).profiles[static_cast<std::size_t>(i)];
        if (!readsAsTrue(p.Enabled) || handle != 0) {
            continue;
        }
        const std::int32_t kbps = core::cLng(core::val(p.bitRate));
        const EncoderCommand command = encoderCommand(core::val(p.EncoderType), kbps);
        handle = c.engine().encodeStart(c.mixerStream, command.commandLine, kEncodeFlags);
        if (handle == 0) {
            core::showCastError(c,
                                "Couldn't start encoding..." + std::to_string(i) +
                                    "\nMake sure OGGENC.EXE (if encoding to OGG) is in the same\n"
                                    "direcory as this example, or LAME.EXE (if encoding to MP3).");
            c.engine().channelStop(c.mixerStream);
            c.mixerStream = 0;
            break;  // later encoders are not tried; earlier connects still report
        }
        server =
            buildServerText(server, p.severType, p.severPath, p.severPort, p.severID, p.severMount);
        requests.push_back({i, handle, server, p.PW, command.contentType, p.Name, p.URL, p.Genre,
                            p.Description, static_cast<std::uint32_t>(kbps),
                            readsAsTrue(p.makePublic)});
    }
    connects(c).run(std::move(requests),
                    [&c](const ConnectRequest& r, bool connected, const std::string& why) {
                        applyConnect(c, r, connected, why);
                    });
}

bool castConnecting(core::Console& c, int index) {
    const auto& s = castOf(c);
    return s.connects &&
           s.connects->connecting(index, c.encoderHandles[static_cast<std::size_t>(index)]);
}

void Stop_(core::Console& c) {
    for (int i = 0; i < core::kEncoderCount; ++i) {
        if (getEncoderEnabled(c, i)) {
            auto& handle = c.encoderHandles[static_cast<std::size_t>(i)];
            c.engine().encodeStop(handle);
            handle = 0;
        }
    }
    auto& f = c.ui.cast;
    f.btnStart.caption = "Start";
    for (core::Element* e :
         {&f.txtServer, &f.txtPassword, &f.chkPublic, &f.txtName, &f.txtURL, &f.txtGenre,
          &f.txtDescription, &f.Options[0], &f.Options[1], &f.cmbBitrate}) {
        e->enabled = true;
    }
    core::printOnButton(c.form().cmdOnAir, ImageRole::Gray, "OFF AIR");
    c.form().frmTarnDesk.caption = "TarnWave Internet Radio Automation Software " + c.version;
}

namespace {

// An encoder whose program ended by itself says how in app.log, with the last line the program
// printed: the original discarded it, which left a wrong command line or a crashed encoder to
// guess. Once per end, and again only after the encoder was connected, so that a program that
// cannot start does not fill the log at every poll.
void reportProgramEnd(core::Console& c, int index) {
    const audio::Handle handle = c.encoderHandles[static_cast<std::size_t>(index)];
    if (handle == 0) {
        return;
    }
    const std::string end = c.engine().encodeGetEnd(handle);
    std::string& logged = castOf(c).programEndLogged[static_cast<std::size_t>(index)];
    if (end.empty() || end == logged) {
        return;
    }
    logged = end;
    core::logError(c, "Cast Encoder " + std::to_string(index + 1) + ": " + end);
}

std::string serverAnswer(core::Console& c, int index, std::int32_t& listeners) {
    const EncoderProfile& p = castOf(c).profiles.at(static_cast<std::size_t>(index));
    const audio::Handle handle = c.encoderHandles[static_cast<std::size_t>(index)];
    const int type = static_cast<int>(core::val(p.severType));
    std::string answer;
    if (type == 0 || type == 1 || type == 2) {
        answer = c.engine().castGetStats(handle, 0, p.PW);
        if (!answer.empty()) {
            listeners = countBehind(answer, "<CURRENTLISTENERS>");
            return answer;
        }
    }
    if (type == 4 || type == 5 || type == 0) {
        answer = c.engine().castGetStats(handle, 1, p.PW);
        if (!answer.empty()) {
            listeners = countBehind(answer, "<listeners>");
        }
        return answer;
    }
    if (type == 3) {
        // Live 365 has no statistics page: bytes that went out since the last poll say it lives.
        listeners = 0;
        const std::uint64_t sent = c.engine().encodeGetCount(handle, 2);
        auto& last = castOf(c).lastCastCount[static_cast<std::size_t>(index)];
        if (sent == last) {
            return {};
        }
        last = sent;
        return "live365";
    }
    return answer;
}

}  // namespace

std::string checkStats(core::Console& c, int index, std::int32_t& listeners) {
    std::string answer = serverAnswer(c, index, listeners);
    if (answer.empty()) {
        reportProgramEnd(c, index);
    }
    return answer;
}

void sendTitle(core::Console& c, const std::string& title) {
    castOf(c).titleOnAir = title;
    for (int i = 0; i < core::kEncoderCount; ++i) {
        if (getEncoderEnabled(c, i)) {
            c.engine().castSetTitle(c.encoderHandles[static_cast<std::size_t>(i)], title,
                                    getStationURL(c, i));
        }
    }
}

void cmdSendMessage_Click(core::Console& c) {
    if (c.encoderHandles[0] > 0) {
        c.engine().castSetTitle(c.encoderHandles[0], c.form().txtSendText.text, "");
    }
}

void cmdKickSource_Click(core::Console& c) {
    const int index = castOf(c).selectedEncoder - 1;
    if (index < 0) {
        return;
    }
    std::int32_t listeners = 0;
    if (!checkStats(c, index, listeners).empty()) {
        return;  // while connected the button does nothing
    }
    const auto answer = c.svc.prompter->messageBox(
        "WARNING!!! Are You Sure you want to kick current source and Connect!, This will kick the "
        "current source ans not allow a reconnection until new source with different IP is "
        "connected",
        "", core::MessageButtons::OkCancel, core::MessageIcon::Exclamation);
    if (answer != core::Answer::Ok) {
        return;
    }
    const EncoderProfile& p = castOf(c).profiles[static_cast<std::size_t>(index)];
    kickSource(c, "http://" + p.severPath + ":" + p.severPort + "/admin.cgi?mode=kicksrc");
    c.ui.cast.chkReconnect.value = 1;
    cmdSave_Click(c);
    cmdSave_Click(c);
}

}  // namespace tw::broadcast

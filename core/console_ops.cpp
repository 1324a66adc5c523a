#include "core/console_ops.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "core/failure.h"
#include "core/text.h"

namespace tw::core {

namespace {

// A log that has reached its size moves aside as .1, the older ones one number up, the fifth
// dropped: weeks of failures or engine figures never fill the disk. A rename that fails leaves
// the log to grow; nothing about it stops the line being written.
void moveLogsAside(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const auto kept = [&path](int n) { return path + "." + std::to_string(n); };
    fs::remove(kept(kAppLogsKept), ec);
    for (int n = kAppLogsKept - 1; n >= 1; --n) {
        fs::rename(kept(n), kept(n + 1), ec);
    }
    fs::rename(path, kept(1), ec);
}

// Appends one whole line, or nothing: 0, or the system's error. A line that only partly fits (a
// disk that fills in the middle of it) is cut off again, so that the next line never runs on from
// half of this one; what the file held before is never touched. With rotateAt, a file that has
// reached that size is first moved aside (moveLogsAside) and the line begins a new one.
int appendLine(const std::string& path, const std::string& line, off_t rotateAt = 0) {
    // Opened, written and closed for every line, so that nothing stays open between events and a
    // failure (a full disk, a folder gone) costs only this line.
    int fd = -1;
    struct stat before {};
    for (bool rotated = false;;) {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd < 0) {
            return errno;
        }
        if (::fstat(fd, &before) != 0) {
            const int err = errno;
            ::close(fd);
            return err;
        }
        if (rotateAt == 0 || before.st_size < rotateAt || rotated) {
            break;
        }
        ::close(fd);
        moveLogsAside(path);
        rotated = true;
    }
    const char* p = line.data();
    std::size_t left = line.size();
    int err = 0;
    while (left > 0) {
        const ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            err = n < 0 ? errno : ENOSPC;
            break;
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    if (err != 0 && left < line.size()) {
        [[maybe_unused]] const int cut = ::ftruncate(fd, before.st_size);
    }
    if (::close(fd) != 0 && err == 0) {
        err = errno;
    }
    return err;
}

// Tells the write failures' line where it can be read: app.log, else (that failing as well, as on
// a full disk) the standard error.
void tellWriteFailures(Console& c, const std::string& text) {
    const std::string line = "#Time:" + generalDate(c.now()) + text + "#\n";
    if (appendLine(c.appLogPath(), line) != 0) {
        const std::string out = "tarnwave: " + text + "\n";
        [[maybe_unused]] const ssize_t n = ::write(STDERR_FILENO, out.data(), out.size());
    }
}

// To the millisecond: a date held in days does not give whole seconds back exactly, and a minute
// must be a minute.
double failureSeconds(const Console& c) {
    return c.svc.clock ? std::round(c.svc.clock->exact() * 86400000.0) / 1000.0 : 0;
}

}  // namespace

std::string readIni(Console& c, const std::string& file, std::string_view section,
                    std::string_view key, std::string_view def) {
    return c.svc.settings->read(file, section, key, def, 255);
}

std::array<std::string, 2> readIni(Console& c, const std::string& file, std::string_view section,
                                   std::string_view key1, std::string_view key2,
                                   std::string_view def) {
    return c.svc.settings->read(file, section, key1, key2, def, 255);
}

void writeIni(Console& c, const std::string& file, std::string_view section, std::string_view key,
              std::string& value) {
    const std::string privateCopy = value;
    for (char& ch : value) {
        if (ch == '\r' || ch == '\n') {
            ch = ' ';
        }
    }
    c.svc.settings->write(file, section, key, privateCopy);
}

void writeIniValue(Console& c, const std::string& file, std::string_view section,
                   std::string_view key, std::string_view value) {
    std::string v(value);
    writeIni(c, file, section, key, v);
}

void deleteIniKey(Console& c, const std::string& file, std::string_view section,
                  std::string_view key) {
    c.svc.settings->write(file, section, key, std::nullopt);
}

void showCastError(Console& c, const std::string& message) {
    const std::string code = std::to_string(c.engine().errorGetCode());
    c.svc.prompter->messageBox(message + "\n\nerror code: " + code, "Error", MessageButtons::Ok,
                               MessageIcon::Exclamation);
    c.form().frmTarnDesk.caption = "error code: " + code + "Error";
}

void logError(Console& c, const std::string& theError) {
    try {
        const int err =
            appendLine(c.appLogPath(), "#Time:" + generalDate(c.now()) + theError + "#\n",
                       static_cast<off_t>(kAppLogLimit));
        if (err != 0) {
            noteWriteFailure(c, c.appLogPath(), err);
        }
    } catch (...) {
        // A log that cannot be written never stops the console.
    }
}

void logPlayed(Console& c, const std::string& theTrack, DateValue theTime) {
    try {
        const int err = appendLine(c.playedLogPath(), theTrack + "," + generalDate(theTime) + "\n");
        if (err != 0) {
            noteWriteFailure(c, c.playedLogPath(), err);
        } else {
            noteWriteSuccess(c);
        }
    } catch (...) {
    }
}

void noteWriteFailure(Console& c, const std::string& path, int err) {
    if (auto line = c.writeFailures.failed(path, err, failureSeconds(c))) {
        tellWriteFailures(c, *line);
    }
}

void noteMadePrivate(Console& c, const std::string& path, unsigned oldMode) {
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", oldMode & 07777u);
    logError(c, "TarnWave made " + path +
                    " readable by its owner only: other users could read it (mode " + mode + ")");
}

void noteWriteSuccess(Console& c) {
    if (auto line = c.writeFailures.succeeded(failureSeconds(c))) {
        tellWriteFailures(c, *line);
    }
}

std::string failureText(const std::string& routine, const std::exception& e) {
    FailureInfo f = describeFailure(e);
    return routine + f.description + "  " + std::to_string(f.number);
}

void printMessageOnScreen(Console& c, const std::string& theMessage) {
    Element& surface = c.ui.main.frmTarnDesk;
    const Element& anchor = c.ui.main.frmTrackList;
    surface.drawing.clear();
    surface.drawing.texts.push_back(
        {theMessage, anchor.rect.left, anchor.rect.top + anchor.rect.height, 0, 8, false});
}

void printOnButton(Element& thebutton, ImageRole theImage, std::string theCaption,
                   const std::string& caption2, int fontSize) {
    theCaption = trim(theCaption);
    const double w = thebutton.scaleWidth();
    const double h = thebutton.scaleHeight();
    thebutton.drawing.clear();
    thebutton.drawing.fills.push_back({0, 0, w, h, theImage, 0});
    thebutton.image = theImage;
    thebutton.caption = theCaption;
    thebutton.caption2 = caption2;
    const int lines = caption2.empty() ? 1 : 2;
    if (fontSize == 0) {
        fontSize = 10;
    }
    thebutton.fontSize = fontSize;
    thebutton.fontBold = true;
    // Centred by character count alone: no text is measured.
    auto startX = [&](const std::string& s) {
        return w / 2 - (static_cast<double>(charCount(s)) / 2.8) * fontSize;
    };
    thebutton.drawing.texts.push_back({theCaption, startX(theCaption),
                                       h / 2 + 0.5 - static_cast<double>(fontSize) * lines,
                                       thebutton.foreColor, fontSize, true});
    if (lines == 2) {
        thebutton.drawing.texts.push_back(
            {caption2, startX(caption2), h / 2 + 0.5, thebutton.foreColor, fontSize, true});
    }
}

void yieldUi(Console& c) {
    const double t = c.svc.clock->timer();
    if (t - c.lastYield >= 0.05) {
        c.lastYield = t;
        if (c.svc.loop) {
            c.svc.loop->processPending();
        }
    }
}

int moveToRecycle(Console& c, const std::string& path, int flags, bool confirm) {
    const int effective = confirm ? flags + 4 : 64;
    if (c.svc.trash) {
        c.svc.trash->moveToTrash(path);
    }
    return effective;
}

void ShowStatus(Console& c, double thePercentage) {
    Element& form = c.ui.status.frmStatus;
    form.visible = !c.statusDismissed;
    Element& bar = c.ui.status.pctStatus;
    bar.drawing.clear();
    bar.drawing.fills.push_back(
        {0, 0, bar.scaleWidth() * thePercentage, bar.scaleHeight(), ImageRole::GYR, 0});
}

void setStatusText(Console& c, const std::string& text) {
    c.ui.status.frmStatus.visible = !c.statusDismissed;
    c.ui.status.lblProgress.caption = text;
}

void closeStatus(Console& c) {
    c.ui.status.frmStatus.visible = false;
}

void dismissStatus(Console& c) {
    c.statusDismissed = true;
    closeStatus(c);
}

void reopenStatus(Console& c) {
    c.statusDismissed = false;
}

}  // namespace tw::core

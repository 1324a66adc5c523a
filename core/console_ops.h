#pragma once
// The console's own small operations that every module uses: settings access, the logs, the
// message line, painted buttons, the throttled yield, the trash, and the status window.
//
// Thread contract: console thread only.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/console.h"

namespace tw::core {

// Settings and history. readIni gives at most 255 characters.
std::string readIni(Console& c, const std::string& file, std::string_view section,
                    std::string_view key, std::string_view def);
// Two keys of one section, found together.
std::array<std::string, 2> readIni(Console& c, const std::string& file, std::string_view section,
                                   std::string_view key1, std::string_view key2,
                                   std::string_view def);
// Writes value to the file, then puts a blank in place of every CR and LF of the caller's value.
// The file gets the value as it was given; the caller gets it cleaned.
void writeIni(Console& c, const std::string& file, std::string_view section, std::string_view key,
              std::string& value);
// The same for a value the caller keeps no variable for.
void writeIniValue(Console& c, const std::string& file, std::string_view section,
                   std::string_view key, std::string_view value);
// A write with no value: removes the key.
void deleteIniKey(Console& c, const std::string& file, std::string_view section,
                  std::string_view key);

// app.log: "#Time:" + date text + text + "#". Failures are swallowed. At kAppLogLimit bytes the
// log is renamed app.log.1 (the older ones to .2 ... .5, the fifth dropped) and a new one begun.
// Played.log, the station's record of what went on the air, is never cut.
inline constexpr std::uintmax_t kAppLogLimit = 10 * 1024 * 1024;
inline constexpr int kAppLogsKept = 5;
void logError(Console& c, const std::string& theError);
// Played.log: title + "," + date text. A line is appended whole or not at all; the lines already
// there are never rewritten.
void logPlayed(Console& c, const std::string& theTrack, DateValue theTime);
// A write of the console's (a log line, a settings file) that failed with the system's error err,
// and one that succeeded after such failures: at most one line a minute about them goes to
// app.log, or to the standard error when app.log cannot be written either (WriteFailures).
void noteWriteFailure(Console& c, const std::string& path, int err);
void noteWriteSuccess(Console& c);
// A file of secrets that its group or others could read, written readable by its owner only (the
// settings store's onMadePrivate): one line to app.log, with the path and the mode it had, in the
// form of the start-up's own lines ("TarnWave made ...").
void noteMadePrivate(Console& c, const std::string& path, unsigned oldMode);
// The failure line most routines write: name + description + "  " + number + tail.
std::string failureText(const std::string& routine, const std::exception& e);

// An engine failure in a message box, with the engine's last error code, which also goes into the
// console's caption.
void showCastError(Console& c, const std::string& message);

// The message line: clears the console's own surface and prints the message at the frame
// frmTrackList's place. Each message replaces the last.
void printMessageOnScreen(Console& c, const std::string& theMessage);

// Paints a picture button: the image stretched over it, the captions at the positions that the
// centring rule gives (by character count, fontSize 0 meaning 10), bold.
void printOnButton(Element& thebutton, ImageRole theImage, std::string theCaption,
                   const std::string& caption2 = "", int fontSize = 0);

// Lets pending events run, at most once per 0.05 second of the clock's seconds since midnight.
void yieldUi(Console& c);

// Sends a file or folder to the trash. Returns the flags the console passes for the operation:
// the given flags plus 4 with confirm set, else 64.
int moveToRecycle(Console& c, const std::string& path, int flags, bool confirm);

// The status window: shown (without blocking) with its bar painted to the fraction given.
void ShowStatus(Console& c, double thePercentage);
void setStatusText(Console& c, const std::string& text);
void closeStatus(Console& c);
// The operator closed "Library Update" with its close box: it stays closed for the jobs under
// way. reopenStatus: he started a job of his own, whose progress shows again.
void dismissStatus(Console& c);
void reopenStatus(Console& c);

// fadeTimer and tmrPreviewUpdate: enabling starts the loop's timer behind them.
void setFadeTimerEnabled(Console& c, bool enabled);
// tmrPreviewUpdate beats while a voice track or sample, the preview or the microphone is there
// to show (it has nothing to do otherwise, and stops itself then); this starts it when it stands.
void wakePreviewTimer(Console& c);

// Refreshes a file list from its folder: names matching its pattern without regard to case,
// sorted without regard to case. A folder list lists the folders. A missing folder gives none.
void refreshFileList(Element& list);

}  // namespace tw::core

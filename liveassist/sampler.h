#pragma once
// The sampler: ten buttons, each holding one sound file copied into the station's Samples folder,
// for jingles, beds and effects. F1 to F8 press the first eight. A press plays the sample over the
// music (mode "Live", through the mixer, without ducking the players) or in the studio only (mode
// "Preview"); in "Move to Player" a press plays nothing and the buttons are drag sources. What a
// button holds lives in appSettings.ini, sections Sample1 to Sample10.
//
// Thread contract: console thread only. The sample's end comes back through spotEnded, which
// the engine's sync thread posts to the console thread.

#include <array>
#include <string>
#include <vector>

#include "core/console.h"

namespace tw::liveassist {

// One button's settings as read. "loop" and "fadeOut" are kept and written back but play does
// not use them.
class clsSampleInfo {
  public:
    const std::string& fadeOut() const { return fadeOut_; }
    void fadeOut(std::string v) { fadeOut_ = std::move(v); }
    const std::string& looped() const { return looped_; }
    void looped(std::string v) { looped_ = std::move(v); }
    const std::string& thePath() const { return thePath_; }
    void thePath(std::string v) { thePath_ = std::move(v); }

  private:
    std::string fadeOut_ = "false";
    std::string looped_ = "false";
    std::string thePath_ = "none";
};

struct SampleBank {
    std::array<clsSampleInfo, 10> buttons;  // button n is buttons[n - 1]
};

inline constexpr int kSampleButtons = 10;

// The station's Samples folder, made when missing (failures ignored).
std::string samplesFolder(const core::Console& c);
void makeSamplesFolder(core::Console& c);
// Button n's path as loaded ("none" when it holds nothing, also before the first load).
std::string samplePath(const core::Console& c, int n);
// Button n of an element name "cmdSampler(N)", else 0.
int samplerButton(std::string_view elementName);
// Reads the ten sections into the bank.
void loadSamples(core::Console& c);
// Paints the ten buttons: the file's name on blue with the path as the tool tip, or
// "unnassiged" on gray.
void showSamples(core::Console& c);
// Writes path to button n's section, with "false" for "loop" and "fadeOut".
void saveSample(core::Console& c, const std::string& path, int n);
// A press of button n (or its function key): what the spot channel plays stops, then playSample.
void cmdSampler_Click(core::Console& c, int n);
// Plays button n's sample in the present mode; nothing for an empty button or in mode 2.
void playSample(core::Console& c, int n);
// A track row dragged from lstSongs or the builder's track list onto button n: the row's file.
void cmdSampler_DragTrack(core::Console& c, int n, const std::string& rowText);
// Files dropped on button n from the file manager: the first is taken, the rest ignored.
void cmdSampler_DropFiles(core::Console& c, int n, const std::vector<std::string>& files);
// The Delete key on button n: its section's values emptied; the file stays in the folder.
void cmdSampler_Clear(core::Console& c, int n);

}  // namespace tw::liveassist

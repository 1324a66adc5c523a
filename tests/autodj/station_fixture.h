#pragma once
// A console on a station folder with a music library: categories as folders, tracks as tiny MPEG
// files whose ID3v2 tag carries artist and title, and history written through the console.

#include <string>
#include <vector>

#include "autodj/library.h"
#include "autodj/library_state.h"
#include "core/console_ops.h"
#include "tests/testlib/console_fixture.h"

namespace tw::test {

class StationFixture : public ConsoleFixture {
  protected:
    // A folder under Music.
    std::string addCategory(const std::string& name);
    // A track in a category's folder with an ID3v2.3 tag (no tag when both texts are empty).
    std::string addTrack(const std::string& category, const std::string& fileName,
                         const std::string& artist, const std::string& title);
    // The console with its library lists built as start-up builds them.
    core::Console& open();
    // The same with a desk microphone ("Desk mic", input "Mic") and the mixer's stream, as the
    // microphone, the takes and the voice tracks need.
    core::Console& openWithMicrophone();
    // A value in played.ini, through the console's settings store.
    void setHistory(const std::string& section, const std::string& key, const std::string& value);
    std::string history(const std::string& section, const std::string& key,
                        const std::string& def = "<none>");
    // The item number (from 0) of a category on lstPlaylist1.
    int categoryIndex(const std::string& name);
    // From here on, the status window's text after every event that leaves it shown, as the
    // operator would see it between events, in statusSeen.
    void watchStatusWindow();
    // Runs the console thread's events until the tag fill has ended (at most ten seconds);
    // false when it did not.
    bool runUntilTagFillEnds();
    std::vector<std::string> statusSeen;
    // Log lines of app.log without their time stamp: the text between the date and the final "#".
    std::vector<std::string> logTexts() const;
};

// A handle as the engine's calls are written in the fake engine's log.
inline std::string h(audio::Handle v) {
    return std::to_string(v);
}

}  // namespace tw::test

#pragma once
// The console: the run-time state of frmTarnDesk, its surface, and the services it works with.
// It is the one object the console's logic works on; every module is a set of functions (or a
// small class) taking the Console it acts on.
//
// Thread contract: console thread only, every member. Work from other threads (engine syncs)
// reaches the console only through services.loop->post().

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine.h"
#include "core/clock.h"
#include "core/cue_record.h"
#include "core/event_loop.h"
#include "core/forms.h"
#include "core/paths.h"
#include "core/prompter.h"
#include "core/settings_store.h"
#include "core/track_listing.h"
#include "core/trash.h"
#include "core/write_failures.h"

namespace tw::tags {
class clsID3;
}
namespace tw::autodj {
struct LibraryState;
struct LibraryJobs;
struct ReplayGainJob;
}  // namespace tw::autodj
namespace tw::broadcast {
struct CastState;
}
namespace tw::media {
class LoudnessLibrary;
class StreamOpener;
class WaveformCache;
}  // namespace tw::media
namespace tw::reporting {
struct ReportJob;
}
namespace tw::liveassist {
class SpeechVoice;
struct SampleBank;
}  // namespace tw::liveassist
namespace tw::playout {
class DeadAirAlarm;
}
namespace tw::web {
class StatusFeed;
}

namespace tw::core {

class ProgramRunner;

// The services a console is handed. None is owned by the console.
struct Services {
    Clock* clock = nullptr;
    SettingsStore* settings = nullptr;
    audio::Engine* engine = nullptr;
    Prompter* prompter = nullptr;
    EventLoop* loop = nullptr;
    Trash* trash = nullptr;
};

// What the position monitor's tick calls in the rest of the console. The console's own
// implementation forwards to the modules; tests of the tick put a recording double in its place.
class TickCalls {
  public:
    virtual ~TickCalls() = default;
    virtual void startNExt() = 0;
    virtual void loadNextSong(std::int16_t flag) = 0;
    virtual void playSweeper(const std::string& path) = 0;
    virtual std::int32_t findSweeperIndex(std::int32_t sweeperIndex) = 0;
    virtual bool checkRotationSchedule() = 0;
    virtual bool getEncoderEnabled(int index) = 0;
    virtual bool getStationAutoReConnect(int index) = 0;
    // The server's answer ("" when not connected); writes listeners only on an answer.
    virtual std::string checkStats(int index, std::int32_t& listeners) = 0;
    // The encoder's connect is still under way: no statistics yet, and not dead.
    virtual bool castConnecting(int index) = 0;
    virtual void castStart() = 0;
    // The preview player toggled on a file (the running list's time column): true when a
    // preview runs after the call.
    virtual bool togglePreview(const std::string& path) = 0;
};

// Mode captions of cmdAutoManual.
inline constexpr const char* kAutomated = "Automated";
inline constexpr const char* kManual = "Manual";

inline constexpr int kEncoderCount = 12;

class Console {
  public:
    Console(std::string appFolder, Services services);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // --- services and places ---------------------------------------------------------------
    std::string AppFolder;  // the station folder; every data path is a tail on it
    Services svc;
    std::unique_ptr<TickCalls> tickCalls;  // the assembly's; tests of the tick put a recorder in
    std::string appSettingsPath() const { return AppFolder + "/appSettings.ini"; }
    std::string playedIniPath() const { return AppFolder + "/played.ini"; }
    std::string schedulePath() const { return AppFolder + "/rotationSchedule.ini"; }
    std::string appLogPath() const { return AppFolder + "/app.log"; }
    std::string playedLogPath() const { return AppFolder + "/Played.log"; }
    audio::Engine& engine() { return *svc.engine; }
    DateValue now() const { return svc.clock->now(); }

    // --- the surface -----------------------------------------------------------------------
    Surface ui;
    MainForm& form() { return ui.main; }

    // --- start-up and the beat -------------------------------------------------------------
    bool loaded = false;    // Form_Load has run
    bool unloaded = false;  // Form_Unload has run
    bool tmrCheckPositionBool = false;
    int positionTimerId = 0;  // the periodic timer, 0 when none
    int fadeTimerId = 0;      // the loop's timer behind fadeTimer while it is enabled
    int previewTimerId = 0;   // the loop's timer behind tmrPreviewUpdate
    std::string version = TW_VERSION;
    struct SavedPlace {
        std::string name;
        Rect rect;
        int fontSize;
    };
    std::vector<SavedPlace> savedLayout;  // the layout as designed, recorded at start-up

    // Settings read at start and when the settings dialog changes them.
    float crossfadeTime = 1.5f;
    float silenceTime = 1.5f;
    float artistSeperationTime = 0;
    std::string autoTrim = "0";
    std::int32_t autoTrimThreshold = 1;

    // --- players ---------------------------------------------------------------------------
    std::int16_t activePlayer = 0;
    audio::Handle player1Stream = 0, player2Stream = 0;
    audio::Handle previewPlayer = 0, sweeperStream = 0;
    audio::Handle mixerStream = 0, compressorId = 0;
    audio::Handle sync1 = 0, sync2 = 0;
    audio::Handle spotChannel = 0;
    std::array<audio::Handle, kEncoderCount> encoderHandles{};
    CueRecord cueRecord1, cueRecord2;
    std::string nextSong1, nextSong2, nextSongName1, nextSongName2;
    std::string currentTitle;
    // What the last start put on the air, as the start read it from the tag (title, artist and
    // album empty for a stream address), and when. The now-playing snapshot reads this rather
    // than re-pointing the tag object behind the picker's back.
    struct AirStart {
        std::string path, title, artist, album;
        DateValue started = 0;
    };
    AirStart lastStart;
    std::string defaultSweeper;
    // Stream addresses are opened off the console thread: the open under way on each player (its
    // number, 0 when none), the player whose start waits for its address to answer (0 when
    // none), the addresses in a row that could not be opened, and the opener itself, made at its
    // first use.
    std::uint32_t player1Opening = 0, player2Opening = 0;
    std::uint32_t opensAsked = 0;
    std::int16_t startWhenOpened = 0;
    std::int32_t failedOpens = 0;
    std::shared_ptr<media::StreamOpener> streamOpener;
    bool micOn = false;
    bool muted = false;
    std::string previewSong;
    CueRecord previewCue;  // the cue points of the track in the preview
    // The operator closed "Library Update": the jobs under way go on without showing it again,
    // until he starts another (an import, a recount).
    bool statusDismissed = false;

    // --- the position monitor --------------------------------------------------------------
    std::int32_t silenceTicks = 0;
    std::int32_t statsTicks = 0;
    std::int32_t flashTicks = 0;
    std::uint32_t mixLevel = 0;  // the mix's level word as the tick last read it
    std::int32_t barScale = 0;
    float formScale = 1.0f;
    float timeLeft1 = 0, timeLeft2 = 0;  // keep their last value on a tick that skips them
    std::int32_t listenercount = 0;      // the poll's one listener variable
    double playerBarWidth = 250, playerBarHeight = 50;  // reference sizes for seeking

    // --- running list and library ----------------------------------------------------------
    std::vector<core::clsTrackListing> trackList;
    // The playlist builder's rows, and one spare record behind them, as the running list keeps.
    std::vector<core::clsTrackListing> builderList = std::vector<core::clsTrackListing>(1);
    std::int16_t listMode = 0;
    std::int32_t rotationPosition = -1;
    std::string activeListName;
    bool listLoading = false;
    bool pickInProgress = false;
    bool redrawPending = false;  // lstPlaylist is rewritten at the mouse release after a re-pick
    std::string activeDirectory;
    std::int32_t activeCatagoryIndex = 0;
    std::int32_t screenMode = 0;
    // The one tag object of the console: re-pointed at each file it reads. After a pick it still
    // holds the chosen file, which the callers read at once.
    // Both are put in by the console's assembly (station/console_assembly.h); shared pointers,
    // so that the model need not know their types.
    std::shared_ptr<tags::clsID3> id3;
    // The per-category figures, the song list's paths and the picker's generator.
    std::shared_ptr<autodj::LibraryState> library;
    // The import and the recount on their workers; made at their first use.
    std::shared_ptr<autodj::LibraryJobs> libraryJobs;
    // The statistics report's worker; made at the first report.
    std::shared_ptr<reporting::ReportJob> reportJob;
    // The encoder profiles, the cast session's connects and the listener figures' memory.
    std::shared_ptr<broadcast::CastState> cast;
    // The details panel's track pictures, measured off the console thread.
    std::shared_ptr<media::WaveformCache> waveforms;
    // The loudness of the station's files and their measurement; made at the first use while
    // "[Loudness] Target" is set (autodj/loudness.h).
    std::shared_ptr<media::LoudnessLibrary> loudness;
    // The writing of the measurements into the files' ReplayGain tags; made at its first use.
    std::shared_ptr<autodj::ReplayGainJob> replayGainJob;
    std::string detailsSong;  // the path of the track the details panel shows
    // Its cue points as its tag holds them, read when it was chosen and after each write: the
    // markers show what is stored, not what the panel's boxes say.
    CueRecord detailsCue;

    // --- microphone and effects ------------------------------------------------------------
    audio::Handle micChannel = 0;
    // The voice chain: first EQ, second EQ, dynamic amplification, compressor. The microphone,
    // the take being recorded and the spoken text all keep their chain's handles here.
    std::array<audio::Handle, 4> voiceFx{};
    audio::Handle flangerFx = 0;  // the microphone's flanger, or the spoken text's chorus
    // The master chain on the mixer: compressorId is its compressor; then these, the fourth is
    // never assigned.
    audio::Handle masterDampFx = 0, masterEqFx = 0, masterFourthFx = 0;

    // --- voice track recording -------------------------------------------------------------
    // recordBuffer and recordLength belong to the capture thread while recordChannel records
    // (the record callback grows and fills them); the console thread reads them only after the
    // channel has been stopped.
    std::vector<std::uint8_t> recordBuffer;
    std::int32_t recordLength = 0;
    std::int32_t recordStep = 200000;
    // The largest buffer a take may grow to: its lengths are 32-bit, so a growth past this fails
    // as a failed allocation does ("Out of memory!"), never overflows recordLength.
    std::int64_t recordLimit = 0x7FFFFFFF;
    audio::Handle recordChannel = 0;
    audio::Handle takeStream = 0;
    audio::Handle spokenStream = 0;
    // The outside programs running for the console (the voice tracks' encoder) and the speech
    // synthesiser; made at their first use.
    std::shared_ptr<ProgramRunner> programs;
    std::shared_ptr<liveassist::SpeechVoice> voice;
    // The sampler's ten buttons as appSettings.ini holds them; made at the first load.
    std::shared_ptr<liveassist::SampleBank> samples;
    // The dead-air alarm's memory of the mix's silence; made at the tick's first look.
    std::shared_ptr<playout::DeadAirAlarm> deadAir;
    // What is on the air, told to the web status service, the now-playing files and command;
    // made at the load.
    std::shared_ptr<web::StatusFeed> statusFeed;

    // --- helpers with state ----------------------------------------------------------------
    // The failed writes not yet told (core::noteWriteFailure); the settings store reports its
    // failed flushes here for as long as the console lives.
    WriteFailures writeFailures;
    TokenReader tokens;    // getToken's kept position
    double lastYield = 0;  // seconds since midnight of the last throttled yield
    std::int32_t lastScheduleDay = 0;
    // The scheduled playlist that could not be read: its name, the hour of the attempt (hours
    // since 1899-12-30) and the file's size and time then. The schedule leaves it until the next
    // hour or until the file changes, instead of trying (and cutting the air) at every poll.
    std::string scheduleFailedList;
    std::int64_t scheduleFailedHour = -1;
    std::string scheduleFailedFile;

    // The mode: automatic exactly while cmdAutoManual reads "Automated".
    bool automated() const { return ui.main.cmdAutoManual.caption == kAutomated; }
};

}  // namespace tw::core

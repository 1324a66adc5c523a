#include "core/settings_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/unfinished_files.h"
#include "tests/testlib/temp_dir.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

mode_t modeOf(const fs::path& p) {
    struct stat st {};
    EXPECT_EQ(::stat(p.c_str(), &st), 0);
    return st.st_mode & 07777;
}

// Sets the file's change time, so that a test can make two versions look alike to a stat.
void setModified(const fs::path& p, const timespec& when) {
    const timespec times[2] = {when, when};
    ASSERT_EQ(::utimensat(AT_FDCWD, p.c_str(), times, 0), 0);
}

class UmaskScope {
  public:
    explicit UmaskScope(mode_t mask) : old_(::umask(mask)) {}
    ~UmaskScope() { ::umask(old_); }
    UmaskScope(const UmaskScope&) = delete;
    UmaskScope& operator=(const UmaskScope&) = delete;

  private:
    mode_t old_;
};

class SettingsStoreTest : public ::testing::Test {
  protected:
    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    test::TempDir dir_;
    SettingsStore store_;
};

TEST_F(SettingsStoreTest, MissingFileReadsTheDefaultAndIsNotCreated) {
    EXPECT_EQ(store_.read(path("played.ini"), "Some Track", "LastPlayed", "none"), "none");
    EXPECT_EQ(store_.read(path("played.ini"), "Some Track", "LastPlayed", "none"), "none");
    EXPECT_TRUE(test::entriesOf(dir_.path()).empty());
}

TEST_F(SettingsStoreTest, MissingSectionOrKeyReadsTheDefaultAndLeavesTheFileAlone) {
    const std::string bytes = "[Crossfade]\ntime=2.5\n";
    writeFile(dir_ / "appSettings.ini", bytes);
    EXPECT_EQ(store_.read(path("appSettings.ini"), "Silence", "time", "1.5"), "1.5");
    EXPECT_EQ(store_.read(path("appSettings.ini"), "Crossfade", "length", "x"), "x");
    EXPECT_EQ(store_.read(path("appSettings.ini"), "crossfade", "TIME", "1.5"), "2.5");
    store_.flush();
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), bytes);
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"appSettings.ini"});
}

TEST_F(SettingsStoreTest, LongValueIsCutTo255Characters) {
    writeFile(dir_ / "a.ini", "[s]\nk=" + std::string(600, 'x') + "\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), std::string(255, 'x'));
}

TEST_F(SettingsStoreTest, PlaylistReaderGets749Characters) {
    writeFile(dir_ / "list.pls", "[playlist]\nfile1=" + std::string(1000, 'p') + "\n");
    EXPECT_EQ(store_.read(path("list.pls"), "playlist", "file1", "", 749), std::string(749, 'p'));
}

TEST_F(SettingsStoreTest, CutCountsUtf8CodePoints) {
    std::string value;
    for (int i = 0; i < 300; ++i) {
        value += "ü";
    }
    writeFile(dir_ / "a.ini", "[s]\nk=" + value + "\n");
    const std::string got = store_.read(path("a.ini"), "s", "k", "");
    EXPECT_EQ(got.size(), 255u * 2);
    EXPECT_EQ(got, value.substr(0, 255 * 2));
}

TEST_F(SettingsStoreTest, TwoKeysOfASectionReadAsTwoReadsOfThem) {
    writeFile(dir_ / "played.ini", "[A - Song]\nPlayCount=7\nTunedOut=\"2\"\nLong=" +
                                       std::string(300, 'x') + "\n[B - Song]\nPlayCount=1\n");
    const std::string file = path("played.ini");
    const std::vector<std::pair<std::string, std::string>> asks = {
        {"TunedOut", "PlayCount"}, {"playcount", "TUNEDOUT"}, {"PlayCount", "Missing"},
        {"Missing", "Long"},       {"Long", "Long"},          {"Missing", "Missing"}};
    for (const char* section : {"A - Song", "  a - song ", "B - Song", "No Such Song"}) {
        for (const auto& [key1, key2] : asks) {
            for (const std::size_t cut : {std::size_t{255}, std::size_t{1}}) {
                const auto both = store_.read(file, section, key1, key2, "0", cut);
                EXPECT_EQ(both[0], store_.read(file, section, key1, "0", cut)) << section << key1;
                EXPECT_EQ(both[1], store_.read(file, section, key2, "0", cut)) << section << key2;
            }
        }
    }
    EXPECT_EQ(store_.read(file, "A - Song", "TunedOut", "PlayCount", "0"),
              (std::array<std::string, 2>{"2", "7"}));
    EXPECT_EQ(store_.read(path("none.ini"), "A - Song", "TunedOut", "PlayCount", "0"),
              (std::array<std::string, 2>{"0", "0"}));
}

TEST_F(SettingsStoreTest, WriteReplacesInPlaceAndKeepsEveryOtherByte) {
    writeFile(dir_ / "played.ini",
              "; history\n[Artist - Song]\n LastPlayed = 1/1/2020 \nPending=no\n\n"
              "[artist]\nlastplayed=x\n");
    store_.write(path("played.ini"), "artist - song", "lastplayed", "11/22/2026 1:19:57 AM");
    EXPECT_EQ(readFile(dir_ / "played.ini"),
              "; history\n[Artist - Song]\nLastPlayed=11/22/2026 1:19:57 AM\nPending=no\n\n"
              "[artist]\nlastplayed=x\n");
}

TEST_F(SettingsStoreTest, WriteAppendsToItsSectionAndCreatesMissingSectionsAtTheEnd) {
    writeFile(dir_ / "played.ini", "[a]\nPending=no\n\n[b]\nx=1\n");
    store_.write(path("played.ini"), "A", "PlayCount", "1");
    store_.write(path("played.ini"), "c", "TunedOut", "0");
    EXPECT_EQ(readFile(dir_ / "played.ini"),
              "[a]\nPending=no\nPlayCount=1\n\n[b]\nx=1\n[c]\nTunedOut=0\n");
}

TEST_F(SettingsStoreTest, WriteCreatesTheFile) {
    store_.write(path("rotationSchedule.ini"), "Monday", "0", "Rock");
    EXPECT_EQ(readFile(dir_ / "rotationSchedule.ini"), "[Monday]\n0=Rock\n");
}

TEST_F(SettingsStoreTest, WriteWithNoValueDeletesAndEmptyTextDoesNot) {
    writeFile(dir_ / "played.ini", "[t]\nLastPlayed=x\nPending=empty\n");
    store_.write(path("played.ini"), "t", "Pending", "");
    store_.write(path("played.ini"), "t", "LastPlayed", std::nullopt);
    EXPECT_EQ(readFile(dir_ / "played.ini"), "[t]\nPending=\n");
    EXPECT_EQ(store_.read(path("played.ini"), "t", "LastPlayed", "none"), "none");
    EXPECT_EQ(store_.read(path("played.ini"), "t", "Pending", "no"), "");
}

TEST_F(SettingsStoreTest, DeleteOfMissingKeyInMissingFileCreatesNothing) {
    store_.write(path("played.ini"), "t", "LastPlayed", std::nullopt);
    EXPECT_TRUE(test::entriesOf(dir_.path()).empty());
}

TEST_F(SettingsStoreTest, CrLfFileStaysCrLf) {
    writeFile(dir_ / "a.ini", "[s]\r\nk=1\r\n");
    store_.write(path("a.ini"), "s", "k", "2");
    store_.write(path("a.ini"), "s", "n", "3");
    store_.write(path("a.ini"), "t", "m", "4");
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\r\nk=2\r\nn=3\r\n[t]\r\nm=4\r\n");
}

TEST_F(SettingsStoreTest, ValueWithLineBreakIsWrittenAsItStands) {
    writeFile(dir_ / "a.ini", "[s]\nk=1\n");
    store_.write(path("a.ini"), "s", "k", "top\nbottom");
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\nk=top\nbottom\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "top");
    SettingsStore fresh;
    EXPECT_EQ(fresh.read(path("a.ini"), "s", "k", ""), "top");
}

TEST_F(SettingsStoreTest, ChangeByAnotherWriterIsReadAgain) {
    writeFile(dir_ / "a.ini", "[s]\nk=1\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "1");
    writeFile(dir_ / "a.ini", "[s]\nk=22\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "22");
    // Same size, same inode, written at once.
    writeFile(dir_ / "a.ini", "[s]\nk=33\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "33");
    // Replaced by a rename, as an editor saves.
    writeFile(dir_ / "other.ini", "[s]\nk=44\n");
    fs::rename(dir_ / "other.ini", dir_ / "a.ini");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "44");
    fs::remove(dir_ / "a.ini");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", "gone"), "gone");
}

TEST_F(SettingsStoreTest, ChangeThatKeepsSizeAndTimeIsSeenWhileTheTimeIsRecent) {
    // File times move in clock ticks: two writes within a tick look alike to a stat. A time in
    // the future stands for "within the same tick as the read".
    const timespec soon{std::time(nullptr) + 30, 0};
    writeFile(dir_ / "a.ini", "[s]\nk=1\n");
    setModified(dir_ / "a.ini", soon);
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "1");
    writeFile(dir_ / "a.ini", "[s]\nk=2\n");
    setModified(dir_ / "a.ini", soon);
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "2");
}

TEST_F(SettingsStoreTest, WriteIsVisibleToTheNextReadBeforeAnyFlush) {
    writeFile(dir_ / "played.ini", "[t]\nPlayCount=1\n");
    EventScope event(store_);
    store_.write(path("played.ini"), "t", "PlayCount", "2");
    EXPECT_EQ(store_.read(path("played.ini"), "t", "PlayCount", "0"), "2");
    store_.write(path("played.ini"), "u", "PlayCount", "7");
    EXPECT_EQ(store_.read(path("played.ini"), "U", "playcount", "0"), "7");
    EXPECT_EQ(readFile(dir_ / "played.ini"), "[t]\nPlayCount=1\n");
}

TEST_F(SettingsStoreTest, WritesInsideAnEventReachTheDiskWhenTheOutermostEventEnds) {
    const std::string before = "[t]\nPlayCount=1\n";
    writeFile(dir_ / "played.ini", before);
    store_.beginEvent();
    store_.write(path("played.ini"), "t", "PlayCount", "2");
    store_.beginEvent();
    store_.write(path("played.ini"), "t", "Pending", "no");
    store_.write(path("appSettings.ini"), "tarnWave", "lastPeak", "12");
    store_.endEvent();
    EXPECT_EQ(readFile(dir_ / "played.ini"), before);
    EXPECT_FALSE(fs::exists(dir_ / "appSettings.ini"));
    store_.endEvent();
    EXPECT_EQ(readFile(dir_ / "played.ini"), "[t]\nPlayCount=2\nPending=no\n");
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[tarnWave]\nlastPeak=12\n");
}

TEST_F(SettingsStoreTest, EventScopeWritesAtItsEnd) {
    {
        EventScope event(store_);
        store_.write(path("a.ini"), "s", "k", "v");
        EXPECT_FALSE(fs::exists(dir_ / "a.ini"));
    }
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\nk=v\n");
}

TEST_F(SettingsStoreTest, ExtraEndEventIsHarmless) {
    store_.endEvent();
    store_.write(path("a.ini"), "s", "k", "v");
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\nk=v\n");
}

TEST_F(SettingsStoreTest, DropCacheWritesPendingChangesFirst) {
    store_.beginEvent();
    store_.write(path("a.ini"), "s", "k", "v");
    store_.dropCache();
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\nk=v\n");
    EXPECT_EQ(store_.read(path("a.ini"), "s", "k", ""), "v");
    store_.endEvent();
}

TEST_F(SettingsStoreTest, UnloadWritesPendingChanges) {
    {
        SettingsStore store;
        store.beginEvent();
        store.write(path("a.ini"), "s", "k", "v");
    }
    EXPECT_EQ(readFile(dir_ / "a.ini"), "[s]\nk=v\n");
}

TEST_F(SettingsStoreTest, PrivateFileIsCreatedForItsOwnerOnly) {
    UmaskScope mask(0);
    store_.addPrivateFileName("appSettings.ini");
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret");
    store_.write(path("APPSETTINGS.INI"), "Shoutcast", "PW", "secret");
    store_.write(path("played.ini"), "t", "PlayCount", "1");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(modeOf(dir_ / "APPSETTINGS.INI"), 0600u);
    EXPECT_EQ(modeOf(dir_ / "played.ini"), 0666u);
}

TEST_F(SettingsStoreTest, NewFileFollowsTheUmask) {
    UmaskScope mask(022);
    store_.write(path("played.ini"), "t", "PlayCount", "1");
    EXPECT_EQ(modeOf(dir_ / "played.ini"), 0644u);
}

TEST_F(SettingsStoreTest, ExistingFileKeepsItsModeUnlessItHoldsSecrets) {
    store_.addPrivateFileName("appSettings.ini");
    writeFile(dir_ / "appSettings.ini", "[s]\nk=1\n");
    writeFile(dir_ / "played.ini", "[s]\nk=1\n");
    fs::permissions(dir_ / "appSettings.ini", static_cast<fs::perms>(0640));
    fs::permissions(dir_ / "played.ini", static_cast<fs::perms>(0604));
    store_.write(path("appSettings.ini"), "s", "k", "2");
    store_.write(path("played.ini"), "s", "k", "2");
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[s]\nk=2\n");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(modeOf(dir_ / "played.ini"), 0604u);
}

TEST_F(SettingsStoreTest, PrivateFileIsOwnerOnlyWhateverTheUmask) {
    UmaskScope mask(0277);  // would leave a new file read-only, even to its owner
    store_.addPrivateFileName("appSettings.ini");
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret");
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret2");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[Shoutcast]\nPW=secret2\n");
}

// A private file made by someone else (a script, an editor, a backup) with the mode of the
// parameter: the first write makes it 0600, and says so when its group or others had rights on it.
struct ModeCase {
    mode_t mode;
    bool othersHadRights;
};

class PrivateFileModeTest : public SettingsStoreTest,
                            public ::testing::WithParamInterface<ModeCase> {};

TEST_P(PrivateFileModeTest, FirstWriteMakesItOwnerOnlyAndSaysSoOnce) {
    std::vector<std::pair<std::string, mode_t>> told;
    store_.onMadePrivate(
        [&told](const std::string& file, mode_t oldMode) { told.emplace_back(file, oldMode); });
    store_.addPrivateFileName("appSettings.ini");
    writeFile(dir_ / "appSettings.ini", "[Shoutcast]\nPW=old\n");
    fs::permissions(dir_ / "appSettings.ini", static_cast<fs::perms>(GetParam().mode));
    ASSERT_EQ(modeOf(dir_ / "appSettings.ini"), GetParam().mode);
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "new");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[Shoutcast]\nPW=new\n");
    {
        EventScope event(store_);
        store_.write(path("appSettings.ini"), "Shoutcast", "PW", "newer");
    }
    store_.write(path("appSettings.ini"), "Shoutcast", "Name", "Tarn FM");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    if (GetParam().othersHadRights) {
        ASSERT_EQ(told.size(), 1u);
        EXPECT_EQ(told[0].first, path("appSettings.ini"));
        EXPECT_EQ(told[0].second, GetParam().mode);
    } else {
        EXPECT_TRUE(told.empty());
    }
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"appSettings.ini"});
}

INSTANTIATE_TEST_SUITE_P(Modes, PrivateFileModeTest,
                         ::testing::Values(ModeCase{0644, true}, ModeCase{0664, true},
                                           ModeCase{0640, true}, ModeCase{0604, true},
                                           ModeCase{0666, true}, ModeCase{0600, false},
                                           ModeCase{0400, false}, ModeCase{0700, false}),
                         [](const auto& info) {
                             char name[16];
                             std::snprintf(name, sizeof name, "Mode%04o",
                                           static_cast<unsigned>(info.param.mode));
                             return std::string(name);
                         });

TEST_F(SettingsStoreTest, OtherFilesAreNeverReportedAsMadePrivate) {
    int told = 0;
    store_.onMadePrivate([&told](const std::string&, mode_t) { ++told; });
    store_.addPrivateFileName("appSettings.ini");
    writeFile(dir_ / "played.ini", "[s]\nk=1\n");
    fs::permissions(dir_ / "played.ini", static_cast<fs::perms>(0644));
    store_.write(path("played.ini"), "s", "k", "2");
    store_.write(path("appSettings.ini"), "s", "k", "2");  // new: made private, nothing to tell
    EXPECT_EQ(modeOf(dir_ / "played.ini"), 0644u);
    EXPECT_EQ(told, 0);
    store_.onMadePrivate({});
    fs::permissions(dir_ / "appSettings.ini", static_cast<fs::perms>(0644));
    store_.write(path("appSettings.ini"), "s", "k", "3");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(told, 0) << "no calls once the handler is gone";
}

TEST_F(SettingsStoreTest, ALeftoverAtTheTemporaryNameNeverBlocksTheWrite) {
    store_.addPrivateFileName("appSettings.ini");
    const fs::path temp = unfinishedPath(path("appSettings.ini"), "tmp");
    writeFile(temp, "left by an earlier process of our id");
    fs::permissions(temp, static_cast<fs::perms>(0644));
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret");
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[Shoutcast]\nPW=secret\n");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"appSettings.ini"});
}

// A link put at the temporary name, to a file or to where a file would be made: a write that
// followed it would hand the secret to whoever made the link.
TEST_F(SettingsStoreTest, ALinkAtTheTemporaryNameIsNeverWrittenThrough) {
    store_.addPrivateFileName("appSettings.ini");
    writeFile(dir_ / "elsewhere", "");
    fs::permissions(dir_ / "elsewhere", static_cast<fs::perms>(0644));
    const fs::path temp = unfinishedPath(path("appSettings.ini"), "tmp");
    fs::create_symlink(dir_ / "elsewhere", temp);
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret");
    EXPECT_EQ(readFile(dir_ / "elsewhere"), "") << "the secret went through the link";
    EXPECT_EQ(modeOf(dir_ / "elsewhere"), 0644u);
    fs::create_symlink(dir_ / "nowhere", temp);
    store_.write(path("appSettings.ini"), "Shoutcast", "PW", "secret2");
    EXPECT_FALSE(fs::exists(dir_ / "nowhere")) << "a file was made through the link";
    EXPECT_EQ(readFile(dir_ / "appSettings.ini"), "[Shoutcast]\nPW=secret2\n");
    EXPECT_EQ(modeOf(dir_ / "appSettings.ini"), 0600u);
    EXPECT_FALSE(fs::is_symlink(fs::symlink_status(dir_ / "appSettings.ini")));
    EXPECT_EQ(test::entriesOf(dir_.path()),
              (std::set<std::string>{"appSettings.ini", "elsewhere"}));
}

TEST_F(SettingsStoreTest, WriteIntoMissingFolderFailsSilently) {
    const std::string target = path("no such folder/played.ini");
    store_.write(target, "t", "PlayCount", "1");
    EXPECT_TRUE(test::entriesOf(dir_.path()).empty());
    EXPECT_EQ(store_.read(target, "t", "PlayCount", "0"), "0");
    {
        EventScope event(store_);
        store_.write(target, "t", "PlayCount", "1");
    }
    EXPECT_TRUE(test::entriesOf(dir_.path()).empty());
    EXPECT_EQ(store_.read(target, "t", "PlayCount", "0"), "0");
}

// Each case puts something in the way of the flush; the original must stay byte for byte, the
// store must read what the disk holds afterwards, and no temporary file may be left.
class FailingFlushTest : public SettingsStoreTest {
  protected:
    void SetUp() override { writeFile(dir_ / "played.ini", original_); }

    void expectOriginalKept(const std::set<std::string>& expectedEntries) {
        store_.write(path("played.ini"), "t", "PlayCount", "2");
        EXPECT_EQ(readFile(dir_ / "played.ini"), original_);
        EXPECT_EQ(store_.read(path("played.ini"), "t", "PlayCount", "0"), "1");
        EXPECT_EQ(test::entriesOf(dir_.path()), expectedEntries);
    }

    const std::string original_ = "; keep me\r\n[t]\r\nPlayCount=1\r\n";
};

TEST_F(FailingFlushTest, TemporaryFilePlaceTakenByAFolder) {
    const std::string temp = fs::path(unfinishedPath(path("played.ini"), "tmp")).filename();
    fs::create_directories(dir_ / temp / "inside");
    expectOriginalKept({"played.ini", temp});
}

TEST_F(FailingFlushTest, AFailedFlushIsReportedWithThePathAndTheReason) {
    std::vector<std::pair<std::string, int>> reported;
    store_.onWriteFailure(
        [&reported](const std::string& file, int err) { reported.emplace_back(file, err); });
    const std::string temp = fs::path(unfinishedPath(path("played.ini"), "tmp")).filename();
    fs::create_directories(dir_ / temp / "inside");
    store_.write(path("played.ini"), "t", "PlayCount", "2");
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported[0].first, path("played.ini"));
    EXPECT_EQ(reported[0].second, EEXIST) << "the temporary file's place is taken";
    store_.onWriteFailure({});
    store_.write(path("played.ini"), "t", "PlayCount", "3");
    EXPECT_EQ(reported.size(), 1u) << "no calls once the handler is gone";
}

TEST_F(FailingFlushTest, ReadOnlyFolder) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not stop the superuser";
    }
    fs::permissions(dir_.path(), fs::perms::owner_read | fs::perms::owner_exec);
    expectOriginalKept({"played.ini"});
    fs::permissions(dir_.path(), fs::perms::owner_all);
}

TEST_F(SettingsStoreTest, FolderThatIsAFileFailsSilently) {
    writeFile(dir_ / "plain", "not a folder");
    store_.write(path("plain/played.ini"), "t", "PlayCount", "1");
    EXPECT_EQ(readFile(dir_ / "plain"), "not a folder");
    EXPECT_EQ(store_.read(path("plain/played.ini"), "t", "PlayCount", "0"), "0");
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"plain"});
}

TEST_F(SettingsStoreTest, FolderInPlaceOfTheFileReadsDefaultsAndIsLeftAlone) {
    fs::create_directories(dir_ / "played.ini" / "inside");
    EXPECT_EQ(store_.read(path("played.ini"), "t", "PlayCount", "0"), "0");
    store_.write(path("played.ini"), "t", "PlayCount", "1");
    EXPECT_TRUE(fs::is_directory(dir_ / "played.ini" / "inside"));
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"played.ini"});
}

TEST_F(SettingsStoreTest, LeftoverTemporaryFileIsRemovedByTheNextFlush) {
    writeFile(unfinishedPath(path("played.ini"), "tmp"), "[t]\nPlayCount=half a fi");
    store_.write(path("played.ini"), "t", "PlayCount", "1");
    EXPECT_EQ(test::entriesOf(dir_.path()), std::set<std::string>{"played.ini"});
    EXPECT_EQ(readFile(dir_ / "played.ini"), "[t]\nPlayCount=1\n");
}

TEST_F(SettingsStoreTest, FlushWritesANewFileAndNeverTouchesTheOldOne) {
    // A reader holding the old file keeps reading the old contents after the flush.
    writeFile(dir_ / "played.ini", "[t]\nPlayCount=1\n");
    std::FILE* old = std::fopen(path("played.ini").c_str(), "rb");
    ASSERT_NE(old, nullptr);
    store_.write(path("played.ini"), "t", "PlayCount", "2");
    char buffer[64] = {};
    const std::size_t got = std::fread(buffer, 1, sizeof buffer - 1, old);
    std::fclose(old);
    EXPECT_EQ(std::string(buffer, got), "[t]\nPlayCount=1\n");
    EXPECT_EQ(readFile(dir_ / "played.ini"), "[t]\nPlayCount=2\n");
}

}  // namespace
}  // namespace tw::core

namespace tw::core {
namespace {

TEST(SettingsStoreEventTest, AChangeOnDiskShowsAtTheNextEventNotInTheMiddleOfOne) {
    test::TempDir dir;
    const std::string file = (dir / "played.ini").string();
    test::writeFile(file, "[T]\nLastPlayed=1\n");
    SettingsStore store;
    store.beginEvent();
    EXPECT_EQ(store.read(file, "T", "LastPlayed", ""), "1");
    test::writeFile(file, "[T]\nLastPlayed=22\n");
    EXPECT_EQ(store.read(file, "T", "LastPlayed", ""), "1") << "one look at the disk per event";
    store.endEvent();
    store.beginEvent();
    EXPECT_EQ(store.read(file, "T", "LastPlayed", ""), "22");
    store.endEvent();
    test::writeFile(file, "[T]\nLastPlayed=333\n");
    EXPECT_EQ(store.read(file, "T", "LastPlayed", ""), "333") << "outside events every read looks";
}

}  // namespace
}  // namespace tw::core

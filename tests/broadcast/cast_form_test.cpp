// The encoder profiles and the form frmCast.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "broadcast/connect_runner.h"
#include "tests/broadcast/cast_fixture.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;
using namespace broadcast;

class CastFormTest : public CastFixture {};

TEST_F(CastFormTest, AFreshSettingsFileGivesEncoderOneEnabledTypeNoneMp3At128AndTheOthersOff) {
    open();
    EXPECT_TRUE(getEncoderEnabled(*console, 0));
    for (int i = 1; i < 12; ++i) {
        EXPECT_FALSE(getEncoderEnabled(*console, i)) << i;
    }
    const auto& p = console->cast->profiles[0];
    EXPECT_EQ(p.severType, "0");
    EXPECT_EQ(p.EncoderType, "0");
    EXPECT_EQ(p.bitRate, "128");
    EXPECT_EQ(p.severPath, "Enter Sever Path");
    EXPECT_EQ(p.PW, " ");
    EXPECT_EQ(p.Name, "Station Name");
    EXPECT_EQ(form().cmboServerType.text, "None");
    EXPECT_EQ(form().Options[0].value, 1);
    EXPECT_EQ(form().cmbBitrate.text, "128");
    EXPECT_EQ(form().cmbBitrate.listCount(), 14);
    EXPECT_EQ(form().lblShowStatus.caption, "Not Connected");
    EXPECT_FALSE(form().frmCast.visible);
    EXPECT_EQ(form().frmCast.caption, "Shoutcast/Icecast Server Settings");
}

TEST_F(CastFormTest, LoadingOpensTheDefaultRecordingDeviceQuietly) {
    open();
    EXPECT_EQ(engine.count("recordInit -1"), 1);
    EXPECT_TRUE(prompter.shown().empty());
}

TEST_F(CastFormTest, WithoutARecordingDeviceLoadingSaysSoAndGoesOn) {
    make();
    broadcast::loadCastForm(*console);
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].text,
              "Can't initialize recording device,please connect Mic or Line In to Start");
    EXPECT_EQ(form().frmCast.caption, "Shoutcast/Icecast Server Settings");
}

TEST_F(CastFormTest, EncoderTwelveLivesInSectionShoutcast11) {
    EXPECT_EQ(profileSection(0), "Shoutcast");
    EXPECT_EQ(profileSection(11), "Shoutcast11");
    open();
    setProfile(11, "Enabled", "1");
    setProfile(11, "URL", "http://twelve");
    loadEncoderDataFromIni(*console);
    EXPECT_TRUE(getEncoderEnabled(*console, 11));
    EXPECT_EQ(getStationURL(*console, 11), "http://twelve");
    cmdSettings_Click(*console);
    cmdEncoders_Click(*console, 11);
    EXPECT_EQ(console->cast->selectedEncoder, 12);
    form().txtGenre.text = "Blues";
    markSettingsChanged(*console);
    cmdSave_Click(*console);
    EXPECT_EQ(profileValue(11, "Genre"), "Blues");
}

TEST_F(CastFormTest, SelectingOggAndSavingStoresTwoAndTheNextDisplaySelectsTheThirdButton) {
    open();
    cmdSettings_Click(*console);
    form().Options[0].value = 0;
    form().Options[1].value = 1;  // "OGG"
    markSettingsChanged(*console);
    cmdSave_Click(*console);
    EXPECT_EQ(profileValue(0, "EncoderType"), "2");
    showEncoderSettings(*console, 0);
    EXPECT_EQ(form().Options[2].value, 1);
    EXPECT_EQ(form().Options[1].value, 0);
}

TEST_F(CastFormTest, AClickOnSaveLeavesTheFormOpenWithTheCaptionCloseAndTheNextClickHidesIt) {
    open();
    cmdSettings_Click(*console);
    ASSERT_TRUE(form().frmCast.visible);
    EXPECT_EQ(form().cmdSave.tag, "close");
    form().txtName.text = "Tarn FM";
    markSettingsChanged(*console);
    EXPECT_EQ(form().cmdSave.tag, "");
    ASSERT_FALSE(form().cmdSave.drawing.texts.empty());
    EXPECT_EQ(form().cmdSave.drawing.texts[0].text, "Save");
    cmdSave_Click(*console);
    EXPECT_TRUE(form().frmCast.visible);
    EXPECT_EQ(form().cmdSave.drawing.texts[0].text, "Close");
    EXPECT_EQ(profileValue(0, "Name"), "Tarn FM");
    cmdSave_Click(*console);
    EXPECT_FALSE(form().frmCast.visible);
}

TEST_F(CastFormTest, SwitchingToTypeOneHidesMountAndStationIdButASaveWritesTheirValuesBack) {
    open();
    setProfile(0, "severMount", "/live");
    setProfile(0, "severID", "7");
    cmdSettings_Click(*console);
    cmboServerType_Click(*console, 1);
    EXPECT_FALSE(form().txtMountPoint.visible);
    EXPECT_FALSE(form().lblMount.visible);
    EXPECT_FALSE(form().txtStationID.visible);
    EXPECT_TRUE(form().cmdKickSource.visible);
    cmdSave_Click(*console);
    EXPECT_EQ(profileValue(0, "severType"), "1");
    EXPECT_EQ(profileValue(0, "severMount"), "/live");
    EXPECT_EQ(profileValue(0, "severID"), "7");
}

TEST_F(CastFormTest, ServerTypeRulesShowWhatEachTypeNeedsAndNoneChangesNothing) {
    open();
    struct Case {
        int type;
        bool mount, sid, kick;
    } cases[] = {{1, false, false, true},
                 {2, false, true, true},
                 {3, false, false, false},
                 {4, true, false, false},
                 {5, true, false, false}};
    for (const Case& k : cases) {
        applyServerTypeRules(*console, k.type);
        EXPECT_EQ(form().txtMountPoint.visible, k.mount) << k.type;
        EXPECT_EQ(form().lblMount.visible, k.mount) << k.type;
        EXPECT_EQ(form().txtStationID.visible, k.sid) << k.type;
        EXPECT_EQ(form().lblSid.visible, k.sid) << k.type;
        EXPECT_EQ(form().cmdKickSource.visible, k.kick) << k.type;
    }
    applyServerTypeRules(*console, 0);  // as type 5 left them
    EXPECT_TRUE(form().txtMountPoint.visible);
    EXPECT_FALSE(form().cmdKickSource.visible);
}

TEST_F(CastFormTest, TheSaveWritesTheKeysInTheirOrderWithEncoderTypeLast) {
    open();
    cmdSettings_Click(*console);
    cmdSave_Click(*console);
    settings.flush();
    std::ifstream in(appSettingsFile());
    std::vector<std::string> keys;
    bool inSection = false;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.rfind("[", 0) == 0) {
            inSection = line == "[Shoutcast]";
        } else if (inSection && line.find('=') != std::string::npos) {
            keys.push_back(line.substr(0, line.find('=')));
        }
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"severPath", "severPort", "severID", "severType",
                                              "severMount", "PW", "Name", "URL", "Genre",
                                              "Description", "bitRate", "autoReConnect",
                                              "makePublic", "Enabled", "EncoderType"}));
}

TEST_F(CastFormTest, TheSettingsFileThatHoldsThePasswordsIsPrivate) {
    open();
    cmdSettings_Click(*console);
    form().txtPassword.text = "s3cret";
    cmdSave_Click(*console);
    settings.flush();
    struct stat st {};
    ASSERT_EQ(::stat(appSettingsFile().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

// The demo station's settings file, made by its script before the console ever ran, readable by
// every user of the machine: the password saved in the cast window never lands in it as it was.
TEST_F(CastFormTest, ASaveIntoASettingsFileOthersCanReadMakesItPrivateFirst) {
    test::writeFile(dir / "appSettings.ini", "[ArtistSeperation]\r\nHours=0.5\r\n");
    fs::permissions(dir / "appSettings.ini", static_cast<fs::perms>(0644));
    open();
    cmdSettings_Click(*console);
    form().txtPassword.text = "s3cret-of-the-demo";
    cmdSave_Click(*console);
    settings.flush();
    struct stat st {};
    ASSERT_EQ(::stat(appSettingsFile().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    EXPECT_NE(test::readFile(dir / "appSettings.ini").find("PW=s3cret-of-the-demo"),
              std::string::npos);
    const auto lines = appLogLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("TarnWave made " + appSettingsFile() +
                            " readable by its owner only: other users could read it (mode 0644)"),
              std::string::npos)
        << lines[0];
    EXPECT_EQ(lines[0].find("s3cret"), std::string::npos);
}

TEST_F(CastFormTest, EncoderOneCannotBeSwitchedOffOnTheForm) {
    open();
    cmdSettings_Click(*console);
    EXPECT_FALSE(form().chkEnableEncoder.visible);
    cmdEncoders_Click(*console, 3);
    EXPECT_TRUE(form().chkEnableEncoder.visible);
    ASSERT_FALSE(form().cmdEncoders[3].drawing.fills.empty());
    EXPECT_EQ(form().cmdEncoders[3].drawing.fills[0].image, core::ImageRole::Green);
    EXPECT_EQ(form().cmdEncoders[0].drawing.fills[0].image, core::ImageRole::Gray);
}

TEST_F(CastFormTest, SwitchingAnEncoderOffForgetsItsHandleBeforeTheStopAsTheProgramDoes) {
    open();
    setProfile(2, "Enabled", "1");
    cmdSettings_Click(*console);
    cmdEncoders_Click(*console, 2);
    console->encoderHandles[2] = 0x40000009u;
    chkEnableEncoder_Click(*console);  // the tick goes off and is saved at once
    EXPECT_EQ(profileValue(2, "Enabled"), "0");
    EXPECT_EQ(console->encoderHandles[2], 0u);
    EXPECT_EQ(engine.count("encodeStop 0"), 1) << "the stop goes to the emptied handle";
    EXPECT_EQ(engine.count("encodeStop 1073741833"), 0);
}

TEST_F(CastFormTest, SwitchesReadAsTheProgramReadsThem) {
    EXPECT_TRUE(readsAsTrue("1"));
    EXPECT_TRUE(readsAsTrue("-1"));
    EXPECT_TRUE(readsAsTrue("True"));
    EXPECT_FALSE(readsAsTrue("0"));
    EXPECT_FALSE(readsAsTrue("False"));
    EXPECT_FALSE(readsAsTrue(""));
}

}  // namespace
}  // namespace tw::test

// The tarnwave program itself, started as an operator or a service would start it.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QThread>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

QString program() {
    return QString::fromStdString(test::binaryDir() + "/app/tarnwave");
}

class TarnwaveProgramTest : public ::testing::Test {
  protected:
    // The station in a folder of its own, so that the station folder is exactly what the program
    // made of it.
    void SetUp() override {
        station = dir / "station";
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TARNWAVE_HOME", QString::fromStdString(station.string()));
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(QString::fromStdString(dir.str()));
    }

    void removeDisplay() {
        QProcessEnvironment env = process.processEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        env.remove("QT_QPA_PLATFORM");
        process.setProcessEnvironment(env);
    }

    std::string appLog() const { return test::readFile(station / "app.log"); }

    // Waits until app.log holds text, at most seconds.
    bool waitForLog(const std::string& text, int seconds) {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < qint64{seconds} * 1000) {
            if (appLog().find(text) != std::string::npos) {
                return true;
            }
            QThread::msleep(50);
        }
        return false;
    }

    test::TempDir dir;
    fs::path station;
    QProcess process;
};

TEST_F(TarnwaveProgramTest, RunsLoadsAndQuitsCleanlyWithAScreenshot) {
    process.start(program(), {"--quit-after", "2", "--screenshot", "shot.png"});
    ASSERT_TRUE(process.waitForStarted(10000)) << process.errorString().toStdString();
    ASSERT_TRUE(process.waitForFinished(60000)) << "still running after 60 s";
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();

    for (const char* folder : {"Music", "Rotations", "Sweepers", "Playlist"}) {
        EXPECT_TRUE(fs::is_directory(station / folder)) << folder;
    }
    const std::string log = appLog();
    const auto started = log.find("TarnWave Started");
    const auto unloaded = log.find("TarnWave Unloaded");
    ASSERT_NE(started, std::string::npos) << log;
    ASSERT_NE(unloaded, std::string::npos) << log;
    EXPECT_LT(started, unloaded);

    const fs::path shot = dir / "shot.png";
    ASSERT_TRUE(fs::exists(shot));
    EXPECT_GT(fs::file_size(shot), 0u);
    const QImage image(QString::fromStdString(shot.string()));
    ASSERT_FALSE(image.isNull()) << "not a PNG Qt can read";
    EXPECT_EQ(image.size(), QSize(896, 641));
}

TEST_F(TarnwaveProgramTest, TerminationSignalUnloadsTheConsole) {
    process.start(program(), {});
    ASSERT_TRUE(process.waitForStarted(10000));
    ASSERT_TRUE(waitForLog("TarnWave Started", 30)) << appLog();
    process.terminate();  // SIGTERM
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_NE(appLog().find("TarnWave Unloaded"), std::string::npos) << appLog();
}

TEST_F(TarnwaveProgramTest, InterruptUnloadsTheConsole) {
    process.start(program(), {});
    ASSERT_TRUE(process.waitForStarted(10000));
    ASSERT_TRUE(waitForLog("TarnWave Started", 30)) << appLog();
    ASSERT_EQ(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_NE(appLog().find("TarnWave Unloaded"), std::string::npos) << appLog();
}

TEST_F(TarnwaveProgramTest, WithoutADisplayItRunsHeadlessAndSaysWhereToLook) {
    removeDisplay();
    process.start(program(), {"--quit-after", "0.5"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    const std::string out = process.readAllStandardOutput().toStdString();
    EXPECT_NE(out.find("headless"), std::string::npos) << out;
    EXPECT_NE(out.find(station.string()), std::string::npos) << out;
    EXPECT_NE(out.find((station / "app.log").string()), std::string::npos) << out;
    EXPECT_NE(out.find((station / "Played.log").string()), std::string::npos) << out;
}

TEST_F(TarnwaveProgramTest, StationFolderWithATrailingSlashGivesPlainPaths) {
    removeDisplay();
    QProcessEnvironment env = process.processEnvironment();
    env.insert("TARNWAVE_HOME", QString::fromStdString(station.string() + "/"));
    process.setProcessEnvironment(env);
    process.start(program(), {"--quit-after", "0"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0);
    const std::string out = process.readAllStandardOutput().toStdString();
    EXPECT_NE(out.find((station / "app.log").string()), std::string::npos) << out;
    EXPECT_EQ(out.find("//"), std::string::npos) << out;
}

TEST_F(TarnwaveProgramTest, StationFolderIsMadeWhenMissing) {
    ASSERT_FALSE(fs::exists(station));
    process.start(program(), {"--quit-after", "0"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(fs::is_directory(station / "Music"));
}

TEST_F(TarnwaveProgramTest, UnknownArgumentIsRefusedWithItsName) {
    process.start(program(), {"--no-such-thing"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 2);
    EXPECT_NE(process.readAllStandardError().toStdString().find("--no-such-thing"),
              std::string::npos);
    EXPECT_FALSE(fs::exists(station / "app.log")) << "refused before loading anything";
}

TEST_F(TarnwaveProgramTest, HeadlessRunsWithoutAWindowAlsoWhereThereIsADisplay) {
    // A display that is named but is not there: Qt would give up on it, were it asked to open it.
    QProcessEnvironment env = process.processEnvironment();
    env.insert("DISPLAY", ":9876");
    env.insert("QT_QPA_PLATFORM", "xcb");
    process.setProcessEnvironment(env);
    process.start(program(), {"--headless", "--quit-after", "0.5"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    const std::string out = process.readAllStandardOutput().toStdString();
    EXPECT_NE(out.find("headless (--headless)"), std::string::npos) << out;
    EXPECT_NE(appLog().find("TarnWave Unloaded"), std::string::npos) << appLog();
}

TEST_F(TarnwaveProgramTest, FromAProgramFolderItCannotWriteItMakesItsStationInTheDataFolder) {
    const fs::path bin = dir / "installed";
    fs::create_directories(bin);
    fs::copy_file(program().toStdString(), bin / "tarnwave");
    fs::permissions(bin, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    QProcessEnvironment env = process.processEnvironment();
    env.remove("TARNWAVE_HOME");
    env.insert("XDG_DATA_HOME", QString::fromStdString((dir / "data").string()));
    process.setProcessEnvironment(env);
    process.start(QString::fromStdString((bin / "tarnwave").string()),
                  {"--headless", "--quit-after", "0"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();

    const fs::path made = dir / "data/tarnwave/station";
    for (const char* folder : {"Music", "Rotations", "Sweepers", "Playlist"}) {
        EXPECT_TRUE(fs::is_directory(made / folder)) << folder;
    }
    EXPECT_NE(test::readFile(made / "app.log").find("TarnWave Started"), std::string::npos);
    const std::string out = process.readAllStandardOutput().toStdString();
    EXPECT_NE(out.find("station folder: " + made.string()), std::string::npos) << out;
    EXPECT_NE(out.find("New station in " + made.string()), std::string::npos) << out;
    EXPECT_FALSE(fs::exists(bin / "app.log")) << "nothing was written beside the program";
    fs::permissions(bin, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(TarnwaveProgramTest, BadQuitAfterValueIsRefused) {
    process.start(program(), {"--quit-after", "soon"});
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 2);
    EXPECT_NE(process.readAllStandardError().toStdString().find("soon"), std::string::npos);
}

}  // namespace
}  // namespace tw

// The command lines of the three programs, run as a user runs them: --help, --version, a wrong
// option, and --station beside $TARNWAVE_HOME.

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

struct Program {
    std::string name;
    std::string path;
};

std::vector<Program> programs() {
    const std::string app = test::binaryDir() + "/app/";
    std::vector<Program> list = {{"tarnwave-sim", app + "tarnwave-sim"},
                                 {"tarnwave-tag", app + "tarnwave-tag"}};
#if TW_WITH_VIEW
    list.insert(list.begin(), {"tarnwave", app + "tarnwave"});
#endif
    return list;
}

struct Outcome {
    int status = -1;
    std::string out, err;
};

class ProgramOptionsTest : public ::testing::TestWithParam<Program> {
  protected:
    ProgramOptionsTest() {
        env.insert("TARNWAVE_HOME", QString::fromStdString((dir / "home-station").string()));
    }

    // With no input file, a program that reads its standard input finds its end at once.
    Outcome run(const QStringList& args, const fs::path& input = {}) {
        QProcess p;
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(QString::fromStdString(dir.str()));
        if (!input.empty()) {
            p.setStandardInputFile(QString::fromStdString(input.string()));
        }
        p.start(QString::fromStdString(GetParam().path), args);
        p.closeWriteChannel();
        Outcome r;
        if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit) {
            p.kill();
            p.waitForFinished();
            ADD_FAILURE() << GetParam().name << " did not end by itself";
            return r;
        }
        r.status = p.exitCode();
        r.out = p.readAllStandardOutput().toStdString();
        r.err = p.readAllStandardError().toStdString();
        return r;
    }

    // The folders a run made in the test's folder, by name.
    std::vector<std::string> foldersMade() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir.path())) {
            names.push_back(e.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    test::TempDir dir;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
};

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_P(ProgramOptionsTest, HelpPrintsTheUsageOnStandardOutput) {
    for (const char* help : {"--help", "-h"}) {
        const Outcome r = run({help});
        EXPECT_EQ(r.status, 0) << help;
        EXPECT_EQ(r.out.rfind("usage: " + GetParam().name + " ", 0), 0u) << r.out;
        EXPECT_NE(r.out.find("--version"), std::string::npos) << r.out;
        EXPECT_EQ(r.err, "");
    }
    EXPECT_TRUE(foldersMade().empty()) << "no station is made for --help";
}

TEST_P(ProgramOptionsTest, VersionPrintsTheNameAndTheProjectsVersion) {
    const Outcome r = run({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, GetParam().name + " " + TW_VERSION + "\n");
    EXPECT_TRUE(
        std::regex_match(r.out, std::regex(GetParam().name + " [0-9]+\\.[0-9]+\\.[0-9]+\n")))
        << r.out;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(foldersMade().empty()) << "no station is made for --version";
}

TEST_P(ProgramOptionsTest, AnUnknownOptionIsOneLineOnStandardErrorAndStatusTwo) {
    const Outcome r = run({"--no-such-option"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(lineCount(r.err), 1u) << r.err;
    EXPECT_EQ(r.err.rfind(GetParam().name + ": ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("--no-such-option"), std::string::npos) << r.err;
    EXPECT_TRUE(foldersMade().empty()) << "refused before anything was made";
}

TEST_P(ProgramOptionsTest, AnOptionWithoutItsValueIsOneLineAndStatusTwo) {
    const std::string option = GetParam().name == "tarnwave-tag" ? "--set" : "--station";
    const Outcome r = run({QString::fromStdString(option)});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(lineCount(r.err), 1u) << r.err;
    EXPECT_NE(r.err.find(option), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(Programs, ProgramOptionsTest, ::testing::ValuesIn(programs()),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// --station beside $TARNWAVE_HOME, on the programs that run a station.
class StationOptionTest : public ProgramOptionsTest {};

TEST_P(StationOptionTest, StationWinsOverTarnwaveHome) {
    const fs::path named = dir / "named-station";
    QStringList args = {"--station", QString::fromStdString(named.string())};
    if (GetParam().name == "tarnwave") {
        args << "--headless"
             << "--quit-after"
             << "0";
    } else {
        test::writeFile(dir / "scenario", "load\nunload\n");
        args << QString::fromStdString((dir / "scenario").string());
    }
    const Outcome r = run(args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(test::readFile(named / "app.log").find("TarnWave Started"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir / "home-station")) << "$TARNWAVE_HOME was left alone";
}

TEST_P(StationOptionTest, TarnwaveHomeIsTheStationWhenNoneIsNamed) {
    QStringList args;
    if (GetParam().name == "tarnwave") {
        args << "--headless"
             << "--quit-after"
             << "0";
    }
    // The simulator's scenario comes on its standard input.
    test::writeFile(dir / "scenario", "load\nunload\n");
    const Outcome r = run(args, dir / "scenario");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(test::readFile(dir / "home-station/app.log").find("TarnWave Started"),
              std::string::npos);
}

std::vector<Program> stationPrograms() {
    std::vector<Program> list = programs();
    list.erase(std::remove_if(list.begin(), list.end(),
                              [](const Program& p) { return p.name == "tarnwave-tag"; }),
               list.end());
    return list;
}

INSTANTIATE_TEST_SUITE_P(Programs, StationOptionTest, ::testing::ValuesIn(stationPrograms()),
                         [](const auto& info) {
                             std::string name = info.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace tw

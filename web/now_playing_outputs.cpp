#include "web/now_playing_outputs.h"

#include <cerrno>
#include <vector>

#include "audio/child_process.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/program_runner.h"

namespace tw::web {

bool replaceQuickly(const std::string& path, const std::string& bytes) {
    return core::replaceFile(path, bytes, core::FileAccess::kKeepMode, core::Durability::kUnsynced)
        .has_value();
}

void writeNowPlayingFiles(core::Console& c, const std::string& line, const std::string& json) {
    bool failed = false;
    for (const auto& [name, bytes] :
         {std::pair{kNowPlayingText, line + "\n"}, std::pair{kNowPlayingJson, json + "\n"}}) {
        const std::string path = c.AppFolder + "/" + name;
        if (!replaceQuickly(path, bytes)) {
            core::noteWriteFailure(c, path, errno);
            failed = true;
        }
    }
    if (!failed) {
        core::noteWriteSuccess(c);
    }
}

void NowPlayingCommand::run(core::Console& c, const std::string& artist, const std::string& title,
                            long seconds) {
    std::vector<std::string> argv = audio::splitCommandLine(commandLine_);
    if (argv.empty()) {
        return;
    }
    const std::string program = argv.front();
    if (runs_->running) {
        if (!runs_->busyTold) {
            runs_->busyTold = true;
            core::logError(c, "Now playing: " + program +
                                  " is still running; the starts are not passed on until it ends");
        }
        return;
    }
    argv.insert(argv.end(), {artist, title, std::to_string(seconds)});
    if (!c.programs) {
        c.programs = std::make_shared<core::ProgramRunner>(*c.svc.loop);
    }
    core::ProgramJob job;
    job.argv = std::move(argv);
    job.folder = c.AppFolder;
    runs_->running = true;
    const bool started =
        c.programs->start(std::move(job), [&c, program, runs = runs_](const core::ProgramEnd& end) {
            runs->running = false;
            runs->busyTold = false;
            if (!end.whole()) {
                core::logError(c, "Now playing: " + end.describe(program));
            }
        });
    if (!started) {
        runs_->running = false;
        core::logError(c, "Now playing: " + program + " could not be started");
    }
}

}  // namespace tw::web

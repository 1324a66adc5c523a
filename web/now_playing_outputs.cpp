#include "web/now_playing_outputs.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "audio/child_process.h"
#include "core/console_ops.h"
#include "core/program_runner.h"
#include "core/unfinished_files.h"

namespace tw::web {

bool replaceQuickly(const std::string& path, const std::string& bytes) {
    const std::string temp = core::unfinishedPath(path, "tmp");
    ::unlink(temp.c_str());
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    std::size_t done = 0;
    bool ok = true;
    while (ok && done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            errno = n == 0 ? ENOSPC : errno;
            ok = false;
        } else {
            done += static_cast<std::size_t>(n);
        }
    }
    int err = ok ? 0 : errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (ok && ::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        ::unlink(temp.c_str());
        errno = err;
    }
    return ok;
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

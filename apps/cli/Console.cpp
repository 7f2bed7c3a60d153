#include "Console.h"

#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace cli {

namespace {

struct SavedStderr {
    int fd = STDERR_FILENO;
    std::FILE* file = stderr;
};

// Made on first use, which QuietDecoders makes sure comes before any silencing.
const SavedStderr& savedStderr()
{
    static const SavedStderr saved = [] {
        SavedStderr s;
        const int fd = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        if (fd < 0)
            return s; // no standard error to keep apart: nothing will be silenced either
        std::FILE* file = fdopen(fd, "w");
        if (!file) {
            close(fd);
            return s;
        }
        // Unbuffered like stderr, so messages keep their order with everything else.
        std::setvbuf(file, nullptr, _IONBF, 0);
        s.fd = fd;
        s.file = file;
        return s;
    }();
    return saved;
}

std::mutex quietMutex;
int quietHolders = 0;
int devNull = -1;

} // namespace

std::FILE* userErr()
{
    return savedStderr().file;
}

bool userErrIsTerminal()
{
    return isatty(savedStderr().fd) == 1;
}

QuietDecoders::QuietDecoders()
{
    const SavedStderr& saved = savedStderr();
    std::lock_guard<std::mutex> lock(quietMutex);
    if (quietHolders++ > 0 || saved.fd == STDERR_FILENO)
        return;
    std::fflush(stderr);
    devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (devNull >= 0)
        dup2(devNull, STDERR_FILENO);
}

QuietDecoders::~QuietDecoders()
{
    const SavedStderr& saved = savedStderr();
    std::lock_guard<std::mutex> lock(quietMutex);
    if (--quietHolders > 0 || devNull < 0)
        return;
    std::fflush(stderr);
    dup2(saved.fd, STDERR_FILENO);
    close(devNull);
    devNull = -1;
}

cv::Mat readImage(const std::string& path)
{
    const QuietDecoders quiet;
    return frontend::loadImage(path);
}

} // namespace cli

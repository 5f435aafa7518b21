// The child the runner tests start on purpose:
//   exit N err out  writes err to stderr and out to stdout, then exits with N;
//   flood MiB KiB   writes that much to stdout and stderr without waiting for a reader;
//   crash           aborts, leaving no core file behind;
//   group           writes its process group and its pid to stderr;
//   deathsig        writes the signal it gets when its parent dies (Linux) to stderr.
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    const char* mode = argc > 1 ? argv[1] : "";
    if (!std::strcmp(mode, "exit") && argc > 4) {
        std::fputs(argv[3], stderr);
        std::fputs(argv[4], stdout);
        return std::atoi(argv[2]);
    }
    if (!std::strcmp(mode, "group")) {
        std::fprintf(stderr, "%d %d", static_cast<int>(getpgrp()), static_cast<int>(getpid()));
        return 0;
    }
#ifdef __linux__
    if (!std::strcmp(mode, "deathsig")) {
        int sig = 0;
        prctl(PR_GET_PDEATHSIG, &sig);
        std::fprintf(stderr, "%d", sig);
        return 0;
    }
#endif
    if (!std::strcmp(mode, "crash")) {
        const rlimit noCore {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        std::abort();
    }
    if (!std::strcmp(mode, "flood") && argc > 3) {
        static char out[1 << 20], err[1 << 10];
        std::memset(out, 'o', sizeof out);
        std::memset(err, 'e', sizeof err);
        for (long i = std::atol(argv[2]); i > 0; --i)
            std::fwrite(out, 1, sizeof out, stdout);
        for (long i = std::atol(argv[3]); i > 0; --i)
            std::fwrite(err, 1, sizeof err, stderr);
        std::fputs("flood done", stderr);
    }
    return 0;
}

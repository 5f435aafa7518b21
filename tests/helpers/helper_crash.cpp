// Writes "about to crash" to stderr and dies of SIGABRT (no core file).
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>

int main()
{
    const rlimit noCore {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::fputs("about to crash", stderr);
    std::fflush(stderr);
    std::abort();
}

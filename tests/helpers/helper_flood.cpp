// Writes argv[1] MiB to stdout and argv[2] KiB to stderr without waiting for a reader,
// then "flood done" to stderr; exits 0.
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    const long mib = argc > 1 ? std::atol(argv[1]) : 8;
    const long kib = argc > 2 ? std::atol(argv[2]) : 64;
    static char block[1024];
    std::memset(block, 'o', sizeof block);
    for (long i = 0; i < mib * 1024; ++i)
        std::fwrite(block, 1, sizeof block, stdout);
    std::memset(block, 'e', sizeof block);
    for (long i = 0; i < kib; ++i)
        std::fwrite(block, 1, sizeof block, stderr);
    std::fputs("flood done", stderr);
    return 0;
}

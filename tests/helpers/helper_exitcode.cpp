// Writes argv[2] to stderr and argv[3] to stdout, then exits with the code in argv[1].
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc > 2)
        std::fputs(argv[2], stderr);
    if (argc > 3)
        std::fputs(argv[3], stdout);
    return argc > 1 ? std::atoi(argv[1]) : 0;
}

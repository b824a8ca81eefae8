// Runs a program and tells what it took: measure PROGRAM [ARGUMENT ...].
//
// Writes one line to the error output: seconds from start to end, peak memory in KiB. A program of its own, since the
// system counts the memory of whoever starts a program into the program's peak, and an interpreter has some.

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: measure PROGRAM [ARGUMENT ...]\n");
        return EXIT_FAILURE;
    }
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (const int failure = posix_spawn(&child, argv[1], nullptr, nullptr, argv + 1, environ); failure != 0) {
        std::fprintf(stderr, "%s: %s\n", argv[1], std::strerror(failure));
        return EXIT_FAILURE;
    }
    int status = 0;
    rusage usage = {};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::perror("measure");
            return EXIT_FAILURE;
        }
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "%.6f %ld\n", taken.count(), usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

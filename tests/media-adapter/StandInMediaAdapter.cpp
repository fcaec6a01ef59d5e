// A stand-in for the media adapter library: like the real one, loading it performs the command in MR_CMD and
// prints the answer; then it ends the helper process at once instead of letting it linger.
// "status" answers as a playing application would, "pause" succeeds, anything else fails on standard error.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

__attribute__((constructor)) void performCommand()
{
    const char* command = std::getenv("MR_CMD");
    if (command && std::strcmp(command, "status") == 0) {
        std::printf("playing=1 app=com.example.player\n");
        std::fflush(stdout);
        _exit(0);
    }
    if (command && std::strcmp(command, "pause") == 0) {
        std::printf("paused\n");
        std::fflush(stdout);
        _exit(0);
    }
    std::fprintf(stderr, "no paused player to play (command %s)\n", command ? command : "none");
    std::fflush(stderr);
    _exit(3);
}

}  // namespace

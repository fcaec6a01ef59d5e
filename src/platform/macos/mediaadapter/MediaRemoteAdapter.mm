// libMediaRemoteAdapter.dylib: the media adapter the application loads into a short-lived /usr/bin/perl (see
// PerlMediaAdapter). Loading it runs the initialiser below, which reads the command from MR_CMD, carries it out
// against the system's Now Playing application through the private MediaRemote framework, prints the answer and
// ends the process; the perl script's `sleep 5` is only the upper bound.
//
//   status  prints "playing=1" or "playing=0" (and " pid=N" when the framework names the application)
//   pause   sends the pause command; prints "paused"
//   play    sends the play command; prints "playing"
// Exit status 0 on success; 2 when the framework or a command is missing; 3 when the framework refused or did not
// answer in time, with the reason on standard error.
//
// MediaRemote is private: its functions are looked up by name at run time and nothing links against it.
#import <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include <dispatch/dispatch.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* frameworkPath = "/System/Library/PrivateFrameworks/MediaRemote.framework/MediaRemote";
// MediaRemote's command numbers.
constexpr int commandPlay = 0;
constexpr int commandPause = 1;
// How long a reply may take before the adapter gives up (the perl script would end the process at 5 s).
constexpr int64_t answerTimeoutNanoseconds = 4 * NSEC_PER_SEC;
// A command is handed to the media service asynchronously; the process lingers this long before it ends.
constexpr int64_t deliveryNanoseconds = 250 * NSEC_PER_MSEC;

using IsPlayingFunction = void (*)(dispatch_queue_t, void (^)(Boolean));
using PidFunction = void (*)(dispatch_queue_t, void (^)(int));
using SendCommandFunction = Boolean (*)(int, id);

[[noreturn]] void finish(int status, const char* out, const char* err)
{
    if (out)
        std::fputs(out, stdout);
    if (err)
        std::fputs(err, stderr);
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(status);
}

dispatch_queue_t replyQueue() { return dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0); }

void exitAfterTimeout(const char* what)
{
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, answerTimeoutNanoseconds), replyQueue(), ^{
        char text[160];
        std::snprintf(text, sizeof text, "no answer from the media service to %s\n", what);
        finish(3, nullptr, text);
    });
}

void status(void* framework)
{
    const auto isPlaying =
        reinterpret_cast<IsPlayingFunction>(dlsym(framework, "MRMediaRemoteGetNowPlayingApplicationIsPlaying"));
    const auto pidOf = reinterpret_cast<PidFunction>(dlsym(framework, "MRMediaRemoteGetNowPlayingApplicationPID"));
    if (!isPlaying)
        finish(2, nullptr, "MRMediaRemoteGetNowPlayingApplicationIsPlaying is missing from MediaRemote\n");
    exitAfterTimeout("status");
    isPlaying(replyQueue(), ^(Boolean playing) {
        if (!pidOf) {
            finish(0, playing ? "playing=1\n" : "playing=0\n", nullptr);
        }
        pidOf(replyQueue(), ^(int pid) {
            char text[64];
            std::snprintf(text, sizeof text, "playing=%d pid=%d\n", playing ? 1 : 0, pid);
            finish(0, text, nullptr);
        });
    });
}

void send(void* framework, int command, const char* name, const char* done)
{
    const auto sendCommand = reinterpret_cast<SendCommandFunction>(dlsym(framework, "MRMediaRemoteSendCommand"));
    if (!sendCommand)
        finish(2, nullptr, "MRMediaRemoteSendCommand is missing from MediaRemote\n");
    if (!sendCommand(command, nil)) {
        char text[96];
        std::snprintf(text, sizeof text, "the media service refused %s\n", name);
        finish(3, nullptr, text);
    }
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, deliveryNanoseconds), replyQueue(), ^{
        finish(0, done, nullptr);
    });
}

// Runs when the library is loaded. Without MR_CMD it was loaded by something else and does nothing.
__attribute__((constructor)) void performCommand()
{
    const char* command = std::getenv("MR_CMD");
    if (!command)
        return;
    // Off the loader's thread: the initialiser returns at once and perl goes on to its sleep.
    const char* const copied = strdup(command);
    dispatch_async(replyQueue(), ^{
        void* framework = dlopen(frameworkPath, RTLD_LAZY);
        if (!framework) {
            char text[512];
            std::snprintf(text, sizeof text, "cannot load MediaRemote: %s\n", dlerror());
            finish(2, nullptr, text);
        }
        if (std::strcmp(copied, "status") == 0)
            status(framework);
        else if (std::strcmp(copied, "pause") == 0)
            send(framework, commandPause, "pause", "paused\n");
        else if (std::strcmp(copied, "play") == 0)
            send(framework, commandPlay, "play", "playing\n");
        else {
            char text[160];
            std::snprintf(text, sizeof text, "unknown command \"%.100s\" (status, pause or play)\n", copied);
            finish(2, nullptr, text);
        }
    });
}

}  // namespace

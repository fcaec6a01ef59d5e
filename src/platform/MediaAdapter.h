// The media remote: one command at a time ("status", "pause", "play"), answered with text or a failure.
#pragma once

#include <QString>

namespace tamsinvale {

// What one adapter command answered: its output text, or why it failed. Failures are values, never thrown.
struct MediaAdapterResult {
    bool ok = false;
    QString output;  // on success; "status" contains "playing=1" while the Now Playing application plays
    QString error;   // on failure, a text for the log

    static MediaAdapterResult success(const QString& output) { return {true, output, {}}; }
    static MediaAdapterResult failure(const QString& error) { return {false, {}, error}; }
};

// Carries out the media commands for the whole desktop: "status" tells whether the Now Playing application
// plays, "pause" pauses it and remembers it, "play" plays the one that was paused. On macOS a short-lived perl
// process loads the bundled adapter library with the command in MR_CMD; on Linux the players on the session
// bus are asked through MPRIS.
//
// run() is called on the media controller's serial queue, never on the main thread, and may block until the
// command is done; calls never overlap.
class MediaAdapter {
public:
    virtual ~MediaAdapter() = default;
    virtual MediaAdapterResult run(const QString& command) = 0;
};

}  // namespace tamsinvale

// What the settings window's permissions banner shows, from the monitor's state: its heading and one row per
// permission with its text, button and mark.
#pragma once

#include <QList>
#include <QString>

namespace tamsinvale {

class PermissionsMonitor;

struct PermissionRow {
    enum class State { granted, missing, grantedNeedsRelaunch };
    QString title;
    QString explanation;
    QString buttonTitle;
    State state = State::granted;
    QString symbol;  // the mark beside the row; empty while granted
    QString note;    // shown in place of the explanation when a relaunch is needed
};

struct PermissionsBanner {
    static const QString heading;
    static const QString headingSymbol;
    static const QString accessibilityExplanation;
    static const QString accessibilityButton;
    static const QString screenRecordingExplanation;
    static const QString screenRecordingButton;
    static const QString missingSymbol;
    static const QString relaunchSymbol;
    static const QString relaunchNote;

    // Shown while a permission is missing or Screen Recording waits for a relaunch.
    bool visible = false;
    PermissionRow accessibility;
    PermissionRow screenRecording;

    static PermissionsBanner from(const PermissionsMonitor& monitor);
};

}  // namespace tamsinvale

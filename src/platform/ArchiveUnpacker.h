// Unpacking a zip archive into a folder (ditto on macOS, libarchive on Linux).
#pragma once

#include <QString>

namespace tamsinvale {

struct UnpackResult {
    bool ok = false;
    QString error;  // why not, for the log
};

class ArchiveUnpacker {
public:
    virtual ~ArchiveUnpacker() = default;
    // Unpacks `archive` into the existing folder `destination`. May run off the main thread; blocks until done.
    virtual UnpackResult unpack(const QString& archive, const QString& destination) = 0;
};

}  // namespace tamsinvale

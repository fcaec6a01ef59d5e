// Unpacking on Linux with libarchive, treating every archive as hostile: entries stay inside the destination,
// only plain files and folders are made, and an archive that would unpack past the caps is refused.
#pragma once

#include <QtGlobal>

#include "platform/ArchiveUnpacker.h"

namespace tamsinvale {

class LibarchiveUnpacker : public ArchiveUnpacker {
public:
    struct Limits {
        qint64 maxEntries = 10000;
        qint64 maxBytes = qint64(1) << 30;  // what all files together may unpack to
    };

    LibarchiveUnpacker() = default;
    explicit LibarchiveUnpacker(Limits limits) : m_limits(limits) {}

    // Refuses (with the reason) absolute paths, ".." components, symbolic and hard links, devices and other
    // special entries, archives of more than `maxEntries` entries or `maxBytes` unpacked bytes. Refusal can come
    // after some files are written: the caller removes the destination either way.
    UnpackResult unpack(const QString& archive, const QString& destination) override;

private:
    Limits m_limits;
};

}  // namespace tamsinvale

// Unpacking on macOS: the system's "/usr/bin/ditto -x -k", which restores what the platform's archives carry.
#pragma once

#include "ArchiveUnpacker.h"

namespace tamsinvale {

class ExternalProcesses;

class DittoArchiveUnpacker : public ArchiveUnpacker {
public:
    explicit DittoArchiveUnpacker(ExternalProcesses& processes) : m_processes(processes) {}
    UnpackResult unpack(const QString& archive, const QString& destination) override;

private:
    ExternalProcesses& m_processes;
};

}  // namespace tamsinvale

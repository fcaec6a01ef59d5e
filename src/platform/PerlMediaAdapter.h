// The media commands on macOS: a short-lived perl process loads the bundled adapter library, whose initialiser
// reads the command from MR_CMD, carries it out against the system's Now Playing application and prints the
// answer. Loading the library into a helper process keeps the private framework it uses out of ours.
#pragma once

#include <optional>

#include "MediaAdapter.h"

namespace tamsinvale {

class PerlMediaAdapter : public MediaAdapter {
public:
    // The library's file, looked up once by the caller (the bundle resource "libMediaRemoteAdapter.dylib");
    // absent when the bundle lacks it, and then every command fails saying so.
    explicit PerlMediaAdapter(std::optional<QString> adapterPath, QString perl = QStringLiteral("/usr/bin/perl"))
        : m_adapterPath(std::move(adapterPath)), m_perl(std::move(perl))
    {
    }

    // Blocks until the helper exits (it lingers up to 5 s for asynchronous answers); run on the media queue.
    MediaAdapterResult run(const QString& command) override;

    // Where the bundle keeps the adapter, if it is there: Contents/Resources next to Contents/MacOS.
    static std::optional<QString> bundledAdapter(const QString& applicationDirectory);

private:
    std::optional<QString> m_adapterPath;
    QString m_perl;
};

}  // namespace tamsinvale

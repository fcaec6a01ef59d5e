// HTTPS downloads to files: progress while the body arrives, one completion with the file or the failure.
#pragma once

#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

namespace tamsinvale {

struct DownloadResult {
    std::optional<QString> file;  // the downloaded body, in a temporary file the receiver may move or delete
    std::optional<int> httpStatus;
    std::optional<QString> error;  // transport failure, as the network layer words it
};

class DownloadTask {
public:
    virtual ~DownloadTask() = default;
    // Stops the transfer; the completion then reports a cancelled error.
    virtual void cancel() = 0;
};

class DownloadSession {
public:
    virtual ~DownloadSession() = default;
    // Starts fetching `url`. `progress` (fraction 0…1, when the size is known) and `completion` (once) run on the
    // main queue; the body is written to disk as it arrives, never held in memory whole. Redirects are followed
    // only to https addresses.
    virtual std::shared_ptr<DownloadTask> download(const QUrl& url, std::function<void(double fraction)> progress,
                                                   std::function<void(const DownloadResult&)> completion) = 0;
};

}  // namespace tamsinvale

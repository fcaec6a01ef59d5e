// Downloads on Linux: Qt Network on a worker thread of its own, the body streamed into a temporary file.
#pragma once

#include <QString>
#include <QThread>

#include "platform/DownloadSession.h"

namespace tamsinvale {

class QtDownloadSession : public DownloadSession {
public:
    // Environment variable naming a PEM file of extra certificate authorities to trust besides the system's.
    // Only the tests set it (for their local server's self-signed certificate).
    static constexpr const char* extraCertificatesVariable = "TAMSINVALE_EXTRA_CA_CERTIFICATES";

    // Bodies are written into `temporaryFolder` (the system's temporary folder when empty).
    explicit QtDownloadSession(const QString& temporaryFolder = QString());
    // Aborts what is still running; their completions are not called.
    ~QtDownloadSession() override;

    std::shared_ptr<DownloadTask> download(const QUrl& url, std::function<void(double fraction)> progress,
                                           std::function<void(const DownloadResult&)> completion) override;

private:
    QString m_temporaryFolder;
    QThread m_thread;
    QObject* m_worker;       // lives on m_thread, owns the network access manager and the transfers
    QObject* m_mainContext;  // lives on the creating (main) thread: callbacks hop back through it
};

}  // namespace tamsinvale

// Downloads in virtual time: each address answers as the test scripted it, with progress steps on the clock.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QTemporaryDir>

#include "platform/DownloadSession.h"

namespace tamsinvale {

class FakeScheduler;

class FakeDownloadSession : public DownloadSession {
public:
    struct Response {
        int status = 200;
        QByteArray body;
        std::optional<QString> error;  // a transport failure instead of a response
        double seconds = 1.0;          // how long the transfer takes
        QList<double> fractions;       // progress reported, evenly spread over `seconds`
    };

    explicit FakeDownloadSession(FakeScheduler& scheduler);

    void respond(const QUrl& url, const Response& response) { m_responses.insert(url, response); }
    // Addresses asked for, in order (one entry per started task).
    const QList<QUrl>& requests() const { return m_requests; }
    int running() const { return m_running; }
    int cancelled() const { return m_cancelled; }

    std::shared_ptr<DownloadTask> download(const QUrl& url, std::function<void(double fraction)> progress,
                                           std::function<void(const DownloadResult&)> completion) override;

private:
    FakeScheduler& m_scheduler;
    QHash<QUrl, Response> m_responses;
    QList<QUrl> m_requests;
    QTemporaryDir m_bodies;
    int m_running = 0;
    int m_cancelled = 0;
    int m_serial = 0;
};

}  // namespace tamsinvale

// Each transfer lives on the worker thread: the reply's bytes go to a file as they arrive (the reply buffers at
// most one block), progress reaches the main thread coalesced to the latest value, the completion once.
#include "QtDownloadSession.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTemporaryFile>
#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>

#include <sys/types.h>
#if defined(__linux__)
#include <unistd.h>
#endif

namespace tamsinvale {

namespace {

constexpr qint64 readBlock = 1 << 20;

#if defined(__linux__)
// The system name Qt gives the HTTP thread of an access manager ("QNetworkAccessManager thread", cut to the
// 15 characters a thread name holds).
const QByteArray networkThreadName = QByteArrayLiteral("QNetworkAccessM");

bool threadRuns(pid_t threadId)
{
    return QFile::exists(QStringLiteral("/proc/self/task/%1").arg(threadId));
}

bool networkThreadRuns()
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == networkThreadName)
            return true;
    }
    return false;
}

// QThread::wait() returns before the system thread has run its thread-local destructors, and Qt detaches the
// access manager's HTTP thread. OpenSSL frees its per-thread state in such a destructor; a process that exits in
// that moment has OpenSSL's exit-time cleanup free the same state a second time (a crash, or a hang under the
// sanitizers). So the session waits until both threads are really gone, for at most a second.
void waitUntilThreadsHaveExited(pid_t workerThread)
{
    const QDeadlineTimer deadline(1000);
    while ((threadRuns(workerThread) || networkThreadRuns()) && !deadline.hasExpired())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

pid_t currentThreadId()
{
    return ::gettid();
}
#else
// macOS: Qt's TLS there is Secure Transport, which keeps no per-thread state to race the exit with.
void waitUntilThreadsHaveExited(pid_t) {}
pid_t currentThreadId()
{
    return 0;
}
#endif

// Failures of the HTTP exchange itself (a status came back) are not transport errors: the status says it.
bool isHttpLevelError(QNetworkReply::NetworkError error)
{
    const int code = int(error);
    return (code >= 201 && code <= 299) || code == QNetworkReply::ProtocolInvalidOperationError
           || (code >= 401 && code <= 499);
}

// What the main thread's side of one transfer needs; shared by the transfer, the handle and posted callbacks.
struct TransferCallbacks {
    std::function<void(double)> progress;
    std::function<void(const DownloadResult&)> completion;
    std::atomic<double> latest{0};
    std::atomic<bool> progressPosted{false};
    std::atomic<bool> abandoned{false};
};

class Transfer : public QObject {
public:
    Transfer(QObject* worker, QObject* mainContext, std::shared_ptr<TransferCallbacks> callbacks)
        : QObject(worker), m_mainContext(mainContext), m_callbacks(std::move(callbacks))
    {
    }

    void start(QNetworkAccessManager& manager, const QUrl& url, const QString& temporaryFolder)
    {
        if (url.scheme() != QLatin1String("https")) {
            finish({std::nullopt, std::nullopt, QStringLiteral("only https addresses are downloaded")});
            return;
        }
        m_file = std::make_unique<QTemporaryFile>(temporaryFolder + QStringLiteral("/tamsinvale-download-XXXXXX"));
        m_file->setAutoRemove(false);
        if (!m_file->open()) {
            finish({std::nullopt, std::nullopt, QStringLiteral("cannot write the download: ") + m_file->errorString()});
            return;
        }
        QNetworkRequest request(url);
        // https to https only: a redirect to http ends the transfer with an error.
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
        request.setMaximumRedirectsAllowed(10);
        request.setTransferTimeout(60000);
        if (const QString caFile = qEnvironmentVariable(QtDownloadSession::extraCertificatesVariable);
            !caFile.isEmpty()) {
            QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
            ssl.addCaCertificates(caFile);
            request.setSslConfiguration(ssl);
        }
        m_reply = manager.get(request);
        m_reply->setReadBufferSize(readBlock);
        // Progress counts the bytes on disk against the announced length: the reply's own progress signal is
        // rate-limited and can stay silent for the last bytes before a stall.
        connect(m_reply, &QNetworkReply::metaDataChanged, this, [this] {
            m_expected = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        });
        connect(m_reply, &QNetworkReply::readyRead, this, [this] { drain(); });
        connect(m_reply, &QNetworkReply::finished, this, [this] { finished(); });
    }

    void abort()
    {
        if (m_reply)
            m_reply->abort();
    }

    // The session is going away: no callback runs any more.
    void abandon()
    {
        m_callbacks->abandoned = true;
        abort();
    }

private:
    void drain()
    {
        while (m_reply->bytesAvailable() > 0 && !m_writeFailed) {
            const QByteArray block = m_reply->read(readBlock);
            if (block.isEmpty())
                break;
            if (m_file->write(block) != block.size())
                m_writeFailed = true;
            m_written += block.size();
        }
        if (m_expected > 0 && !m_writeFailed)
            report(std::min(1.0, double(m_written) / double(m_expected)));
        if (m_writeFailed)
            m_reply->abort();
    }

    // Posts the newest fraction; while one post is on its way, later values only replace the number it carries.
    void report(double fraction)
    {
        m_callbacks->latest = fraction;
        if (m_callbacks->progressPosted.exchange(true))
            return;
        QMetaObject::invokeMethod(m_mainContext, [callbacks = m_callbacks] {
            callbacks->progressPosted = false;
            if (!callbacks->abandoned && callbacks->progress)
                callbacks->progress(callbacks->latest);
        });
    }

    void finished()
    {
        if (!m_reply)
            return;
        DownloadResult result;
        if (m_reply->error() == QNetworkReply::NoError)
            drain();
        const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.isValid())
            result.httpStatus = status.toInt();
        const QNetworkReply::NetworkError error = m_reply->error();
        if (m_writeFailed || !m_file->flush())
            result.error = QStringLiteral("cannot write the download: ") + m_file->errorString();
        else if (error != QNetworkReply::NoError && !(status.isValid() && isHttpLevelError(error)))
            result.error = m_reply->errorString();
        m_file->close();
        if (result.error || !result.httpStatus || *result.httpStatus != 200)
            QFile::remove(m_file->fileName());
        else
            result.file = m_file->fileName();
        m_reply->deleteLater();
        m_reply = nullptr;
        finish(result);
    }

    void finish(const DownloadResult& result)
    {
        if (m_callbacks->abandoned) {
            if (result.file)
                QFile::remove(*result.file);
        } else {
            QMetaObject::invokeMethod(m_mainContext, [callbacks = m_callbacks, result] {
                if (!callbacks->abandoned)
                    callbacks->completion(result);
                else if (result.file)
                    QFile::remove(*result.file);
            });
        }
        deleteLater();
    }

    QObject* m_mainContext;
    std::shared_ptr<TransferCallbacks> m_callbacks;
    std::unique_ptr<QTemporaryFile> m_file;
    QNetworkReply* m_reply = nullptr;
    qint64 m_expected = 0;  // the announced length, 0 when unknown
    qint64 m_written = 0;
    bool m_writeFailed = false;
};

// The caller's handle: cancelling reaches the transfer on the worker thread, if it still runs.
class TransferHandle : public DownloadTask {
public:
    explicit TransferHandle(QObject* worker) : m_worker(worker) {}
    void cancel() override
    {
        QMetaObject::invokeMethod(m_worker, [self = m_self.lock()] {
            if (self && self->transfer)
                self->transfer->abort();
        });
    }
    QObject* m_worker;
    QPointer<Transfer> transfer;  // touched on the worker thread only
    std::weak_ptr<TransferHandle> m_self;
};

}  // namespace

QtDownloadSession::QtDownloadSession(const QString& temporaryFolder)
    : m_temporaryFolder(temporaryFolder.isEmpty() ? QDir::tempPath() : temporaryFolder),
      m_worker(new QObject),
      m_mainContext(new QObject)
{
    m_thread.setObjectName(QStringLiteral("wallpaper downloads"));
    m_worker->moveToThread(&m_thread);
    m_thread.start();
}

QtDownloadSession::~QtDownloadSession()
{
    QObject* worker = m_worker;
    pid_t workerThread = 0;
    QMetaObject::invokeMethod(
        worker,
        [worker, &workerThread] {
            workerThread = currentThreadId();
            for (QObject* child : worker->children())
                if (auto* transfer = dynamic_cast<Transfer*>(child))
                    transfer->abandon();
            delete worker;  // with it the access manager, which stops its HTTP thread
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
    waitUntilThreadsHaveExited(workerThread);
    delete m_mainContext;
}

std::shared_ptr<DownloadTask> QtDownloadSession::download(const QUrl& url, std::function<void(double)> progress,
                                                          std::function<void(const DownloadResult&)> completion)
{
    auto callbacks = std::make_shared<TransferCallbacks>();
    callbacks->progress = std::move(progress);
    callbacks->completion = std::move(completion);
    auto handle = std::make_shared<TransferHandle>(m_worker);
    handle->m_self = handle;
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, context = m_mainContext, handle, callbacks, url,
                                         folder = m_temporaryFolder] {
        auto* manager = worker->findChild<QNetworkAccessManager*>();
        if (!manager)
            manager = new QNetworkAccessManager(worker);
        auto* transfer = new Transfer(worker, context, callbacks);
        handle->transfer = transfer;
        transfer->start(*manager, url, folder);
    });
    return handle;
}

}  // namespace tamsinvale

// Downloads over real https from a local server: the body on disk, progress, plain http and redirects to it
// refused, cancelling, and a session that goes away mid-transfer.
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include "TestSupport.h"
#include "platform/linux/QtDownloadSession.h"

using namespace tamsinvale;

namespace {

// A local https server (tests/wallpapers/https_archive_server.py) with a certificate made for this run and
// trusted only by this process.
class LocalHttpsServer {
public:
    LocalHttpsServer()
    {
        QDir().mkpath(served());
        QProcess openssl;
        openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=127.0.0.1",
                                  "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", m_dir.filePath("key.pem"),
                                  "-out", m_dir.filePath("cert.pem")});
        openssl.waitForFinished(60000);
        qputenv(QtDownloadSession::extraCertificatesVariable, m_dir.filePath("cert.pem").toUtf8());
        m_server.start("python3", {QStringLiteral(TAMSINVALE_TESTS_SOURCE_DIR "/wallpapers/https_archive_server.py"),
                                   served(), m_dir.filePath("cert.pem"), m_dir.filePath("key.pem")});
        test::waitUntil([this] { return m_server.canReadLine() || m_server.state() == QProcess::NotRunning; }, 20000);
        m_port = m_server.readLine().trimmed().toInt();
    }
    ~LocalHttpsServer()
    {
        qunsetenv(QtDownloadSession::extraCertificatesVariable);
        m_server.kill();
        m_server.waitForFinished();
    }
    QString served() const { return m_dir.filePath("served"); }
    QUrl url(const QString& path) const { return QUrl(QStringLiteral("https://127.0.0.1:%1/%2").arg(m_port).arg(path)); }
    int port() const { return m_port; }

private:
    QTemporaryDir m_dir;
    QProcess m_server;
    int m_port = 0;
};

QByteArray body(int megabytes)
{
    QByteArray out;
    for (int i = 0; out.size() < megabytes * 1024 * 1024; ++i)
        out += QCryptographicHash::hash(QByteArray::number(i), QCryptographicHash::Sha256);
    return out;
}

// Names of this process's system threads.
QStringList threadNames()
{
    QStringList names;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly))
            names << QString::fromUtf8(comm.readAll().trimmed());
    }
    return names;
}

}  // namespace

TEST(QtDownloadSession, streamsTheBodyToDiskWithProgressAndRefusesPlainHttp)
{
    LocalHttpsServer server;
    ASSERT_GT(server.port(), 0);
    const QByteArray content = body(6);
    QFile f(server.served() + "/a.zip");
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(content);
    f.close();
    QTemporaryDir downloads;
    QtDownloadSession session(downloads.path());

    QList<double> fractions;
    std::optional<DownloadResult> result;
    session.download(server.url("a.zip"), [&](double x) { fractions << x; }, [&](const DownloadResult& r) { result = r; });
    ASSERT_TRUE(test::waitUntil([&] { return result.has_value(); }, 30000));
    EXPECT_FALSE(result->error) << qPrintable(*result->error);
    EXPECT_EQ(result->httpStatus, 200);
    ASSERT_TRUE(result->file);
    QFile got(*result->file);
    ASSERT_TRUE(got.open(QIODevice::ReadOnly));
    EXPECT_TRUE(got.readAll() == content);
    ASSERT_FALSE(fractions.isEmpty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_DOUBLE_EQ(fractions.last(), 1.0);
    QFile::remove(*result->file);

    // Not found: a status, no transport error, no file left.
    result.reset();
    session.download(server.url("missing.zip"), {}, [&](const DownloadResult& r) { result = r; });
    ASSERT_TRUE(test::waitUntil([&] { return result.has_value(); }, 30000));
    EXPECT_EQ(result->httpStatus, 404);
    EXPECT_FALSE(result->error);
    EXPECT_FALSE(result->file);

    for (const QUrl& url : {QUrl(QStringLiteral("http://127.0.0.1:%1/a.zip").arg(server.port())),
                            server.url("redirect-to-http/a.zip")}) {
        SCOPED_TRACE(qPrintable(url.toString()));
        result.reset();
        session.download(url, {}, [&](const DownloadResult& r) { result = r; });
        ASSERT_TRUE(test::waitUntil([&] { return result.has_value(); }, 30000));
        EXPECT_TRUE(result->error);
        EXPECT_FALSE(result->file);
    }
    EXPECT_EQ(QDir(downloads.path()).entryList(QDir::Files), QStringList());
}

TEST(QtDownloadSession, cancellingOrDestroyingMidTransferLeavesNoFile)
{
    LocalHttpsServer server;
    QFile f(server.served() + "/big.zip");
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(body(2));
    f.close();
    QTemporaryDir downloads;
    {
        QtDownloadSession session(downloads.path());
        std::optional<DownloadResult> result;
        bool started = false;
        auto task = session.download(server.url("stall/big.zip"), [&](double) { started = true; },
                                     [&](const DownloadResult& r) { result = r; });
        ASSERT_TRUE(test::waitUntil([&] { return started; }, 30000));
        task->cancel();
        ASSERT_TRUE(test::waitUntil([&] { return result.has_value(); }, 30000));
        EXPECT_TRUE(result->error);
        EXPECT_FALSE(result->file);

        // Gone while a transfer hangs: no completion afterwards, nothing on disk.
        started = false;
        bool completed = false;
        auto session2 = std::make_unique<QtDownloadSession>(downloads.path());
        session2->download(server.url("stall/big.zip"), [&](double) { started = true; },
                           [&](const DownloadResult&) { completed = true; });
        ASSERT_TRUE(test::waitUntil([&] { return started; }, 30000));
        session2.reset();
        QCoreApplication::processEvents();
        EXPECT_FALSE(completed);
    }
    EXPECT_EQ(QDir(downloads.path()).entryList(QDir::Files), QStringList());
    // A session is gone only when its threads are: the process may exit right after (OpenSSL's exit-time
    // cleanup must not meet a network thread still freeing its TLS state).
    const QStringList threads = threadNames();
    EXPECT_FALSE(threads.contains(QStringLiteral("QNetworkAccessM"))) << qPrintable(threads.join(", "));
    EXPECT_FALSE(threads.contains(QStringLiteral("wallpaper downl"))) << qPrintable(threads.join(", "));
}

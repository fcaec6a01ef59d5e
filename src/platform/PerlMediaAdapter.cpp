#include "PerlMediaAdapter.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

namespace tamsinvale {

namespace {
// Loading the library runs its initialiser; the sleep keeps the process alive while replies arrive.
const QString loaderScript = QStringLiteral(
    "use DynaLoader; DynaLoader::dl_load_file($ARGV[0], 0) or die DynaLoader::dl_error(); sleep 5;");
}  // namespace

MediaAdapterResult PerlMediaAdapter::run(const QString& command)
{
    if (!m_adapterPath)
        return MediaAdapterResult::failure(QStringLiteral("adapter dylib missing from bundle"));

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MR_CMD"), command);
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(m_perl, {QStringLiteral("-e"), loaderScript, *m_adapterPath});
    if (!process.waitForStarted())
        return MediaAdapterResult::failure(QStringLiteral("failed to launch adapter: ") + process.errorString());
    // Both pipes are read to their end: the helper ends by itself within its 5 s.
    process.waitForFinished(-1);
    const QString output = QString::fromUtf8(process.readAllStandardOutput());
    const QString errors = QString::fromUtf8(process.readAllStandardError());
    const int status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    if (status == 0)
        return MediaAdapterResult::success(output);
    return MediaAdapterResult::failure(
        QStringLiteral("adapter %1 failed (%2): %3").arg(command).arg(status).arg(errors));
}

std::optional<QString> PerlMediaAdapter::bundledAdapter(const QString& applicationDirectory)
{
    const QString path =
        QDir(applicationDirectory).absoluteFilePath(QStringLiteral("../Resources/libMediaRemoteAdapter.dylib"));
    if (!QFileInfo(path).isFile())
        return std::nullopt;
    return QDir::cleanPath(path);
}

}  // namespace tamsinvale

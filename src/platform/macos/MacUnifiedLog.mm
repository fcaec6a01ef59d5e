// One os_log_t per category, created on first use and kept for the life of the process (os_log_create's objects
// are meant to be reused); the message is passed as one public string argument.
#include "MacUnifiedLog.h"

#include <os/log.h>
#include <cstdio>
#include <unistd.h>

#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#include "platform/macos/portable/MacUnifiedLogRoute.h"

namespace tamsinvale {

namespace {

QByteArray g_subsystem;
bool g_echoToTerminal = false;

os_log_t logFor(const QByteArray& category)
{
    static QMutex mutex;
    static QHash<QByteArray, os_log_t> logs;
    const QMutexLocker lock(&mutex);
    auto it = logs.find(category);
    if (it == logs.end())
        it = logs.insert(category, os_log_create(g_subsystem.constData(), category.constData()));
    return it.value();
}

os_log_type_t osLogType(UnifiedLogLevel level)
{
    switch (level) {
    case UnifiedLogLevel::debug: return OS_LOG_TYPE_DEBUG;
    case UnifiedLogLevel::info: return OS_LOG_TYPE_INFO;
    case UnifiedLogLevel::standard: return OS_LOG_TYPE_DEFAULT;
    case UnifiedLogLevel::error: return OS_LOG_TYPE_ERROR;
    case UnifiedLogLevel::fault: return OS_LOG_TYPE_FAULT;
    }
    return OS_LOG_TYPE_DEFAULT;
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const UnifiedLogRoute route = unifiedLogRoute(type, context.category);
    const QByteArray text = message.toUtf8();
    os_log_with_type(logFor(route.category), osLogType(route.level), "%{public}s", text.constData());
    // Written here rather than by Qt's own handler, which would put a second copy into the unified log.
    if (g_echoToTerminal) {
        std::fputs(qFormatLogMessage(type, context, message).toLocal8Bit().append('\n').constData(), stderr);
        std::fflush(stderr);
    }
}

}  // namespace

void MacUnifiedLog::install(const QString& subsystem)
{
    g_subsystem = subsystem.toUtf8();
    g_echoToTerminal = ::isatty(STDERR_FILENO) == 1;
    qInstallMessageHandler(handleMessage);
}

}  // namespace tamsinvale

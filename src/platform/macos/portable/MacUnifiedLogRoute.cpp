// Our prefix comes off the category; Qt's own categories ("qt.qpa.window") keep their whole name.
#include "MacUnifiedLogRoute.h"

namespace tamsinvale {

namespace {
constexpr char ourPrefix[] = "tamsinvale.";
}

UnifiedLogRoute unifiedLogRoute(QtMsgType type, const char* qtCategory)
{
    UnifiedLogRoute out;
    QByteArray category = qtCategory && *qtCategory ? QByteArray(qtCategory) : QByteArrayLiteral("default");
    if (category.startsWith(ourPrefix) && category.size() > int(sizeof(ourPrefix) - 1))
        category.remove(0, int(sizeof(ourPrefix) - 1));
    out.category = category;
    switch (type) {
    case QtDebugMsg: out.level = UnifiedLogLevel::debug; break;
    case QtInfoMsg: out.level = UnifiedLogLevel::info; break;
    case QtWarningMsg: out.level = UnifiedLogLevel::standard; break;
    case QtCriticalMsg: out.level = UnifiedLogLevel::error; break;
    case QtFatalMsg: out.level = UnifiedLogLevel::fault; break;
    }
    return out;
}

}  // namespace tamsinvale

// Bookmarks through NSURL. Access to a security-scoped resource belongs to the URL object that resolution
// returned, so the last URL resolved for each path is kept and each start is matched by a stop on the very URL
// it was made on.
#include "MacBookmarks.h"

#import <Foundation/Foundation.h>

#include <QHash>
#include <QList>

#include "platform/Logging.h"

namespace tamsinvale {

struct MacBookmarks::Native {
    QHash<QString, NSURL*> resolved;               // path -> URL its bookmark resolved to
    QHash<QString, QList<NSURL*>> accessing;       // path -> URLs whose scope we entered, innermost last
};

MacBookmarks::MacBookmarks() : m_native(std::make_unique<Native>()) {}

MacBookmarks::~MacBookmarks()
{
    // Scopes still entered are left, or the process would hold kernel resources for them until exit.
    for (auto it = m_native->accessing.begin(); it != m_native->accessing.end(); ++it)
        for (NSURL* url : it.value())
            [url stopAccessingSecurityScopedResource];
}

QByteArray MacBookmarks::create(const QString& path) const
{
    NSURL* url = [NSURL fileURLWithPath:path.toNSString()];
    NSError* error = nil;
    NSData* data = [url bookmarkDataWithOptions:NSURLBookmarkCreationWithSecurityScope
                 includingResourceValuesForKeys:nil
                                  relativeToURL:nil
                                          error:&error];
    if (!data) {
        qCWarning(lcApp, "bookmark: could not bookmark %s: %s", qUtf8Printable(path),
                  qUtf8Printable(QString::fromNSString(error.localizedDescription ?: @"unknown error")));
        return {};
    }
    return QByteArray::fromNSData(data);
}

std::optional<QString> MacBookmarks::resolve(const QByteArray& bookmark) const
{
    if (bookmark.isEmpty())
        return std::nullopt;
    BOOL stale = NO;
    NSError* error = nil;
    // Without UI: a bookmark on a volume that is not mounted fails instead of asking the user to mount it.
    NSURL* url = [NSURL URLByResolvingBookmarkData:bookmark.toNSData()
                                           options:NSURLBookmarkResolutionWithSecurityScope
                                                   | NSURLBookmarkResolutionWithoutUI
                                     relativeToURL:nil
                               bookmarkDataIsStale:&stale
                                             error:&error];
    if (!url || !url.fileURL || !url.path)
        return std::nullopt;
    const QString path = QString::fromNSString(url.path);
    if (stale)
        qCInfo(lcApp, "bookmark: %s resolved from a stale bookmark (the file moved or was replaced)",
               qUtf8Printable(path));
    m_native->resolved.insert(path, url);
    return path;
}

bool MacBookmarks::startAccessing(const QString& path) const
{
    NSURL* url = m_native->resolved.value(path, nil);
    if (!url)
        return false;
    if (![url startAccessingSecurityScopedResource])
        return false;
    m_native->accessing[path].append(url);
    return true;
}

void MacBookmarks::stopAccessing(const QString& path) const
{
    const auto it = m_native->accessing.find(path);
    if (it == m_native->accessing.end() || it->isEmpty())
        return;
    NSURL* url = it->takeLast();
    [url stopAccessingSecurityScopedResource];
    if (it->isEmpty())
        m_native->accessing.erase(it);
}

}  // namespace tamsinvale

// What application icons are made from: the picture a file's icon comes from, and the image itself.
#pragma once

#include <QImage>
#include <QString>
#include <functional>
#include <optional>

namespace tamsinvale {

// One icon to make: the cache key, the file it is the icon of, and what the caller already knows about it.
struct IconRequest {
    QString key;
    QString path;
    std::optional<QString> declared;  // the icon the file names (a desktop entry's Icon; "" for none), when read
    QString label;                    // the name a placeholder is drawn from, when known
};

class IconProvider {
public:
    virtual ~IconProvider() = default;

    // Notices pictures installed or removed since the last call; called once before a batch of icons.
    virtual void rescan() const {}
    // What the icon would be drawn from (the picture and its modification time, or the placeholder's label):
    // equal answers mean an equal image, so a refresh can keep the image it holds. Runs on worker threads.
    virtual QString sourceOf(const IconRequest& request, int size) const = 0;
    // The image at `size` pixels; never null (a placeholder when the file has no icon). Runs on worker threads.
    virtual QImage load(const IconRequest& request, int size) const = 0;
};

// A plain function from a file to its image: its source is the file itself.
class FunctionIconProvider : public IconProvider {
public:
    explicit FunctionIconProvider(std::function<QImage(const QString& path)> fetch) : m_fetch(std::move(fetch)) {}
    QString sourceOf(const IconRequest& request, int) const override { return request.path; }
    QImage load(const IconRequest& request, int) const override { return m_fetch ? m_fetch(request.path) : QImage(); }

private:
    std::function<QImage(const QString& path)> m_fetch;
};

}  // namespace tamsinvale

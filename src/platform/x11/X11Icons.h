// Icons the desktop shows: named icons from the user's icon theme, icon files, and the icon of a file's type.
#pragma once

#include <QImage>
#include <QString>

namespace tamsinvale {

class X11Icons {
public:
    // An Icon= value: an absolute path to a picture, or a name looked up in the icon theme. Empty when neither.
    static QImage named(const QString& nameOrPath, int pointSize);
    // The icon of a file's type (through its MIME type), or of a folder.
    static QImage forFile(const QString& path, int pointSize);
};

}  // namespace tamsinvale

// Helpers of the wallpaper tests: files written into temporary trees, and the property-list reader the app uses.
#pragma once

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include "platform/linux/PlistCodec.h"
#include "wallpapers/WallpaperLibrary.h"
#include "TestFiles.h"

#include <ostream>

// Readable failure messages for names and lists of names.
inline void PrintTo(const QString& text, std::ostream* os) { *os << '"' << text.toStdString() << '"'; }

namespace tamsinvale::test {

// A stand-in picture: most tests need a file, not its pixels.
inline void writeFile(const QString& path) { writeFile(path, QByteArray("picture")); }

inline QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Every file and folder below `folder`, links included.
inline QStringList everything(const QString& folder)
{
    QStringList out;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        out << it.next();
    return out;
}

// Where the shared real test files are, when this machine has them.
inline QString sharedTestData(const QString& relative)
{
    return QStringLiteral(TAMSINVALE_TESTS_SOURCE_DIR "/../../shared/testdata/") + relative;
}

}  // namespace tamsinvale::test

#include <archive.h>
#include <archive_entry.h>

namespace tamsinvale::test {

// One entry of a zip archive written for a test, hostile ones included.
struct ArchiveEntry {
    enum class Type { file, folder, symlink, hardlink };
    ArchiveEntry(QString p, QByteArray c = {}, Type t = Type::file, QString linkTarget = {})
        : path(std::move(p)), content(std::move(c)), type(t), target(std::move(linkTarget))
    {
    }
    QString path;
    QByteArray content;
    Type type = Type::file;
    QString target;  // of a link
};

// Writes a zip archive with libarchive's writer (deflated, so runs of zeros stay small), or a tar archive: zip
// has no hard links, tar has.
inline bool writeZip(const QString& path, const QList<ArchiveEntry>& entries, bool tar = false)
{
    archive* a = archive_write_new();
    if (tar) {
        archive_write_set_format_pax_restricted(a);
    } else {
        archive_write_set_format_zip(a);
        archive_write_zip_set_compression_deflate(a);
    }
    if (archive_write_open_filename(a, QFile::encodeName(path).constData()) != ARCHIVE_OK) {
        archive_write_free(a);
        return false;
    }
    bool ok = true;
    for (const ArchiveEntry& e : entries) {
        archive_entry* entry = archive_entry_new();
        archive_entry_set_pathname(entry, e.path.toUtf8().constData());
        switch (e.type) {
        case ArchiveEntry::Type::file:
            archive_entry_set_filetype(entry, AE_IFREG);
            archive_entry_set_perm(entry, 0644);
            archive_entry_set_size(entry, e.content.size());
            break;
        case ArchiveEntry::Type::folder:
            archive_entry_set_filetype(entry, AE_IFDIR);
            archive_entry_set_perm(entry, 0755);
            break;
        case ArchiveEntry::Type::symlink:
            archive_entry_set_filetype(entry, AE_IFLNK);
            archive_entry_set_perm(entry, 0777);
            archive_entry_set_symlink(entry, e.target.toUtf8().constData());
            break;
        case ArchiveEntry::Type::hardlink:
            archive_entry_set_filetype(entry, AE_IFREG);
            archive_entry_set_perm(entry, 0644);
            archive_entry_set_hardlink(entry, e.target.toUtf8().constData());
            archive_entry_set_size(entry, 0);
            break;
        }
        ok = ok && archive_write_header(a, entry) == ARCHIVE_OK;
        if (e.type == ArchiveEntry::Type::file && !e.content.isEmpty())
            ok = ok && archive_write_data(a, e.content.constData(), size_t(e.content.size())) == e.content.size();
        archive_entry_free(entry);
    }
    ok = archive_write_close(a) == ARCHIVE_OK && ok;
    archive_write_free(a);
    return ok;
}

// The archive the platform serves for one picture: the picture under AssetData, beside its description.
inline QList<ArchiveEntry> pictureArchive(const QString& fileName, const QByteArray& picture)
{
    return {{QStringLiteral("AssetData/"), {}, ArchiveEntry::Type::folder, {}},
            {QStringLiteral("AssetData/") + fileName, picture, ArchiveEntry::Type::file, {}},
            {QStringLiteral("Info.plist"), QByteArray("<plist/>"), ArchiveEntry::Type::file, {}}};
}

}  // namespace tamsinvale::test

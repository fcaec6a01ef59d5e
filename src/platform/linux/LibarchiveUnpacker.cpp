// Reads entries with libarchive and writes them ourselves, relative to an open folder descriptor, never
// following a link, so no entry can reach outside the destination whatever its name says.
#include "LibarchiveUnpacker.h"

#include <QFile>
#include <QStringList>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace tamsinvale {

namespace {

struct ArchiveFree {
    void operator()(archive* a) const { archive_read_free(a); }
};

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(Descriptor&& other) noexcept : m_fd(other.m_fd) { other.m_fd = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }

private:
    int m_fd;
};

UnpackResult failure(const QString& why) { return {false, why}; }

QString systemError() { return QString::fromLocal8Bit(std::strerror(errno)); }

// The entry's path as safe components, or nothing when it points anywhere but below the destination.
std::optional<QStringList> safeComponents(const QString& path)
{
    if (path.isEmpty() || path.startsWith(QLatin1Char('/')) || path.startsWith(QLatin1Char('\\'))
        || path.contains(QChar(0)))
        return std::nullopt;
    QStringList out;
    for (const QString& part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("."))
            continue;
        // A backslash is a separator to some unpackers; ".." hiding behind one is refused as well.
        for (const QString& piece : part.split(QLatin1Char('\\')))
            if (piece == QLatin1String(".."))
                return std::nullopt;
        out << part;
    }
    if (out.isEmpty())
        return std::nullopt;
    return out;
}

// Opens (making them when `create`) the folders below `root`, one at a time and never through a link.
Descriptor openFolders(int root, const QStringList& components, QString* error)
{
    Descriptor current(::dup(root));
    for (const QString& component : components) {
        const QByteArray name = QFile::encodeName(component);
        if (::mkdirat(current.get(), name.constData(), 0755) != 0 && errno != EEXIST) {
            *error = QStringLiteral("cannot make folder %1: %2").arg(component, systemError());
            return Descriptor();
        }
        Descriptor next(::openat(current.get(), name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!next.valid()) {
            *error = QStringLiteral("cannot open folder %1: %2").arg(component, systemError());
            return Descriptor();
        }
        current = std::move(next);
    }
    return current;
}

bool writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= size_t(n);
    }
    return true;
}

}  // namespace

UnpackResult LibarchiveUnpacker::unpack(const QString& archivePath, const QString& destination)
{
    const Descriptor root(::open(QFile::encodeName(destination).constData(),
                                 O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!root.valid())
        return failure(QStringLiteral("cannot open the destination: ") + systemError());

    std::unique_ptr<archive, ArchiveFree> reader(archive_read_new());
    archive_read_support_format_zip(reader.get());
    if (archive_read_open_filename(reader.get(), QFile::encodeName(archivePath).constData(), 1 << 16) != ARCHIVE_OK)
        return failure(QStringLiteral("not a readable zip archive: ")
                       + QString::fromUtf8(archive_error_string(reader.get())));

    qint64 entries = 0;
    qint64 bytes = 0;
    std::unique_ptr<char[]> buffer(new char[1 << 16]);
    archive_entry* entry = nullptr;
    for (;;) {
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN)
            return failure(QStringLiteral("damaged archive: ") + QString::fromUtf8(archive_error_string(reader.get())));
        if (++entries > m_limits.maxEntries)
            return failure(QStringLiteral("more than %1 entries").arg(m_limits.maxEntries));

        const char* utf8 = archive_entry_pathname_utf8(entry);
        const QString name = utf8 ? QString::fromUtf8(utf8) : QFile::decodeName(archive_entry_pathname(entry));
        const std::optional<QStringList> components = safeComponents(name);
        if (!components)
            return failure(QStringLiteral("entry outside the destination: ") + name);
        if (archive_entry_hardlink(entry))
            return failure(QStringLiteral("hard link entry: ") + name);
        // Resource forks the platform's own tool keeps beside the files; nothing we use.
        if (components->first() == QLatin1String("__MACOSX")) {
            archive_read_data_skip(reader.get());
            continue;
        }
        const mode_t type = archive_entry_filetype(entry);
        QString error;
        if (type == AE_IFDIR) {
            if (!openFolders(root.get(), *components, &error).valid())
                return failure(error);
            continue;
        }
        if (type != AE_IFREG)
            return failure(QStringLiteral("not a plain file: ") + name);

        const Descriptor folder = openFolders(root.get(), components->mid(0, components->size() - 1), &error);
        if (!folder.valid())
            return failure(error);
        const QByteArray leaf = QFile::encodeName(components->last());
        const Descriptor file(::openat(folder.get(), leaf.constData(),
                                       O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
        if (!file.valid())
            return failure(QStringLiteral("cannot write %1: %2").arg(name, systemError()));
        for (;;) {
            const la_ssize_t n = archive_read_data(reader.get(), buffer.get(), 1 << 16);
            if (n == 0)
                break;
            if (n < 0)
                return failure(QStringLiteral("damaged entry %1: %2")
                                   .arg(name, QString::fromUtf8(archive_error_string(reader.get()))));
            // Counted as written, not as the header claims: a header can lie about sizes.
            bytes += n;
            if (bytes > m_limits.maxBytes)
                return failure(QStringLiteral("unpacks to more than %1 bytes").arg(m_limits.maxBytes));
            if (!writeAll(file.get(), buffer.get(), size_t(n)))
                return failure(QStringLiteral("cannot write %1: %2").arg(name, systemError()));
        }
    }
    return {true, {}};
}

}  // namespace tamsinvale

// Reading, atomic writing and outside-change detection of the defaults property list.
#include "PlistDefaultsDomain.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTimer>

#include "PlistCodec.h"

Q_LOGGING_CATEGORY(lcDefaults, "tamsinvale.defaults")

namespace tamsinvale {

namespace {
constexpr qint64 maxFileSize = 16 * 1024 * 1024;  // far beyond any settings we write
}

PlistDefaultsDomain::PlistDefaultsDomain(const QString& path, QObject* parent)
    : DefaultsDomain(parent)
    , m_path(path)
    , m_writer(std::make_unique<BackgroundFileWriter>(path, [path](const QString& reason) {
        qCWarning(lcDefaults).noquote() << "could not write settings file" << path << ":" << reason;
    }))
{
    QVariantMap loaded;
    QByteArray bytes;
    switch (readFile(&loaded, &bytes)) {
    case ReadOutcome::loaded:
        m_values = loaded;
        m_lastSeenBytes = bytes;
        break;
    case ReadOutcome::unreadable:
        moveAside();
        break;
    case ReadOutcome::missing:
        break;
    }
    // The folder must exist to be watched: another program (`tamsinvale settings`, `tamsinvale shortcuts`)
    // may write the first settings file while we run.
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &PlistDefaultsDomain::fileMayHaveChanged);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &PlistDefaultsDomain::fileMayHaveChanged);
    watch();
}

QString PlistDefaultsDomain::standardPath()
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.config");
    return base + QStringLiteral("/tamsinvale/defaults.plist");
}

PlistDefaultsDomain::ReadOutcome PlistDefaultsDomain::readFile(QVariantMap* out, QByteArray* bytes)
{
    QFile file(m_path);
    if (!file.exists())
        return ReadOutcome::missing;
    if (file.size() > maxFileSize || !file.open(QIODevice::ReadOnly))
        return ReadOutcome::unreadable;
    m_lastReadVersion = BackgroundFileWriter::Version::of(m_path);
    *bytes = file.readAll();
    if (bytes->trimmed().isEmpty())
        return ReadOutcome::unreadable;
    const auto parsed = PlistCodec::parseDictionary(*bytes);
    if (!parsed)
        return ReadOutcome::unreadable;
    *out = *parsed;
    return ReadOutcome::loaded;
}

// Keeps an unreadable file for the user instead of overwriting it.
void PlistDefaultsDomain::moveAside()
{
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    QString target = m_path + QStringLiteral(".corrupt-") + stamp;
    for (int n = 1; QFileInfo::exists(target); ++n)
        target = m_path + QStringLiteral(".corrupt-") + stamp + QLatin1Char('-') + QString::number(n);
    if (QFile::rename(m_path, target)) {
        m_movedAsidePath = target;
        qCWarning(lcDefaults).noquote() << "settings file" << m_path << "could not be read; moved it to" << target
                                        << "and started with defaults";
    } else {
        qCWarning(lcDefaults).noquote() << "settings file" << m_path
                                        << "could not be read nor moved aside; it will not be overwritten";
    }
    m_lastSeenBytes.clear();
}

void PlistDefaultsDomain::watch()
{
    const QString dir = QFileInfo(m_path).absolutePath();
    if (QFileInfo::exists(dir) && !m_watcher.directories().contains(dir))
        m_watcher.addPath(dir);
    if (QFileInfo::exists(m_path) && !m_watcher.files().contains(m_path))
        m_watcher.addPath(m_path);
}

std::optional<QVariant> PlistDefaultsDomain::value(const QString& key) const
{
    const auto it = m_values.constFind(key);
    if (it == m_values.cend())
        return std::nullopt;
    return *it;
}

bool PlistDefaultsDomain::store(const QString& key, const QVariant& value)
{
    const auto it = m_values.constFind(key);
    if (it != m_values.cend() && *it == value && it->metaType() == value.metaType())
        return false;
    m_values.insert(key, value);
    return true;
}

void PlistDefaultsDomain::setValue(const QString& key, const QVariant& value)
{
    if (store(key, value))
        markDirty();
}

void PlistDefaultsDomain::setValues(const QVariantMap& values)
{
    bool changedAny = false;
    for (auto it = values.begin(); it != values.end(); ++it)
        changedAny = store(it.key(), it.value()) || changedAny;
    if (changedAny)
        markDirty();
}

void PlistDefaultsDomain::removeValue(const QString& key)
{
    if (m_values.remove(key) == 0)
        return;
    markDirty();
}

QStringList PlistDefaultsDomain::keys() const { return m_values.keys(); }

void PlistDefaultsDomain::markDirty()
{
    m_dirty = true;
    // A burst of writes in one turn of the event loop goes to disk once.
    if (!m_flushScheduled) {
        m_flushScheduled = true;
        QTimer::singleShot(0, this, [this] {
            m_flushScheduled = false;
            write(Durability::replaceOnly);
        });
    }
    emit changed();
}

PlistDefaultsDomain::~PlistDefaultsDomain() { write(Durability::onDisk); }

bool PlistDefaultsDomain::synchronize() { return write(Durability::onDisk); }

bool PlistDefaultsDomain::fileIsOurs() const
{
    const auto now = BackgroundFileWriter::Version::of(m_path);
    return now && (now == m_lastReadVersion || now == m_writer->lastWritten());
}

bool PlistDefaultsDomain::write(Durability durability)
{
    if (m_dirty) {
        // Never replace a file we cannot read: it is moved aside first, and if that fails we do not write. A file
        // that is still the one we last read or wrote needs no second look.
        if (QFileInfo::exists(m_path) && !fileIsOurs()) {
            QVariantMap onDisk;
            QByteArray bytes;
            if (readFile(&onDisk, &bytes) == ReadOutcome::unreadable) {
                moveAside();
                if (QFileInfo::exists(m_path))
                    return false;
            }
        }
        QDir().mkpath(QFileInfo(m_path).absolutePath());
        const QByteArray bytes = PlistCodec::forFile(m_values);
        m_lastSeenBytes = bytes;
        m_recentWrites.append(bytes);
        if (m_recentWrites.size() > 4)
            m_recentWrites.removeFirst();
        m_writer->replace(bytes);
        m_dirty = false;
        watch();
    }
    // The writes that follow each change (every application switch updates the usage record) neither wait for
    // the file system nor for the disk; an explicit synchronize, and the last write before we go, wait for both.
    if (durability == Durability::replaceOnly)
        return true;
    const bool written = m_writer->flushToDisk();
    if (!written)
        m_dirty = true;  // tried again with the next change or synchronize
    watch();
    return written;
}

void PlistDefaultsDomain::fileMayHaveChanged()
{
    watch();  // an atomic replace drops the watch on the old file
    if (fileIsOurs())
        return;  // our own write, or a touch of what we read
    QFile file(m_path);
    if (!file.exists() || !file.open(QIODevice::ReadOnly))
        return;
    const QByteArray bytes = file.read(maxFileSize + 1);
    file.close();
    if (bytes == m_lastSeenBytes || m_recentWrites.contains(bytes))
        return;  // our own write (perhaps one still followed by a newer), or a touch without change
    const auto parsed = bytes.size() <= maxFileSize ? PlistCodec::parseDictionary(bytes) : std::nullopt;
    if (!parsed) {
        // Another program left something unreadable: keep it aside and write back what we hold.
        moveAside();
        m_dirty = true;
        synchronize();
        return;
    }
    m_lastSeenBytes = bytes;
    if (*parsed == m_values)
        return;
    m_values = *parsed;
    emit changed();
}

}  // namespace tamsinvale
